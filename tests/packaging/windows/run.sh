#!/usr/bin/env bash
# run.sh FOLDER: tests what scripts/package-windows.sh has just made there, under a Wine that runs
# programs of both bitnesses. Makes what the tests need beside it: a host of each bitness, and
# installers and an MSI of a newer version. The message centre is that of the preset release,
# the substitute telephony service (fake_tapi) that of the presets for Windows.
set -euo pipefail
cd "$(dirname "$0")/../../.."
dist=$(realpath "$1")
tests=tests/packaging/windows
work=$PWD/build/package-windows

make_hosts() {
  local machine
  for machine in x86_64:x64 i686:x86; do
    "${machine%:*}-w64-mingw32-gcc-posix" -O1 -Wall -Wextra -s -o "$work/host_${machine#*:}.exe" $tests/host.c \
      -lole32 -luuid -ladvapi32
  done
}

make_installer() {  # NAME VERSION FILES
  makensis -V1 -INPUTCHARSET UTF8 -DVERSION="$2" -DFILES="$3" -DLISTS="$work" \
    -DOUTPUT="$work/$1-setup.exe" packaging/windows/mvsms.nsi
}

make_broken() {
  rm -rf "$work/broken"
  cp -r "$work/files" "$work/broken"
  head -c 1000 /dev/zero >"$work/broken/component/x64/mvSMS.dll"
  make_installer broken 99.1.0 "$work/broken"
}

make_hosts
make_installer newer 99.0.0 "$work/files"
make_broken
python3 -B packaging/windows/msi.py 99.0.0 x64 "$work/msi-x64" "$work/newer-x64.msi"
rm -rf build/wine-packages
status=0
echo "== files and signatures"
$tests/files_test.py "$dist" || status=1
$tests/sign_test.sh "$dist" || status=1
for test in side_by_side msi installer; do
  echo "== $test"
  scripts/wine32.sh $tests/${test}_test.sh "$dist" || status=1
done
exit $status
