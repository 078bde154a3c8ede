#!/usr/bin/env bash
# Shows messages travelling from `mvsms send` to the built-in message centre and back, on this
# machine alone. Installs what is missing on a bare Debian 12 or 13, builds, and runs `mvsms demo`.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

install_missing "${build_packages[@]}"
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1 CCACHE_SLOPPINESS=pch_defines,time_macros
build=build/demo
mkdir -p "$build"
{ cmake --preset release -B "$build" -DBUILD_TESTING=OFF &&
  cmake --build "$build" --target mvsms; } >"$build/build.log" 2>&1 ||
  { cat "$build/build.log"; exit 1; }
exec "$build/bin/mvsms" demo "$@"
