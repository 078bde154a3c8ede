#!/bin/bash
# hardening_test.sh FILE...: whether programs and libraries were built as cmake/Hardening.cmake wants it.
set -euo pipefail
failures=0

# expect WHAT PATTERN OPTION...: what readelf prints of the program must match the pattern.
expect() {
  local what=$1 pattern=$2
  shift 2
  # Into a variable: a pipe would end readelf at the first match.
  local printed
  printed=$(readelf --wide "$@" "$program")
  if ! grep --quiet --extended-regexp "$pattern" <<<"$printed"; then
    echo "$program: $what"
    failures=$((failures + 1))
  fi
}

for program in "$@"; do
  expect "is not position-independent" 'Type: +DYN' --file-header
  expect "has tables of the linker that stay writable" 'GNU_RELRO' --program-headers
  expect "binds its functions late" 'BIND_NOW|FLAGS.*NOW' --dynamic
  expect "has a stack that can be executed" 'GNU_STACK.* RW +0x' --program-headers
  expect "has no stack protector" '__stack_chk_fail' --dyn-syms
  expect "has no checked buffers" '__[a-z]+_chk@' --dyn-syms
  expect "has no checked indices" '__glibcxx_assert_fail' --dyn-syms
done
exit $((failures > 0))
