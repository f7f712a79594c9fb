#!/usr/bin/env bash
# Builds the libFuzzer targets of fuzz/ with clang and runs each for SECONDS
# (default 300), one after another, against a throwaway PostgreSQL cluster.
#
#   scripts/fuzz.sh [SECONDS [TARGET...]]
#
# With TARGET names only those targets are built and run.
#
# Each target starts from its seeds in fuzz/seeds/<target>/ and grows a
# corpus under build/fuzz/corpus/<target>/; an input that crashes a target,
# trips a sanitizer or breaks one of its checks is saved under
# build/fuzz/findings/ and makes the script exit non-zero. The target that
# talks HTTP runs in a network namespace with nothing but loopback. Not part
# of the test suite: CI does not run it.
set -euo pipefail

seconds=${1:-300}
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build/fuzz"
targets=(formatter_fuzz names_dates_fuzz edit_fuzz download_fuzz)
if [ $# -gt 1 ]; then targets=("${@:2}"); fi

"$root/scripts/install-deps.sh"
# clang and its libFuzzer runtime, which only the fuzz targets need.
fuzz_packages=(clang libclang-rt-14-dev)
missing=()
for p in "${fuzz_packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  sudo=""
  if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

CC=clang CXX=clang++ cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Fuzz -DKINOLOT_BUILD_FUZZ=ON \
  -DKINOLOT_BUILD_TOOLS=OFF -DKINOLOT_BUILD_BENCH=OFF -DKINOLOT_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" -j "$(nproc 2>/dev/null || echo 2)" --target "${targets[@]}"

cluster=$(mktemp -d /tmp/kinolot-fuzz.XXXXXX)
cleanup() {
  "$root/scripts/pg-cluster.sh" stop "$cluster" >/dev/null 2>&1 || true
  rm -rf "$cluster"
}
trap cleanup EXIT
trap 'exit 130' INT TERM
"$root/scripts/pg-cluster.sh" start "$cluster" >/dev/null
export PGHOST="$cluster/socket" PGPORT=5432

mkdir -p "$build/findings" "$build/logs"
status=0
summary=()
for target in "${targets[@]}"; do
  corpus="$build/corpus/$target"
  mkdir -p "$corpus"
  cp -n "$root/fuzz/seeds/$target"/* "$corpus"/ 2>/dev/null || true
  log="$build/logs/$target.log"
  command=("$build/fuzz/$target" -max_total_time="$seconds" -timeout=30 -print_final_stats=1
           -artifact_prefix="$build/findings/$target-" "$corpus")
  echo "== $target ($seconds s)"
  rc=0
  if [ "$target" = download_fuzz ]; then
    if [ "$(id -u)" -eq 0 ] && command -v unshare >/dev/null && command -v ip >/dev/null; then
      unshare --net sh -c 'ip link set lo up && exec "$@"' sh "${command[@]}" >"$log" 2>&1 || rc=$?
    else
      echo "   skipped: needs root, unshare and ip for a loopback-only network namespace"
      continue
    fi
  else
    "${command[@]}" >"$log" 2>&1 || rc=$?
  fi
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
  rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -n 1)
  if [ $rc -ne 0 ]; then
    status=1
    line="$target: FINDING after ${runs:-?} runs (see $log and $build/findings/)"
  else
    line="$target: ${runs:-?} runs, ${rate:-?} executions per second, no finding"
  fi
  echo "   $line"
  summary+=("$line")
done
echo "== summary"
printf '%s\n' "${summary[@]}"
exit $status
