#!/usr/bin/env bash
# scripts/coverage.sh: builds with coverage, runs the unit tests, and prints for the core's folders which
# lines no test reaches.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1

install_missing "${build_packages[@]}" "${check_packages[@]}" gcovr
build=build/coverage
cmake -G Ninja -S . -B $build -DCMAKE_CXX_COMPILER_LAUNCHER=ccache \
  -DCMAKE_CXX_FLAGS="-O0 --coverage -fprofile-abs-path" >/dev/null
tests=(base_test forms_test dispatch_test media_test protocols_test engine_test diagnostics_test ui_test sweep_test)
cmake --build $build --target "${tests[@]}" >/dev/null
find $build -name '*.gcda' -delete
for program in "${tests[@]}"; do $build/bin/$program --gtest_brief=1 | tail -1; done
rooms=(base/ resources/ forms/ media/ protocols/ engine/ dispatch/ diagnostics/ ui/)
gcovr --root . $build --exclude-throw-branches "${rooms[@]/#/--filter=}"
