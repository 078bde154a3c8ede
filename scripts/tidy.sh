#!/usr/bin/env bash
# scripts/tidy.sh [REGEX]: clang-tidy, with the checks in .clang-tidy, over the sources whose path
# matches (all but the tests unless told otherwise). Takes minutes, so scripts/test.sh leaves it out.
# The exit code is non-zero when there is a finding.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

install_missing "${build_packages[@]}" "${check_packages[@]}" "clang-tidy-$llvm"
cmake --preset dev >/dev/null
"run-clang-tidy-$llvm" -quiet -clang-tidy-binary "clang-tidy-$llvm" -p build/dev \
  "${1:-$PWD/(platform|media|protocols|engine|diagnostics|ui|centre|cli|fuzz|bench)/}"
