#!/usr/bin/env bash
# run.sh BIN PROGRAM [ARGUMENT...]: runs a program of the Windows build folder BIN on a virtual screen,
# once in English and once in German, with the component registered and message centres around it
# (see ../com/run.sh). Pictures of the dialogs are left in BIN/../screenshots.
set -eu
bin=$1
shift
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)
export MVSMS_WINEPREFIX=${MVSMS_SCREEN_PREFIX:-$root/build/wine-screen}
export MVSMS_SCREENSHOTS=$bin/../screenshots
mkdir -p "$MVSMS_WINEPREFIX" "$MVSMS_SCREENSHOTS"
cp "$root/resources/smstransports.inf" "$bin/"

display_file=$(mktemp)
Xvfb -displayfd 4 -screen 0 1920x1200x24 -nolisten tcp 4>"$display_file" >/dev/null 2>&1 &
screen=$!
finish() {
  kill "$screen" 2>/dev/null || true
  WINEPREFIX=$MVSMS_WINEPREFIX wineserver -k >/dev/null 2>&1 || true
  rm -f "$display_file"
}
trap finish EXIT
for _ in $(seq 100); do [ -s "$display_file" ] && break; sleep 0.05; done
DISPLAY=:$(cat "$display_file")
export DISPLAY

# A screen, and windows with frames of Wine's own, for there is no window manager.
"$root/scripts/wine-run.sh" reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d x11 /f >/dev/null
"$root/scripts/wine-run.sh" reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f >/dev/null
WINEPREFIX=$MVSMS_WINEPREFIX wineserver -k >/dev/null 2>&1 || true

# The fonts that Windows has for dialogs and for the buttons of window frames: Debian's Wine does not
# look where Debian's package puts them.
ln -sf /usr/share/wine/fonts/*.ttf "$MVSMS_WINEPREFIX/drive_c/windows/Fonts/"

# The second language is about texts and their room; what takes its time is done once.
status=0
run_in() {  # LANGUAGE [OPTION...]
  local language=$1
  shift
  MVSMS_LOCALE=$language.UTF-8 "$here/../com/run.sh" "$bin" "$@" || status=$?
}
quick=()
[ $# -gt 1 ] || quick=(--gtest_filter=-TestToolDialog.*:*Hundred*)
run_in en_US "$@"
run_in de_DE "$@" "${quick[@]}"

# A host that has declared UTF-8 as its code page. Wine reads the declaration beside a program.
if [ $# -eq 1 ]; then
  cp "$bin/$1" "$bin/utf8_$1"
  cp "$here/utf8.manifest" "$bin/utf8_$1.manifest"
  MVSMS_LOCALE=de_DE.UTF-8 MVSMS_SCREENSHOTS= "$here/../com/run.sh" "$bin" "utf8_$1" \
    --gtest_filter='Utf8Host.*:Dialogs.*:ConfigDialog.Adds*' || status=$?
fi

# Twice the resolution: everything grows alike, and still nothing is cut off.
at_dpi() {  # DPI
  "$root/scripts/wine-run.sh" reg add 'HKCU\Control Panel\Desktop' /v LogPixels /t REG_DWORD /d "$1" /f >/dev/null
  WINEPREFIX=$MVSMS_WINEPREFIX wineserver -k >/dev/null 2>&1 || true
}
if [ $# -eq 1 ]; then
  unset MVSMS_SCREENSHOTS
  at_dpi 192
  run_in de_DE "$@" --gtest_filter=Dialogs.*
  at_dpi 96
  export MVSMS_SCREENSHOTS=$bin/../screenshots
fi

if command -v convert >/dev/null; then
  for picture in "$MVSMS_SCREENSHOTS"/*.bmp; do
    [ -e "$picture" ] && convert "$picture" "${picture%.bmp}.png" && rm "$picture"
  done
fi
[ "$status" -eq 0 ] || echo "[  FAILED  ] with exit code $status"
exit "$status"
