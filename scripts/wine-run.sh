#!/usr/bin/env bash
# Runs a Windows program under Wine in a prefix of its own inside the build folder. The prefix is
# made once, under a lock: several programs may start at the same time, but not on a prefix that is
# still being made.
set -eu
here=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
export WINEPREFIX=${MVSMS_WINEPREFIX:-$here/build/wine}
export WINEDEBUG=${WINEDEBUG:--all} WINEDLLOVERRIDES="mscoree,mshtml,winedbg.exe="
mkdir -p "$WINEPREFIX"
(
  flock 9
  if [ ! -e "$WINEPREFIX/ready" ]; then
    env -u DISPLAY wineboot -i >"$WINEPREFIX/boot.log" 2>&1
    # Windows without a screen: dialogs and their controls work all the same.
    env -u DISPLAY wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f \
      >>"$WINEPREFIX/boot.log" 2>&1
    env -u DISPLAY wineserver -k >>"$WINEPREFIX/boot.log" 2>&1 || true
    touch "$WINEPREFIX/ready"
  fi
) 9>"$WINEPREFIX/lock"
# Where Wine has 64 bits only, a program of 32 would end with 0, having done nothing.
is_32_bits() {
  local header
  header=$(od -An -t u4 -j 60 -N 4 "$1")
  [ "$(od -An -t x2 -j $((header + 4)) -N 2 "$1")" = " 014c" ]
}
if [ ! -e "$WINEPREFIX/drive_c/windows/syswow64/kernel32.dll" ] && [ -f "$1" ] && is_32_bits "$1"; then
  echo "$1: this Wine runs no 32-bit programs; see scripts/wine32.sh" >&2
  exit 126
fi
# Without a locale, Wine could make no file whose name has umlauts.
exec env LC_ALL="${MVSMS_LOCALE:-C.UTF-8}" \
  timeout "${MVSMS_WINE_LIMIT:-600}" wine "$@" 2>>"$WINEPREFIX/stderr.log"
