#!/usr/bin/env bash
# scripts/sign.sh FILE...: signs DLLs, programs and MSIs in place, with osslsigncode. The environment
# names the certificate, in files of the form PEM:
#
#   MVSMS_SIGN_CERTIFICATE  the certificate, with those between it and its root
#   MVSMS_SIGN_KEY          its key, without a pass phrase or with the one in MVSMS_SIGN_PASSFILE
#   MVSMS_SIGN_PASSFILE     a file with the key's pass phrase (optional)
#   MVSMS_SIGN_TIMESTAMP    address of a timestamp server (optional); without it the signature ends
#                           with the certificate
set -euo pipefail
[ $# -gt 0 ] || { sed -n '2,/^set/s/^# \{0,1\}//p' "$0" >&2; exit 2; }
: "${MVSMS_SIGN_CERTIFICATE:?names no certificate}" "${MVSMS_SIGN_KEY:?names no key}"

options=(-certs "$MVSMS_SIGN_CERTIFICATE" -key "$MVSMS_SIGN_KEY" -h sha256 -n mvSMS)
[ -z "${MVSMS_SIGN_PASSFILE:-}" ] || options+=(-readpass "$MVSMS_SIGN_PASSFILE")
[ -z "${MVSMS_SIGN_TIMESTAMP:-}" ] || options+=(-ts "$MVSMS_SIGN_TIMESTAMP")

for file; do
  osslsigncode sign "${options[@]}" -in "$file" -out "$file.signed" >"$file.log" 2>&1 ||
    { cat "$file.log" >&2; rm -f "$file.log" "$file.signed"; exit 1; }
  rm "$file.log"
  chmod --reference="$file" "$file.signed"
  mv "$file.signed" "$file"
done
