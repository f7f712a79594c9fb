#!/usr/bin/env bash
# Builds the Debian packages with scripts/package.sh (lintian included),
# unpacks them into a throwaway root and checks them as an installed system
# would use them: the program starts with the unpacked library, a consumer
# builds against the unpacked development package through pkg-config and
# through find_package, the packages name their dependencies, and systemd
# accepts the service unit.
#   check_packages.sh SOURCE_DIR CONSUMER_SOURCE_DIR
set -euo pipefail
source=$1
consumer=$2
scratch=$(mktemp -d /tmp/kinolot-packages.XXXXXX)
trap 'rm -rf "$scratch"' EXIT

"$source/scripts/package.sh" "$scratch/debs"
root="$scratch/root"
for deb in "$scratch"/debs/*.deb; do dpkg -x "$deb" "$root"; done
libdir=$(dirname "$(find "$root" -name 'libkinolot.so.0' | head -n 1)")
[ -d "$libdir" ] || { echo "libkinolot.so.0 is not in the packages"; exit 1; }

fail() { echo "$*"; exit 1; }
depends() { dpkg-deb --field "$1" Depends; }

# The program, with nothing but the unpacked library to load.
help=$(LD_LIBRARY_PATH="$libdir" "$root/usr/bin/kinolot" --help)
grep -q "serve" <<<"$help" || fail "kinolot --help does not list serve: $help"
# In /usr the library lies where the loader looks: no run path.
if readelf -d "$root/usr/bin/kinolot" | grep -Eq 'RUNPATH|RPATH'; then
  fail "the packaged program carries a run path"
fi

# Dependencies: from dpkg-shlibdeps for the binaries, between the packages by version.
lib=$(ls "$scratch"/debs/libkinolot0_*.deb)
dev=$(ls "$scratch"/debs/libkinolot-dev_*.deb)
prog=$(ls "$scratch"/debs/kinolot_*.deb)
for want in libpq5 libjsoncpp25 libcurl4 libc6 libstdc++6; do
  depends "$lib" | grep -q "$want" || fail "libkinolot0 does not depend on $want: $(depends "$lib")"
done
for want in libkinolot0 libavformat libjsoncpp25 adduser; do
  depends "$prog" | grep -q "$want" || fail "kinolot does not depend on $want: $(depends "$prog")"
done
depends "$dev" | grep -q "libkinolot0 (= " || fail "libkinolot-dev: $(depends "$dev")"
dpkg-deb --info "$lib" shlibs | grep -q "^libkinolot 0 libkinolot0" ||
  fail "libkinolot0 declares no shlibs"
dpkg-deb --info "$prog" conffiles | grep -qx /etc/kinolot/kinolot.conf ||
  fail "kinolot does not keep its settings as a conffile"

# A consumer built against the unpacked development files, both ways.
cmake -S "$consumer" -B "$scratch/cmake-build" -DCMAKE_PREFIX_PATH="$root/usr" >/dev/null
cmake --build "$scratch/cmake-build" >/dev/null
LD_LIBRARY_PATH="$libdir" "$scratch/cmake-build/consumer"
# shellcheck disable=SC2046
c++ -std=c++17 "$consumer/consumer.cc" -o "$scratch/consumer-pc" \
  $(PKG_CONFIG_PATH="$libdir/pkgconfig" pkg-config --cflags --libs kinolot)
LD_LIBRARY_PATH="$libdir" "$scratch/consumer-pc"

# The unit as systemd reads it, against the unpacked program.
unit="$root/lib/systemd/system/kinolot.service"
[ -f "$unit" ] || fail "no kinolot.service"
grep -q "^ExecStart=/usr/bin/kinolot serve$" "$unit" || fail "unexpected ExecStart in $unit"
# The throwaway root lends itself the system's targets and kill command,
# which the unit orders itself against and reloads with.
cp -n /lib/systemd/system/*.target "$root/lib/systemd/system/"
mkdir -p "$root/bin" && cp /bin/kill "$root/bin/kill"
verify=$(MANPATH="$root/usr/share/man" systemd-analyze verify --root="$root" "$unit" 2>&1) ||
  fail "systemd-analyze verify: $verify"
[ -z "$verify" ] || fail "systemd-analyze verify: $verify"
echo "packages built, unpacked and checked"
