#!/usr/bin/env bash
# Builds the Debian packages libkinolot0, libkinolot-dev and kinolot from the
# CMake build and checks them with lintian.
#
#   scripts/package.sh [OUTDIR]     the .deb files go to OUTDIR (default build/packages)
#
# The build lives in build/package (Release, prefix /usr, with Debian's
# hardening flags), so a second run rebuilds only what changed. Exits
# non-zero when the build fails or lintian reports an error or a warning.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
out=${1:-$root/build/packages}
build="$root/build/package"
"$root/scripts/install-deps.sh"

# Debian's compiler and linker flags for packages: fortified functions,
# stack protector, read-only relocations, immediate binding.
export DEB_BUILD_MAINT_OPTIONS=hardening=+all
CXXFLAGS="$(dpkg-buildflags --get CXXFLAGS) $(dpkg-buildflags --get CPPFLAGS)"
LDFLAGS=$(dpkg-buildflags --get LDFLAGS)
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
  -DKINOLOT_BUILD_BENCH=OFF -DKINOLOT_BUILD_TESTS=OFF \
  -DCMAKE_CXX_FLAGS="$CXXFLAGS" -DCMAKE_EXE_LINKER_FLAGS="$LDFLAGS" \
  -DCMAKE_SHARED_LINKER_FLAGS="$LDFLAGS" >/dev/null
cmake --build "$build" -j "$(nproc 2>/dev/null || echo 2)" --target kinolot kinolot_command >/dev/null
rm -f "$build"/*.deb
(cd "$build" && cpack -G DEB >/dev/null)
mkdir -p "$out"
rm -f "$out"/libkinolot0_*.deb "$out"/libkinolot-dev_*.deb "$out"/kinolot_*.deb
cp "$build"/*.deb "$out"/
for deb in "$out"/*.deb; do
  printf '%s\t%s bytes\n' "$(basename "$deb")" "$(stat -c %s "$deb")"
done
# lintian runs as root only when asked to.
lintian --fail-on error,warning --allow-root "$out"/libkinolot0_*.deb "$out"/libkinolot-dev_*.deb \
  "$out"/kinolot_*.deb
