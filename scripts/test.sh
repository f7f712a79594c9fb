#!/usr/bin/env bash
# Runs the whole test suite from a clean clone: installs what is missing,
# starts a throwaway PostgreSQL cluster on a Unix socket, builds and runs the
# tests once plainly and once under AddressSanitizer and UndefinedBehaviorSanitizer,
# and removes the cluster again however the run ends.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"

cluster=$(mktemp -d /tmp/kinolot-test.XXXXXX)
cleanup() {
  "$root/scripts/pg-cluster.sh" stop "$cluster" || true
  rm -rf "$cluster"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

"$root/scripts/pg-cluster.sh" start "$cluster" --log-statements
export PGHOST="$cluster/socket" PGPORT=5432
export KINOLOT_TEST_SERVER_LOG="$cluster/data/server.log"

jobs=$(nproc 2>/dev/null || echo 2)
for build_type in Debug Sanitize; do
  build="$root/build/test-$build_type"
  echo "== $build_type build"
  cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=$build_type -DKINOLOT_BUILD_TESTS=ON >/dev/null
  cmake --build "$build" -j "$jobs"
  echo "== $build_type tests"
  ctest --test-dir "$build" --output-on-failure
done

echo "== Line counts"
"$root/scripts/line-counts.sh"
