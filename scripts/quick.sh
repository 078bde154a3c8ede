#!/usr/bin/env bash
# scripts/quick.sh [NAME [FILTER]]: builds one test program of the dev preset and runs it, or only
# the tests that match FILTER, a GoogleTest pattern: scripts/quick.sh engine 'Sender*'. Without
# arguments it lists the names. The exit code is the test program's.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1 CCACHE_SLOPPINESS=pch_defines,time_macros

build=build/dev
if [ ! -e $build/build.ninja ]; then
  # The tree configures its tests too, so their sources must be there.
  install_missing "${build_packages[@]}" "${clang_packages[@]}" googletest
  cmake --preset dev >/dev/null
fi

names=$(ninja -C $build -t targets all | sed -n 's/^\([a-z0-9]*\)_test: phony$/\1/p' | sort)
if [ $# -eq 0 ]; then
  echo "$names"
  exit
fi
grep --quiet --line-regexp --fixed-strings -- "$1" <<<"$names" ||
  { echo "there is no test program \"$1\"; there are:" $names >&2; exit 2; }

ninja -C $build --quiet "$1_test"
program=$build/bin/$1_test
filter=${2:-*}
[[ $($program --gtest_list_tests --gtest_filter="$filter") == *$'\n  '* ]] ||
  { echo "no test of $1 matches \"$filter\"" >&2; exit 2; }
exec $program --gtest_brief=1 --gtest_filter="$filter"
