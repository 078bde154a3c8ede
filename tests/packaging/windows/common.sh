# What the tests of the Windows packages share. Sourced, by scripts that scripts/wine32.sh runs; they are
# given the folder with the packages.
cd "$(dirname "${BASH_SOURCE[0]}")/../../.."
dist=$(realpath "$1")
work=$PWD/build/package-windows
export MVSMS_WINEPREFIX=$PWD/build/wine-packages MVSMS_WINE_LIMIT=60
version=$(sed -n 's/^project(mvsms VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
drive=$MVSMS_WINEPREFIX/drive_c
scratch=$(mktemp -d)
failures=0
started=()

finish() {
  for process in "${started[@]}"; do kill "$process" 2>/dev/null || true; done
  WINEPREFIX=$MVSMS_WINEPREFIX wineserver -k >/dev/null 2>&1 || true
  rm -rf "$scratch"
}
trap finish EXIT

wine_run() { scripts/wine-run.sh "$@"; }
fail() { echo "FAILED: $*"; failures=$((failures + 1)); }
test_case() { echo "- $*"; }

# expect CODE COMMAND...: the command ends with this exit code. Of Windows' codes the lowest eight bits
# arrive here. What it prints is kept in $output.
expect() {
  local wanted=$(($1 & 255)) code=0
  shift
  output=$("$@" 2>&1) || code=$?
  output=${output//$'\r'/}
  [ "$code" -eq "$wanted" ] || fail "$*: exit code $code, not $wanted: $output"
}
says() { [[ $output == *"$1"* ]] || fail "it does not say \"$1\" but: $output"; }
says_not() { [[ $output != *"$1"* ]] || fail "it says \"$1\": $output"; }
there() { [ -e "$1" ] || fail "missing: $1"; }
gone() { [ ! -e "$1" ] || fail "still there: $1"; }

value() { wine_run reg query "$1" /v "$2" "${@:3}" | tr -d '\r' | sed -n "s/^ *$2  *REG_[A-Z_]*  *//p"; }

# Registry and files of the prefix, without times, temporary files, and what is to be deleted at the next
# start.
snapshot() {  # FILE
  WINEPREFIX=$MVSMS_WINEPREFIX wineserver -k || true
  WINEPREFIX=$MVSMS_WINEPREFIX wineserver -w
  sed -e '/^#time=/d' -e '/^"DriverDateData"/d' -e '/^"PendingFileRenameOperations"/d' \
    -e 's/^\(\[.*\]\) [0-9]*$/\1/' "$MVSMS_WINEPREFIX"/{system,user}.reg >"$1"
  find "$drive" -not -ipath '*/temp/*' | LC_ALL=C sort >>"$1"
}
unchanged() {  # FILE
  snapshot "$1.now"
  diff "$1" "$1.now" >"$1.difference" || { fail "registry or files differ:"; head -40 "$1.difference"; }
}

# A prefix as on a machine without anything of ours, with the substitute telephony service: the first
# test of a run makes it, and each leaves it so.
prepare_machine() {
  [ ! -e "$drive/quit.vbs" ] || return 0
  wine_run reg add 'HKCU\Software\Wine\DllOverrides' /v winemenubuilder.exe /d '' /f >/dev/null
  local bits folder
  for bits in x64 x86; do
    cp build/windows-$bits/bin/fake_tapi.dll "$drive/fake_tapi_$bits.dll"
    cp "$work/host_$bits.exe" "$drive/"
  done
  wine_run 'C:\windows\system32\regsvr32.exe' /s 'C:\fake_tapi_x64.dll'
  wine_run 'C:\windows\syswow64\regsvr32.exe' /s 'C:\fake_tapi_x86.dll'
  for folder in 'Classes\CLSID' 'Classes\Interface' 'Classes\TypeLib' 'Microsoft\Windows\CurrentVersion\Uninstall'; do
    wine_run reg add "HKCU\\Software\\$folder" /f >/dev/null
  done
  mkdir -p "$drive/users/$(id --user --name)/AppData/Local/Programs"
  echo 'WScript.Quit 7' >"$drive/quit.vbs"
  for folder in system32 syswow64; do  # which registers itself
    expect 7 wine_run "C:\\windows\\$folder\\cscript.exe" //nologo 'C:\quit.vbs'
  done
}

start_centre() {  # behind COM21
  rm -f "$MVSMS_WINEPREFIX/dosdevices/com21"
  build/release/bin/mvsms centre --pty --line --link "$MVSMS_WINEPREFIX/dosdevices/com21" --protocol tap --quiet \
    --record "$scratch/received" >/dev/null 2>&1 &
  started+=($!)
  for _ in $(seq 100); do [ -e "$MVSMS_WINEPREFIX/dosdevices/com21" ] && break; sleep 0.05; done
}

configure() {  # MVSMS.EXE
  expect 0 wine_run "$1" config set DefaultModem "Test modem"
  expect 0 wine_run "$1" service add Pager Protocol=TAP PhoneNumber=221 TimeOut=500
}

# A script host of each bitness sends.
scripts_send() {  # SEND.VBS
  local folder
  for folder in system32 syswow64; do
    expect 0 wine_run "C:\\windows\\$folder\\cscript.exe" //nologo "$1" Standard 01711234567 "Sent from $folder"
    says accepted
    grep --quiet "Sent from $folder" "$scratch/received" || fail "nothing arrived from $folder"
  done
}

summary() {
  [ $failures -eq 0 ] || { echo "$failures failures"; exit 1; }
  echo "passed"
}
