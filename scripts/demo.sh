#!/usr/bin/env bash
# Shows messages travelling from `mvsms send` to the built-in message centre and back, on this
# machine alone. Installs what is missing on a bare Debian 12 or 13, builds, and runs `mvsms demo`.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

# The tree configures its tests too, so their sources must be there.
install_missing "${build_packages[@]}" googletest
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1 CCACHE_SLOPPINESS=pch_defines,time_macros
cmake --preset release > build-demo.log 2>&1 &&
  cmake --build --preset release --target mvsms >> build-demo.log 2>&1 ||
  { cat build-demo.log; exit 1; }
rm -f build-demo.log
exec build/release/bin/mvsms demo "$@"
