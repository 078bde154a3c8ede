#!/usr/bin/env bash
# run.sh BIN PROGRAM [ARGUMENT...]: runs a program of the Windows build folder BIN under Wine, with
# what it needs around it: the component and the substitute telephony service freshly registered,
# two connected serial ports (COM31, COM32), and message centres behind COM21 (TAP), COM22 (UCP),
# COM23 (TAP that refuses every message), COM24 (UCP that refuses), COM25 to COM28 (TAP), and another machine's
# gateway. What the centres and the gateway receive is appended to files that MVSMS_RECORDS names as a folder.
set -eu
bin=$1
shift
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
wine_run=$root/scripts/wine-run.sh
export MVSMS_WINEPREFIX=${MVSMS_WINEPREFIX:-$root/build/wine}
native=${MVSMS_NATIVE:-$root/build/release/bin/mvsms}
[ -x "$native" ] || { echo "run.sh: build the preset release first: no $native" >&2; exit 1; }

records=$(mktemp -d)
started=()
finish() {
  for process in "${started[@]}"; do kill "$process" 2>/dev/null || true; done
  rm -rf "$records"
}
trap finish EXIT

devices=$MVSMS_WINEPREFIX/dosdevices
(cd "$bin" && "$wine_run" regsvr32 /s fake_tapi.dll && "$wine_run" regsvr32 /s mvSMS.dll)

centre() {  # PORT PROTOCOL [OPTION...]
  local port=$1 protocol=$2
  shift 2
  rm -f "$devices/com$port"
  "$native" centre --pty --line --link "$devices/com$port" --protocol "$protocol" --quiet \
    --record "$records/com$port" "$@" >/dev/null 2>"$records/com$port.err" &
  started+=($!)
}
centre 21 tap
# The sender refuses answers whose checksum begins with a zero; without the time of day in them these
# have none.
centre 22 ucp --set 'system-message={recipient}'
centre 23 tap --set refuse=all
centre 24 ucp --set refuse=all
centre 25 tap
centre 26 tap
centre 27 tap
centre 28 tap
socat "pty,raw,echo=0,link=$devices/com31" "pty,raw,echo=0,link=$devices/com32" \
  2>"$records/socat.err" &
started+=($!)
for port in 21 22 23 24 25 26 27 28 31 32; do
  for _ in $(seq 100); do [ -e "$devices/com$port" ] && continue 2; sleep 0.05; done
  echo "run.sh: nothing behind COM$port" >&2
  cat "$records/com$port.err" "$records/socat.err" >&2
  exit 1
done

python3 -B "$root/tests/com/gateway.py" "$records" 2>"$records/gateway.err" &
started+=($!)
for _ in $(seq 100); do [ -e "$records/gateway_https" ] && break; sleep 0.05; done

cd "$bin"
export OANOCACHE=1 MVSMS_RECORDS="Z:${records//\//\\}"

# attempt PROGRAM [ARGUMENT...]: its exit code; what it printed is kept.
attempt() {
  local said=$MVSMS_WINEPREFIX/stderr.log status=0 from
  from=$(stat --format=%s "$said" 2>/dev/null || echo 0)
  "$wine_run" "$@" | tee "$records/output"
  status=${PIPESTATUS[0]}
  tail --bytes=+$((from + 1)) "$said" | grep --text '^wine: ' | head --lines=20 || true
  return "$status"
}

# The summary proves that a test program ran to its end. Now and then Wine ends one silently, without
# the word that it has for every crash: such a run is told of, and made once more.
status=0
attempt "$@" || status=$?
case $1 in
  *_test.exe)
    if ! grep --quiet -e '^\[  PASSED  \]' -e '^\[  FAILED  \]' "$records/output"; then
      echo "run.sh: $1 ended with code $status and without a summary; once more"
      status=0
      attempt "$@" || status=$?
      grep --quiet -e '^\[  PASSED  \]' -e '^\[  FAILED  \]' "$records/output" || status=1
    fi ;;
esac
exit "$status"
