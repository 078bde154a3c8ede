#!/usr/bin/env bash
# msi_test.sh FOLDER: the two MSIs in it: what they register is what the component itself registers,
# hosts of both bitnesses send, and nothing is left of them.
set -euo pipefail
. "$(dirname "$0")/common.sh"

export MVSMS_WINE_LIMIT=120
folder='C:\Program Files\mvSMS'
declare -A regsvr=([x64]='C:\windows\system32\regsvr32.exe' [x86]='C:\windows\syswow64\regsvr32.exe')
declare -A place=([x64]=$folder [x86]='C:\Program Files (x86)\mvSMS')

msiexec() { wine_run 'C:\windows\system32\msiexec.exe' "$@" /qn; }
msi() { expect 0 msiexec "$1" "$dist/mvsms-$version-$2.msi" "${@:3}"; }  # /i|/x BITS [PROPERTY...]

registers_what_the_component_registers() {  # BITS
  test_case "$1: registration"
  msi /i "$1"
  expect 0 wine_run "C:\\host_$1.exe"
  says "${place[$1]}\\mvSMS.dll"
  # Once more by the component itself, in the same place: nothing may be added, nothing taken away. A
  # folder ends in a backslash in tables.
  snapshot "$scratch/by_tables"
  sed -i '/^@=/s,\\mvSMS\\\\"$,\\mvSMS",' "$scratch/by_tables"
  expect 0 wine_run "${regsvr[$1]}" /s "${place[$1]}\\mvSMS.dll"
  unchanged "$scratch/by_tables"
}

leaves_nothing() {  # BITS
  test_case "$1: uninstalling"
  msi /x "$1"
  expect 1 wine_run "C:\\host_$1.exe"
}

replaces_an_older_one() {
  test_case "an upgrade in a folder of its own, and no downgrade"
  msi /i x64 'INSTALLDIR=C:\Our programs\mvSMS'
  expect 0 wine_run 'C:\host_x64.exe'
  says 'C:\Our programs\mvSMS\mvSMS.dll'
  expect 0 msiexec /i "$work/newer-x64.msi"
  expect 0 wine_run 'C:\host_x64.exe'
  says 'C:\Our programs\mvSMS\mvSMS.dll'
  expect 1603 msiexec /i "$dist/mvsms-$version-x64.msi"
  expect 0 wine_run 'C:\host_x64.exe'
  expect 0 msiexec /x "$work/newer-x64.msi"
  expect 1 wine_run 'C:\host_x64.exe'
  rm -rf "$drive/Our programs"
}

prepare_machine
start_centre
registers_what_the_component_registers x64
[[ $(value 'HKLM\SYSTEM\CurrentControlSet\Control\Session Manager\Environment' Path) == *"$folder"* ]] || fail "not on the path"
registers_what_the_component_registers x86

test_case "script hosts of both bitnesses send"
configure "$folder\\mvsms.exe"
scripts_send "$folder\\examples\\send.vbs"

leaves_nothing x86
test_case "one does not take the other with it"
expect 0 wine_run 'C:\host_x64.exe'
leaves_nothing x64
replaces_an_older_one
test_case "nothing is left but the settings and the catalogues"
snapshot "$scratch/after"
left=$(grep --ignore-case mvsms "$scratch/after" | grep --invert-match -e smstransports -e 'mvSMS$' || true)
[ -z "$left" ] || fail "left: $left"
there "$drive/Program Files/mvSMS/smstransports.inf"
rm -rf "$drive"/Program\ Files*/mvSMS
wine_run reg delete 'HKLM\Software\MIRVALEN' /f /reg:64 >/dev/null
summary
