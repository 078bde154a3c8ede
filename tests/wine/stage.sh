#!/usr/bin/env bash
# Runs a Windows program under Wine with serial ports set up for it, and takes them down afterwards.
#
#   stage.sh PORT NAME[=ARGUMENTS]... -- PROGRAM [ARGUMENT]...
#
# The ports are given numbers from PORT on, in the order of the names; the program finds the first
# number in MVSMS_PORT. Names:
#   cable            two ports, joined
#   centre=OPTIONS   a port with the message centre behind it; every opening is a call
#
# What the centres received is in PORT.jsonl in the folder that MVSMS_RECORDS names to the program.
set -eu
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
tree=$(cd "$here/../.." && pwd)
prefix=${MVSMS_WINEPREFIX:-$tree/build/wine}
export MVSMS_PORT=$1
shift

"$tree/scripts/wine-run.sh" cmd /c rem  # makes the prefix when there is none yet
records=$(mktemp -d)
helpers=()
finish() {
  [ ${#helpers[@]} -eq 0 ] || kill "${helpers[@]}" 2>/dev/null || true
  for ((taken = MVSMS_PORT; taken < port; ++taken)); do rm -f "$prefix/dosdevices/com$taken"; done
  rm -rf "$records"
}
port=$MVSMS_PORT
trap finish EXIT

device() { echo "$prefix/dosdevices/com$1"; }
await() { for _ in $(seq 500); do [ -e "$1" ] && return; sleep 0.02; done; }

while [ "$1" != -- ]; do
  case $1 in
    cable)
      python3 "$here/serial_cable.py" "$(device "$port")" "$(device $((port + 1)))" &
      port=$((port + 2))
      ;;
    centre=*)
      # shellcheck disable=SC2086  # several options
      "$MVSMS_CENTRE" centre --pty --line --link "$(device "$port")" --quiet \
        --record "$records/$port.jsonl" ${1#centre=} >/dev/null &
      port=$((port + 1))
      ;;
  esac
  helpers+=($!)
  await "$(device $((port - 1)))"
  shift
done
shift

MVSMS_RECORDS=$records "$tree/scripts/wine-run.sh" "$@"
