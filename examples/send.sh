#!/bin/sh
# Sends one message and tries again, as often as the profile says, until it is accepted: the line may
# be busy (exit code 1), or the centre (75). Wrong usage (2) does not cure itself.
#   send.sh NUMBER TEXT
[ $# -eq 2 ] || { echo "usage: send.sh NUMBER TEXT" >&2; exit 2; }
mvsms=${MVSMS:-mvsms}
attempts=$("$mvsms" config get Retries)
minutes=$("$mvsms" config get RetryDelay)
attempts=${attempts:-3}
while :; do
  "$mvsms" send --quiet --to "$1" "$2"
  code=$?
  attempts=$((attempts - 1))
  [ $code -ne 0 ] && [ $code -ne 2 ] && [ $attempts -gt 0 ] || exit $code
  sleep $((${minutes:-1} * 60))
done
