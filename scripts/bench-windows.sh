#!/usr/bin/env bash
# scripts/bench-windows.sh: builds the Windows component and prints its figures, measured under Wine.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1

install_missing "${build_packages[@]}" "${check_packages[@]}" "${windows_packages[@]}"
cmake --preset release >/dev/null
cmake --build --preset release --target mvsms >/dev/null
cmake --preset windows-x64 >/dev/null
cmake --build --preset windows-x64 --target mvSMS fake_tapi com_figures >/dev/null
tests/com/run.sh "$PWD/build/windows-x64/bin" com_figures.exe
