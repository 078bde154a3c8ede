#!/bin/sh
# Sends one message and tries again, as often as the profile says, while another attempt may succeed
# (exit code 75; of a message in several pieces, those that were accepted arrive twice then). Every
# other code is final; 76 means that the message may have been delivered.
#   send.sh NUMBER TEXT
[ $# -eq 2 ] || { echo "usage: send.sh NUMBER TEXT" >&2; exit 2; }
mvsms=${MVSMS:-mvsms}
attempts=$("$mvsms" config get Retries)
minutes=$("$mvsms" config get RetryDelay)
attempts=${attempts:-3}
while :; do
  "$mvsms" send --quiet --to "$1" -- "$2"
  code=$?
  attempts=$((attempts - 1))
  [ $code -eq 75 ] && [ $attempts -gt 0 ] || exit $code
  sleep $((${minutes:-1} * 60))
done
