#!/usr/bin/env bash
# scripts/bench-windows.sh: builds the Windows programs of both bitnesses and prints their sizes, and
# the component's figures, measured under Wine.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1

install_missing "${build_packages[@]}" "${check_packages[@]}" "${windows_packages[@]}"
cmake --preset release >/dev/null
cmake --build --preset release --target mvsms >/dev/null
cmake --preset windows-x64 >/dev/null
cmake --build --preset windows-x64 --target mvSMS fake_tapi com_figures >/dev/null
cmake --preset windows-x86 >/dev/null
for preset in windows-x64 windows-x86; do
  cmake --build --preset $preset --target mvSMS mvsms >/dev/null
  for file in mvSMS.dll mvsms.exe; do
    size=$(stat --format=%s "build/$preset/bin/$file")
    printf '%-45s %8d KB\n' "$file, $preset" $((size / 1024))
  done
done
tests/com/run.sh "$PWD/build/windows-x64/bin" com_figures.exe
