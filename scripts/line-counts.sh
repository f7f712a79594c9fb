#!/usr/bin/env bash
# Prints the non-blank lines of the test suite against those of the code it
# tests (library, public headers, tools and benchmarks), per area, and the
# ratio of the two. It only reports: it always exits 0.
#
#   line-counts.sh [ROOT]      ROOT defaults to the repository holding this script
root=${1:-$(cd "$(dirname "$0")/.." && pwd)}

# Non-blank lines of every file under one folder (generated and hidden
# folders left out); 0 when the folder is missing.
count() {
  [ -d "$root/$1" ] || { echo 0; return; }
  find "$root/$1" \( -name node_modules -o -name 'build*' -o -name '.*' \) -prune -o \
    -type f -print0 | xargs -0 -r cat | grep -cv '^[[:space:]]*$' || true
}

code=0
printf '%-10s %7s\n' area lines
for area in src include tools bench; do
  n=$(count "$area")
  code=$((code + n))
  printf '%-10s %7d\n' "$area/" "$n"
done
tests=$(count tests)
printf '%-10s %7d\n' "code" "$code"
printf '%-10s %7d\n' "tests/" "$tests"
if [ "$code" -gt 0 ]; then
  printf 'tests/code %7s\n' "$(awk -v t="$tests" -v c="$code" 'BEGIN { printf "%.2f", t / c }')"
fi
exit 0
