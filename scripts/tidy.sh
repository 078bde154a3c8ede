#!/usr/bin/env bash
# scripts/tidy.sh [--changed | FILE...]: clang-tidy, with the checks in .clang-tidy, over the sources of
# the product (the tests are left out), those of Windows too: clang reads them for the MinGW target.
# A file that was found clean is not read again until it, a header that it includes, or the checks
# change. --changed takes only files that the last commit or the working tree changed. The exit
# code is non-zero when there is a finding.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

install_missing "${build_packages[@]}" "${check_packages[@]}" "${windows_packages[@]}" \
  "clang-$llvm" "clang-tidy-$llvm"
cmake --preset release >/dev/null
cmake --preset windows-x64 >/dev/null
cmake --build --preset windows-x64 --target mvSMS_headers >/dev/null

windows_rooms='^(backends/win32|com|cli/win32)/'
product='^(base|platform|forms|resources|media|protocols|engine|dispatch|diagnostics|ui|backends|centre|library|gateway|cli|com|fuzz|bench)/'

sources() {  # [--changed | FILE...]
  case "${1:-}" in
    "") git ls-files '*.cpp' ;;
    --changed)
      git diff --name-only --diff-filter=d "$(git rev-list --max-count=2 HEAD | tail -1)" -- '*.cpp' ;;
    *) printf '%s\n' "$@" ;;
  esac | { grep --extended-regexp "$product" || true; } | { grep --invert-match '^bench/windows/' || true; }
}

flags() {  # FILE
  if [[ $1 =~ $windows_rooms ]]; then
    local gcc
    gcc=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-libgcc-file-name)")
    echo --target=x86_64-w64-mingw32 -nostdinc++ -isystem "$gcc/include/c++" \
      -isystem "$gcc/include/c++/x86_64-w64-mingw32" -isystem /usr/share/mingw-w64/include \
      -isystem build/windows-x64/com -isystem build/windows-x64/cli/headers
  fi
  pkg-config --cflags-only-I gmime-3.0 libpq | sed 's/-I/-isystem /g'
  echo -std=c++20 -I. -Iinclude -Ibuild/release/embedded "-DMVSMS_VERSION=\"$version\""
}

# check FILE: quiet and remembered when it is clean.
check() {
  local known all
  read -ra all <<<"$(flags "$1" | tr '\n' ' ')"
  known=build/tidy/$(
    { cat .clang-tidy; "clang++-$llvm" "${all[@]}" -E -P "$1" 2>/dev/null; } | sha256sum | cut -c1-40)
  [ -e "$known" ] && return
  if "clang-tidy-$llvm" --quiet "$1" -- "${all[@]}" >"$known.log" 2>/dev/null; then
    mv "$known.log" "$known"
  else
    cat "$known.log"
    rm "$known.log"
    echo "$1: not clean"
    return 1
  fi
}
export -f check flags
version=$(sed -n 's/^project(mvsms VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
export llvm version windows_rooms

mkdir -p build/tidy
sources "$@" | xargs --no-run-if-empty --max-procs="$(nproc)" --max-args=1 bash -c 'check "$1"' tidy
