#!/usr/bin/env bash
# scripts/fuzz.sh [SECONDS [TARGET...]]: builds the fuzz targets and runs each for so long (60 seconds
# unless told otherwise), starting from the seeds in fuzz/corpus and from what earlier runs found.
# Finds stay in build/fuzz: new inputs in corpus/, inputs that failed in failures/. Prints one line
# per target; the exit code is non-zero when one failed.
#
# To keep an input that failed: mend the cause with an ordinary unit test, and copy the input into
# fuzz/corpus/TARGET, where every build replays it.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1 CCACHE_SLOPPINESS=pch_defines,time_macros

seconds=${1:-60}
targets=("${@:2}")
[ ${#targets[@]} -gt 0 ] || mapfile -t targets < <(ls fuzz/corpus)

install_missing "${build_packages[@]}" "${clang_packages[@]}"
cmake --preset dev >/dev/null
cmake --build --preset dev --target "${targets[@]/#/fuzz_}"

# run TARGET: one line with the number of executions, or all that the target said when it failed.
run() {
  local work=build/fuzz found=build/fuzz/corpus/$1
  mkdir -p "$found" $work/failures
  if "build/dev/bin/fuzz_$1" -max_total_time="$seconds" -timeout=60 -rss_limit_mb=2048 \
      -print_final_stats=1 -artifact_prefix="$work/failures/$1-" \
      "$found" "fuzz/corpus/$1" >"$work/$1.log" 2>&1; then
    printf '%-15s %10s executions, %s inputs known\n' "$1" \
      "$(awk '/number_of_executed_units/ {print $2}' "$work/$1.log")" "$(ls "$found" | wc -l)"
  else
    tail -60 "$work/$1.log"
    return 1
  fi
}

failed=0
for target in "${targets[@]}"; do
  run "$target" || failed=1
done
exit $failed
