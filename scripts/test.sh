#!/usr/bin/env bash
# Every check of the tree, from a clean clone on a bare Debian 12: installs what is missing, checks
# the formatting, builds with AddressSanitizer and UBSan and optimised, and runs all tests of both.
# Ends with the closing lines of CTest; the exit code is non-zero when anything failed.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1 CCACHE_SLOPPINESS=pch_defines,time_macros

step() { printf '\n== %s\n' "$*"; }

check_format() {
  step "Formatting"
  git ls-files -z '*.cpp' '*.h' | xargs -0 clang-format --dry-run --Werror
}

# build_and_test PRESET: builds a preset and runs all its tests, the end-to-end runs included.
build_and_test() {
  step "Build and test: $1"
  cmake --preset "$1"
  cmake --build --preset "$1"
  ctest --preset "$1"
}

# Long enough to tell that a target still works; scripts/fuzz.sh is for long runs.
fuzz_briefly() {
  step "Fuzz: a few seconds for each target"
  scripts/fuzz.sh 5
}

# Further kinds of checks (Windows tests under Wine) are functions here, called at the end before the
# last build_and_test.

install_missing "${build_packages[@]}" "${check_packages[@]}"
check_format
build_and_test dev
fuzz_briefly
build_and_test release
