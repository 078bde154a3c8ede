#!/usr/bin/env bash
# scripts/wine32.sh COMMAND...: runs a command, in the folder where this tree is, where Wine runs
# 32-bit programs: on this machine when it has them, otherwise in a chroot of its own release, which
# spares it a second architecture. The chroot is made once, by mmdebstrap, as root, and kept in the
# user's cache folder.
#
# The exit code is the command's, or 3 where 32-bit programs cannot be run.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
. scripts/chroots.sh
[ $# -gt 0 ] || { sed -n '2,/^set/s/^# \{0,1\}//p' "$0" >&2; exit 2; }

# A prefix knows the bitnesses of the Wine that made it.
export MVSMS_WINEPREFIX=$PWD/build/wine32 MVSMS_SCREEN_PREFIX=$PWD/build/wine32-screen

has_wine32() {
  dpkg-query --show --showformat='${db:Status-Status}' wine32:i386 2>/dev/null | grep --quiet '^installed'
}

# With what the tests need beside Wine. Only the release itself, no updates of it: a library must
# have the same version in both architectures.
make_chroot() {  # ROOT
  local suite
  suite=$(. /etc/os-release && echo "$VERSION_CODENAME")
  install_missing mmdebstrap
  rm -rf --one-file-system "$1.new"
  mmdebstrap --quiet --variant=minbase --architectures=amd64,i386 \
    --include="ca-certificates,cmake,fonts-wine,libsqlite3-0,python3,socat,wine,wine64,wine32:i386,xvfb" \
    "$suite" "$1.new" "deb http://deb.debian.org/debian $suite main"
  mv "$1.new" "$1"
}

cannot() {
  cat >&2 <<'END'
scripts/wine32.sh: 32-bit Windows programs cannot be run here. Either run this as root, for a chroot, or
    sudo dpkg --add-architecture i386 && sudo apt-get update
    sudo apt-get install wine32:i386
END
  exit 3
}

has_wine32 && exec "$@"
[ "$(id -u)" -eq 0 ] || cannot
lock_chroot wine32
root=$chroots/wine32
[ -d "$root" ] || make_chroot "$root" >&2 || cannot
SHARED=$PWD enter_chroot "$root" "$PWD" "$@"
