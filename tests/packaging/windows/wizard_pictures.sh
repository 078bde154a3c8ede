#!/usr/bin/env bash
# wizard_pictures.sh FOLDER: pictures of the pages of the installer in it, in both languages, in
# build/package-windows/pictures, for somebody to look at. Needs xdotool, xwd (x11-apps), convert
# (imagemagick) and Xvfb.
set -euo pipefail
cd "$(dirname "$0")/../../.."
dist=$(realpath "$1")
pictures=$PWD/build/package-windows/pictures
display=61  # reached by the network, for Wine may run in a chroot

wizards() {  # under scripts/wine32.sh
  local language uninstaller='C:\Program Files\mvSMS\uninstall.exe'
  export MVSMS_WINEPREFIX=$PWD/build/wine-packages DISPLAY=127.0.0.1:$display MVSMS_WINE_LIMIT=60
  rm -rf "$MVSMS_WINEPREFIX"
  scripts/wine-run.sh reg add 'HKCU\Software\Wine\DllOverrides' /v winemenubuilder.exe /d '' /f
  scripts/wine-run.sh reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d x11 /f
  scripts/wine-run.sh reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f
  WINEPREFIX=$MVSMS_WINEPREFIX wineserver -k || true
  ln -sf /usr/share/wine/fonts/*.ttf "$MVSMS_WINEPREFIX/drive_c/windows/Fonts/"
  for language in en_US de_DE; do
    export MVSMS_LOCALE=$language.UTF-8
    touch "$pictures/$language-ready"
    scripts/wine-run.sh "$dist"/mvsms-*-setup.exe || true
    scripts/wine-run.sh "$uninstaller" || true
    sleep 12  # it goes on after its first process has ended
  done
}

picture() { sleep "${2:-1}"; DISPLAY=:$display xwd -root -silent | convert xwd:- "$pictures/$language-$1.png"; }
press() { DISPLAY=:$display xdotool key --delay 100 "$@"; }

pages() {  # LANGUAGE KEY-FOR-NEXT
  language=$1
  local next=$2
  for _ in $(seq 100); do [ -e "$pictures/$language-ready" ] && break; sleep 0.5; done
  picture 1-welcome 3
  press "$next"; picture 2-mode
  press "$next"; picture 3-components
  # The sixth of the choices is the group.
  press Down Down Down Down Down space; picture 3b-components
  press "$next"; picture 4-group
  DISPLAY=:$display xdotool type Users; press "$next"; picture 5-folder
  press Return; picture 6-installing 0.3
  picture 7-finished 5
  press Return
  picture 8-uninstall 4
  press Return; picture 9-uninstalled 4
  press Return
}

if [ "${2:-}" = inside ]; then wizards; exit; fi
rm -rf "$pictures"
mkdir -p "$pictures"
Xvfb :$display -screen 0 800x600x24 -listen tcp -ac >/dev/null 2>&1 &
screen=$!
trap 'kill "$screen"' EXIT
scripts/wine32.sh "$0" "$dist" inside >/dev/null &
pages en_US alt+n
pages de_DE alt+w
wait $! || true
