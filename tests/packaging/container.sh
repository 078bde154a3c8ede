#!/usr/bin/env bash
# tests/packaging/container.sh: packaging/Dockerfile carried out without a container tool, each stage in
# a chroot of the release that it names, from the files of the last commit; then what it would start is
# started as its user, asked whether it is healthy before and after, and sent a page. Needs root.
set -euo pipefail
cd "$(dirname "$0")/../.."
. scripts/packages.sh
. scripts/chroots.sh
file=packaging/Dockerfile
[ "$(id -u)" -eq 0 ] || { echo "container.sh makes chroots, for which it must run as root" >&2; exit 1; }

install_missing iproute2
lock_chroot container
stages=$chroots/container
rm -rf --one-file-system "$stages"
stage=none folder=/ user=0:0 health='' entry=()

fail() { echo "$file: $*" >&2; exit 1; }

inside() { (enter_chroot "$stages/$stage" "$folder" "$@"); }

from() {  # debian:RELEASE[-slim] [AS NAME]
  local image=$1 suite
  suite=${image#debian:}
  [ "$suite" != "$image" ] || fail "an image that is not Debian's: $image"
  stage=${3:-last} folder=/ user=0:0
  unpack_debian "${suite%-slim}" "$stages/$stage"
}

copy() {  # [--from=STAGE] WHAT WHERE
  local to
  to=$stages/$stage${!#}
  case $1 in
    --from=*) cp "$stages/${1#--from=}$2" "$to" ;;
    .) mkdir -p "$to" && git archive HEAD | tar --extract --directory "$to" ;;
    *) fail "COPY $* is not understood" ;;
  esac
}

carry_out() {  # INSTRUCTION REST
  case $1 in
    FROM) read -ra words <<<"$2"; from "${words[@]}" ;;
    RUN) inside sh -c "$2" ;;
    COPY) read -ra words <<<"$2"; copy "${words[@]}" ;;
    WORKDIR) folder=$2 ;;
    USER) user=$2 ;;
    HEALTHCHECK) health=${2#*CMD } ;;
    ENTRYPOINT) mapfile -t entry < <(python3 -c 'import json, sys; print(*json.loads(sys.argv[1]), sep="\n")' "$2") ;;
    ARG | EXPOSE) ;;
    *) fail "$1 is not understood" ;;
  esac
}

# Continued lines as one, without comments.
instructions() { sed '/^#/d' "$file" | sed -e ':join' -e '/\\$/{N;s/\\\n//;b join' -e '}' | sed '/^$/d'; }

while read -r instruction rest <&3; do
  printf '%s %s\n' "$instruction" "$rest"
  carry_out "$instruction" "$rest"
done 3< <(instructions)

[ "${user%%:*}" != 0 ] || fail "it would run as root"

# In one network of its own, where the port is free whatever runs here.
try='
  healthy() { sh -c "$1"; }
  health=$1; shift
  ! healthy "$health" || { echo "healthy before it listens" >&2; exit 1; }
  "$@" --json >/tmp/printed & centre=$!
  for _ in $(seq 100); do healthy "$health" && break; sleep 0.1; done
  healthy "$health"
  MVSMS_HOME=/tmp/home; export MVSMS_HOME
  mvsms modem add Net --kind tcp
  mvsms service add Pager Protocol=TAP PhoneNumber=127.0.0.1:4000
  mvsms send --quiet --to 01711234567 "Pump 3 has stopped"
  kill "$centre" && wait "$centre"
  grep "Pump 3 has stopped" /tmp/printed
  mvsms --version'
echo "As ${user}: ${entry[*]}"
unshare --net bash -c '
  ip link set lo up
  . scripts/chroots.sh
  enter_chroot "$@"' net "$stages/$stage" / \
  setpriv --reuid "${user%:*}" --regid "${user#*:}" --clear-groups sh -euc "$try" try "$health" "${entry[@]}"
rm -rf --one-file-system "$stages"
