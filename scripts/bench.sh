#!/usr/bin/env bash
# scripts/bench.sh [FILTER]: builds the benchmarks optimised, runs them and prints their table; then
# whole sends, and the time that `mvsms` needs to its first line. Run it on an idle machine.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1

install_missing "${build_packages[@]}" "${check_packages[@]}"
cmake --preset release >/dev/null
cmake --build --preset release --target mvsms mvsms_bench mvsms_whole_sends >/dev/null

bin=build/release/bin
grep -m1 'model name' /proc/cpuinfo
"$bin/mvsms_bench" --benchmark_filter="${1:-.}" 2>/dev/null
[ $# -eq 0 ] || exit 0
echo
"$bin/mvsms_whole_sends"

home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
times=()
for _ in $(seq 21); do
  start=$(date +%s%N)
  MVSMS_HOME=$home "$bin/mvsms" send --to 1 x >/dev/null 2>&1 || true
  times+=($((($(date +%s%N) - start) / 1000)))
done
printf 'mvsms from its start to the end of a refused send: %s us (median of 21)\n' \
  "$(printf '%s\n' "${times[@]}" | sort -n | sed -n 11p)"
