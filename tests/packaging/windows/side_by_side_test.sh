#!/usr/bin/env bash
# side_by_side_test.sh FOLDER: a host finds the component by manifests, where nothing is registered.
set -euo pipefail
. "$(dirname "$0")/common.sh"

manifests=$work/files/tools/administration/manifests
prepare_machine
for bits in x64 x86; do
  test_case "$bits"
  folder=$drive/private_$bits
  mkdir "$folder"
  cp "$work/files/component/$bits/mvSMS.dll" "$manifests/$bits/mvSMS.Component.manifest" "$folder/"
  cp "$work/host_$bits.exe" "$folder/host.exe"
  expect 1 wine_run "C:\\private_$bits\\host.exe"
  cp "$manifests/host.exe.manifest" "$folder/"
  expect 0 wine_run "C:\\private_$bits\\host.exe"
  says "C:\\private_$bits\\mvSMS.dll"
done
rm -rf "$drive"/private_*
summary
