#!/usr/bin/env bash
# scripts/bench.sh [FILTER]: builds the benchmarks optimised, runs them and prints their table; then
# whole sends, the queue, the hub, and the time that `mvsms` needs to its first line. Run it on an idle machine.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1

install_missing "${build_packages[@]}" "${check_packages[@]}"
cmake --preset release >/dev/null
cmake --build --preset release --target mvsms mvsms_bench mvsms_whole_sends mvsms_gateway_load mvsms_hub_load >/dev/null

bin=build/release/bin
grep -m1 'model name' /proc/cpuinfo
"$bin/mvsms_bench" --benchmark_filter="${1:-.}" 2>/dev/null
[ $# -eq 0 ] || exit 0
echo
"$bin/mvsms_whole_sends"
bench/queue_figures.py "$bin/mvsms"
bench/hub_figures.py "$bin/mvsms"

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

# The gateway, on the disk that the state would lie on.
export MVSMS_HOME=$home
"$bin/mvsms" modem add Modem --kind tcp >/dev/null
"$bin/mvsms" service add Pager --set PhoneNumber=localhost:4000 --set Protocol=TAP >/dev/null
"$bin/mvsms" serve --http 127.0.0.1:0 --max-rate 0 --max-waiting 1000000 >"$home/serving" &
gateway=$!
trap 'kill $gateway; wait $gateway; rm -rf "$home"' EXIT
until grep -q Serving "$home/serving"; do sleep 0.1; done
port=$(sed 's/.*://' "$home/serving")
"$bin/mvsms_gateway_load" "$port" 1000 10 32
"$bin/mvsms_gateway_load" "$port" --streams 1000 $gateway
