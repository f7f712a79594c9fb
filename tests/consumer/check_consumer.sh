#!/usr/bin/env bash
# Installs the build into a scratch prefix, runs the installed kinolot program
# there, then builds and runs a program against the installed library twice:
# through the CMake package and through pkg-config.
#   check_consumer.sh BUILD_DIR CONSUMER_SOURCE_DIR
set -euo pipefail
build=$1
source=$2
scratch=$(mktemp -d /tmp/kinolot-consumer.XXXXXX)
trap 'rm -rf "$scratch"' EXIT
cmake --install "$build" --prefix "$scratch/prefix" >/dev/null
libdir=$(find "$scratch/prefix" -name 'libkinolot.so.*' -printf '%h\n' | head -n 1)
[ -n "$libdir" ] || { echo "libkinolot.so was not installed"; exit 1; }
[ -L "$libdir/libkinolot.so" ] || { echo "no libkinolot.so development link"; exit 1; }
# The installed program starts as it is: it finds the library of its prefix.
if [ -x "$scratch/prefix/bin/kinolot" ]; then
  env -u LD_LIBRARY_PATH "$scratch/prefix/bin/kinolot" --help >/dev/null ||
    { echo "the installed kinolot does not start"; exit 1; }
fi
sanitize_flags=""
# Not grep -q: it stops reading early, nm dies of SIGPIPE, and under pipefail
# the whole test would then take a sanitized library for a plain one.
if nm -D "$libdir"/libkinolot.so | grep __asan_init >/dev/null; then sanitize_flags="-fsanitize=address,undefined"; fi

cmake -S "$source" -B "$scratch/cmake-build" -DCMAKE_PREFIX_PATH="$scratch/prefix" \
  -DCMAKE_CXX_FLAGS="$sanitize_flags" >/dev/null
cmake --build "$scratch/cmake-build" >/dev/null
LD_LIBRARY_PATH="$libdir" "$scratch/cmake-build/consumer"

export PKG_CONFIG_PATH="$libdir/pkgconfig"
# shellcheck disable=SC2046
c++ -std=c++17 $sanitize_flags "$source/consumer.cc" -o "$scratch/consumer-pc" \
  $(pkg-config --cflags --libs kinolot)
LD_LIBRARY_PATH="$libdir" "$scratch/consumer-pc"
echo "consumer built and ran against the installed tree"
