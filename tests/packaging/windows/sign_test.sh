#!/usr/bin/env bash
# sign_test.sh: scripts/sign.sh signs a DLL, a program and an MSI, with a certificate made for the test.
set -euo pipefail
cd "$(dirname "$0")/../../.."
work=build/package-windows
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

openssl req -x509 -newkey rsa:2048 -noenc -days 2 -subj '/CN=mvSMS test' -addext extendedKeyUsage=codeSigning \
  -keyout "$scratch/key.pem" -out "$scratch/certificate.pem" 2>/dev/null
export MVSMS_SIGN_CERTIFICATE=$scratch/certificate.pem MVSMS_SIGN_KEY=$scratch/key.pem
cp "$work"/files/component/x64/mv* "$work"/broken-setup.exe "$1"/*-x64.msi "$scratch/"
for file in "$scratch"/mv* "$scratch"/*-setup.exe; do
  ! osslsigncode verify -in "$file" >/dev/null 2>&1 || { echo "FAILED: signed before: $file"; exit 1; }
  scripts/sign.sh "$file"
  osslsigncode verify -CAfile "$MVSMS_SIGN_CERTIFICATE" -in "$file" >"$scratch/said" 2>&1 ||
    { echo "FAILED: $file"; cat "$scratch/said"; exit 1; }
done

# An error of the tool is told, and leaves the file as it was.
sum=$(sha256sum "$scratch/mvSMS.dll")
! MVSMS_SIGN_KEY=/dev/null scripts/sign.sh "$scratch/mvSMS.dll" 2>/dev/null || { echo "FAILED: signed without a key"; exit 1; }
[ "$sum" = "$(sha256sum "$scratch/mvSMS.dll")" ] || { echo "FAILED: changed by a failure"; exit 1; }

# The uninstaller, which is made inside the installer, is signed when the installer is made.
makensis -V1 -INPUTCHARSET UTF8 -DVERSION=99.2.0 -DFILES="$PWD/$work/files" -DLISTS="$PWD/$work" \
  -DOUTPUT="$PWD/$work/signed-setup.exe" "-DSIGN=$PWD/scripts/sign.sh" packaging/windows/mvsms.nsi >"$scratch/said" ||
  { cat "$scratch/said"; exit 1; }
echo passed
