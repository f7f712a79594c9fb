#!/usr/bin/env bash
# Checks the dynamic symbol table of libkinolot: every name of the interface
# listed in NAMES is exported in namespace LibKinolot, and nothing is exported
# outside that namespace.
#   check_exports.sh LIBRARY NAMES
set -euo pipefail
lib=$1
names=$2
exported=$(nm -DC --defined-only "$lib" | awk '{ $1=""; $2=""; sub(/^  /, ""); print }')
status=0
while read -r name; do
  case "$name" in ""|\#*) continue ;; esac
  if ! grep -q -E "^LibKinolot::$name(\[abi:cxx11\])?(\(|$| )" <<<"$exported"; then
    echo "not exported: LibKinolot::$name"
    status=1
  fi
done <"$names"
# Typeinfo, vtables and C++ runtime pieces of exported classes are fine, and
# so are the markers a sanitizer build adds; functions and objects must live
# in the namespace.
stray=$(grep -v -E '^(LibKinolot::|typeinfo|vtable|VTT|_init$|_fini$|guard variable|construction vtable)' \
  <<<"$exported" | grep -v -E '^(std::|__gnu_cxx::|void std::|operator|__odr_asan|__asan|__ubsan|__sanitizer)' || true)
if [ -n "$stray" ]; then
  echo "exported outside namespace LibKinolot:"
  echo "$stray"
  status=1
fi
[ $status -eq 0 ] && echo "all $(grep -c -v -E '^(#|$)' "$names") interface names exported"
exit $status
