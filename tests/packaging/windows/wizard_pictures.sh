#!/usr/bin/env bash
# wizard_pictures.sh FOLDER: pictures of the installer's pages, in both languages, in
# build/package-windows/pictures, for somebody to look at. Runs under scripts/wine32.sh; needs xdotool,
# xwd (x11-apps) and convert (imagemagick) there.
set -euo pipefail
. "$(dirname "$0")/common.sh"
pictures=$work/pictures
mkdir -p "$pictures"

Xvfb :61 -screen 0 800x600x24 -nolisten tcp >/dev/null 2>&1 &
started+=($!)
export DISPLAY=:61

rm -rf "$MVSMS_WINEPREFIX"
wine_run reg add 'HKCU\Software\Wine\DllOverrides' /v winemenubuilder.exe /d '' /f >/dev/null
wine_run reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d x11 /f >/dev/null
wine_run reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f >/dev/null
WINEPREFIX=$MVSMS_WINEPREFIX wineserver -k || true
ln -sf /usr/share/wine/fonts/*.ttf "$drive/windows/Fonts/"

picture() { sleep "${2:-1}"; xwd -root -silent | convert xwd:- -trim "$pictures/$1.png"; }
press() { xdotool key "$@"; }

pages() {  # LANGUAGE NEXT-KEY
  local language=$1 next=$2
  MVSMS_LOCALE=$language.UTF-8 wine_run "$dist/mvsms-$version-setup.exe" &
  local installer=$!
  picture "$language-1-welcome" 4
  press "$next"; picture "$language-2-mode"
  press "$next"; picture "$language-3-components"
  # The sixth of the choices is the group.
  press Down Down Down Down Down space; picture "$language-3b-components"
  press "$next"; picture "$language-4-group"
  xdotool type Users; press "$next"; picture "$language-5-folder"
  press "$next"; picture "$language-6-installing" 0.3
  picture "$language-7-finished" 6
  press Return
  wait $installer || true
  sleep 1
  MVSMS_LOCALE=$language.UTF-8 wine_run 'C:\Program Files\mvSMS\uninstall.exe' &
  picture "$language-8-uninstall" 4
  press Return; picture "$language-9-uninstalled" 4
  press Return
  sleep 2
}
pages en_US alt+n
pages de_DE alt+w
