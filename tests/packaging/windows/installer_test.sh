#!/usr/bin/env bash
# installer_test.sh FOLDER: the installer in it, as an administrator's script runs it.
set -euo pipefail
. "$(dirname "$0")/common.sh"

setup=$dist/mvsms-$version-setup.exe
folder='C:\Program Files\mvSMS'
files="$drive/Program Files/mvSMS"
entry='HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall\mvSMS'
path='HKLM\SYSTEM\CurrentControlSet\Control\Session Manager\Environment'
long_path="%SystemRoot%\\system32;C:\\windows;$(printf 'C:\\Tools\\%04d;' $(seq 200))C:\\Last"
newer=$work/newer-setup.exe
broken=$work/broken-setup.exe

# The uninstaller goes on after its first process has ended.
uninstall() {  # [OPTION...]
  expect 0 wine_run "$folder\\uninstall.exe" /S "$@"
  for _ in $(seq 100); do [ -e "$files/uninstall.exe" ] || break; sleep 0.1; done
  sleep 0.5
}

installs_everything() {
  test_case "a silent installation"
  expect 0 wine_run "$setup" /S
  there "$files/x64/mvsms.exe"
  there "$files/x86/mvSMS.dll"
  there "$files/examples/send.vbs"
  gone "$files/incoming"
  local name
  for name in DisplayName DisplayVersion DisplayIcon Publisher InstallLocation UninstallString EstimatedSize; do
    [ -n "$(value "$entry" $name /reg:64)" ] || fail "no $name"
  done
  # Wine's MSI, which another test has used, leaves semicolons at its end.
  [ "$(value "$path" Path)" = "$(sed 's/;*$//' <<<"$path_before");$folder\\x64" ] || fail "the path: $(value "$path" Path)"
  [ "$(find "$drive" -name '*.lnk' -path '*mvSMS*' | wc -l)" -ge 2 ] || fail "no shortcuts"
  WINEPREFIX=$MVSMS_WINEPREFIX wineserver -k  # a new session knows the new path
  expect 0 wine_run cmd /c mvsms --version
  says "$version"
}

sends() {
  test_case "script hosts of both bitnesses send"
  configure "$folder\\x64\\mvsms.exe"
  scripts_send "$folder\\examples\\send.vbs"
}

# What the start menu opens ends when its window is closed.
opens_and_closes() {  # TITLE ARGUMENT...
  wine_run "$folder\\x64\\mvsms.exe" "${@:2}" &
  expect 0 wine_run 'C:\host_x64.exe' close "$1"
  wait $! || fail "mvsms ${*:2}: exit code $?"
}

opens_dialogs() {
  test_case "configuration and test tool"
  opens_and_closes "SMS Configuration" dialog
  opens_and_closes "SMS Message" dialog --test-tool
}

# A program that has the component loaded.
hold() {
  wine_run 'C:\host_x64.exe' 'C:\holding' >"$scratch/host" &
  holder=$!
  for _ in $(seq 100); do [ -e "$drive/holding" ] && break; sleep 0.1; done
}
let_go() {
  rm "$drive/holding"
  wait $holder || fail "the program that had it loaded: $(cat "$scratch/host")"
}

keeps_a_loaded_component() {
  test_case "an upgrade, while a program has the component loaded"
  echo 'our own catalogue' >>"$files/x64/smstransports.inf"
  hold
  expect 3010 wine_run "$newer" /S
  says "until they end"
  [ "$(value "$entry" DisplayVersion /reg:64)" = 99.0.0 ] || fail "not upgraded"
  compgen -G "$files/previous-*" >/dev/null || fail "what is loaded was not put aside"
  let_go
  expect 0 wine_run "$newer" /S '/D=C:\elsewhere'
  gone "$drive/elsewhere"
  ! compgen -G "$files/previous-*" >/dev/null || fail "what was put aside is still there"
  grep --quiet 'our own' "$files/x64/smstransports.inf" || fail "the catalogue was replaced"
  expect 0 wine_run 'C:\host_x64.exe'
}

refuses_a_downgrade() {
  test_case "an older version over a newer one"
  expect 7 wine_run "$setup" /S
  says "Version 99.0.0 is installed"
  [ "$(value "$entry" DisplayVersion /reg:64)" = 99.0.0 ] || fail "downgraded"
}

survives_a_broken_component() {
  test_case "a component that cannot be registered"
  expect 5 wine_run "$broken" /S
  says "could not be registered"
  [ "$(value "$entry" DisplayVersion /reg:64)" = 99.0.0 ] || fail "the version is another"
  gone "$files/incoming"
  expect 0 wine_run 'C:\host_x64.exe'
  expect 0 wine_run 'C:\host_x86.exe'
}

leaves_nothing_when_it_fails() {
  test_case "the same on a machine that had none"
  snapshot "$scratch/before"
  expect 5 wine_run "$broken" /S
  unchanged "$scratch/before"
}

survives_a_full_disk() {
  test_case "a disk that fills up"
  mkdir -p "$drive/small"
  if ! mount -t tmpfs -o size=9m tmpfs "$drive/small" 2>/dev/null; then
    echo "  not tried: no right to mount a small disk"
    return
  fi
  expect 0 wine_run "$setup" /S /NOGUIDES '/D=C:\small'
  local before
  before=$(cd "$drive/small" && find . -type f -exec sha256sum {} + | sort)
  expect 2 wine_run "$newer" /S
  says "is there room on the disk"
  [ "$before" = "$(cd "$drive/small" && find . -type f -exec sha256sum {} + | sort)" ] || fail "files have changed"
  expect 0 wine_run 'C:\host_x64.exe'
  says 'small'
  expect 0 wine_run 'C:\small\uninstall.exe' /S
  for _ in $(seq 100); do [ -e "$drive/small/uninstall.exe" ] || break; sleep 0.1; done
  sleep 0.5
  umount "$drive/small"
  rmdir "$drive/small"
}

grants_a_group() {
  test_case "rights for a group"
  expect 6 wine_run "$setup" /S /GROUP=Nobody-of-this-name
  says "There is no group of the name 'Nobody-of-this-name'"
  gone "$files"
  expect 3 wine_run "$setup" /S /CURRENTUSER /GROUP=S-1-5-32-545
  expect 0 wine_run "$setup" /S /GROUP=S-1-5-32-545
  expect 0 wine_run 'C:\host_x64.exe' rights 'Software\MIRVALEN\PAGOREX'
  says ';CI;KA;;;BU)'
  says ';BA)'
}

leaves_settings() {
  test_case "uninstalling, with and without the settings"
  [ -n "$(value 'HKLM\Software\MIRVALEN\PAGOREX\Standard' DefaultModem /reg:64)" ] || configure "$folder\\x64\\mvsms.exe"
  uninstall
  gone "$files/x64/mvSMS.dll"
  expect 0 wine_run reg query 'HKLM\Software\MIRVALEN\PAGOREX\Standard' /reg:64
  expect 0 wine_run "$setup" /S
  uninstall /PURGE
  gone "$files"
}

uninstalls_a_loaded_component() {
  test_case "uninstalling while a program has the component loaded, and installing anew"
  expect 0 wine_run "$setup" /S
  hold
  uninstall
  gone "$files/x64/mvSMS.dll"
  expect 3010 wine_run "$setup" /S  # what the next start of Windows deletes is not this
  ! grep '^"PendingFileRename' "$MVSMS_WINEPREFIX/system.reg" | grep --quiet 'mvSMS.\\x64' || fail "the new one would be deleted"
  let_go
  expect 0 wine_run 'C:\host_x64.exe'
  expect 0 wine_run "$setup" /S
  ! compgen -G "$files/previous-*" >/dev/null || fail "what was put aside is still there"
  uninstall
  gone "$files"
}

spares_a_long_path() {
  test_case "a path longer than the installer's texts"
  wine_run reg add "$path" /v Path /t REG_EXPAND_SZ /d "$long_path" /f >/dev/null
  expect 0 wine_run "$setup" /S
  [ "$(value "$path" Path)" = "$long_path;$folder\\x64" ] || fail "the path: $(value "$path" Path)"
  uninstall
  [ "$(value "$path" Path)" = "$long_path" ] || fail "the path: $(value "$path" Path)"
  wine_run reg add "$path" /v Path /t REG_EXPAND_SZ /d "$path_before" /f >/dev/null
}

installs_for_one_user() {
  test_case "for the current user"
  expect 0 wine_run "$setup" /S /CURRENTUSER
  says_not mvSMS
  expect 0 wine_run reg query 'HKCU\Software\Classes\mvSMS.Sender'
  expect 1 wine_run reg query 'HKLM\Software\Classes\mvSMS.Sender'
  # Wine 8 has one key there for both bitnesses, and no host looks into it.
  expect 0 wine_run reg query 'HKCU\Software\Classes\CLSID' /s
  says 'AppData\Local\Programs\mvSMS'
  [[ $(value 'HKCU\Environment' Path) == *AppData*mvSMS* ]] || fail "not on the user's path"
  local where
  where=$(value 'HKCU\Software\Microsoft\Windows\CurrentVersion\Uninstall\mvSMS' InstallLocation)
  expect 0 wine_run "$where\\uninstall.exe" /S /CURRENTUSER
  sleep 3
}

prepare_machine
path_before=$(value "$path" Path)
snapshot "$scratch/fresh"
start_centre
installs_everything
sends
opens_dialogs
keeps_a_loaded_component
refuses_a_downgrade
survives_a_broken_component
uninstall /PURGE
leaves_nothing_when_it_fails
survives_a_full_disk
grants_a_group
leaves_settings
uninstalls_a_loaded_component
spares_a_long_path
installs_for_one_user
test_case "registry and files are as before"
unchanged "$scratch/fresh"
summary
