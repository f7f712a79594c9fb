#!/usr/bin/env bash
# Checks that libkinolot exports exactly its interface: every class, function
# and object marked KINOLOT_EXPORT in the public headers is in the dynamic
# symbol table in namespace LibKinolot, and every function or object the
# library exports is one of them (or a member of an exported class).
#   check_exports.sh LIBRARY INCLUDE_DIR
set -euo pipefail
lib=$1
include=$2

# "class KINOLOT_EXPORT Name", "KINOLOT_EXPORT type Name(" and
# "KINOLOT_EXPORT extern type Name;" give Name.
declared=$(grep -rh --include="*.h" KINOLOT_EXPORT "$include/kinolot" | grep -v -E '^(#|//)' |
  sed -E -e 's/^class KINOLOT_EXPORT ([A-Za-z0-9_]+).*/\1/' \
    -e 's/^KINOLOT_EXPORT [^(;]*[ *&]([A-Za-z0-9_]+)(\(|;|\[).*/\1/' | sort -u)

# Exported names in the namespace, reduced to the function, object or class
# they belong to; typeinfo and vtables count for their class.
symbols=$(nm -DC --defined-only "$lib" | cut -d' ' -f3-)
exported=$(grep -E '^((typeinfo( name)?|vtable|VTT|construction vtable) for )?LibKinolot::' \
  <<<"$symbols" | sed -E -e 's/^[^L]* for //' -e 's/^LibKinolot::([A-Za-z0-9_]+).*/\1/' | sort -u)

status=0
missing=$(comm -23 <(echo "$declared") <(echo "$exported"))
extra=$(comm -13 <(echo "$declared") <(echo "$exported"))
[ -z "$missing" ] || { echo "declared for export but not exported:" $missing; status=1; }
[ -z "$extra" ] || { echo "exported but not declared in a public header:" $extra; status=1; }
# Outside the namespace only the C++ runtime's and a sanitizer's pieces may
# appear.
stray=$(grep -v -E '^(LibKinolot::|(typeinfo( name)?|vtable|VTT|construction vtable|guard variable) for |_init$|_fini$|std::|__gnu_cxx::|void std::|operator|__odr_asan|__asan|__ubsan|__sanitizer)' \
  <<<"$symbols" || true)
[ -z "$stray" ] || { printf 'exported outside namespace LibKinolot:\n%s\n' "$stray"; status=1; }
[ $status -eq 0 ] && echo "all $(wc -l <<<"$declared") interface names exported, and nothing else"
exit $status
