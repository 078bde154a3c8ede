#!/usr/bin/env bash
# scripts/on-debian.sh [--bare] SUITE [COMMAND...]: runs a command (a shell unless told otherwise) on
# a clean clone of this tree's last commit, in a chroot of a Debian release (bookworm, trixie). That
# is how every release is checked:
#
#     scripts/on-debian.sh --bare trixie scripts/demo.sh
#     scripts/on-debian.sh trixie scripts/test.sh
#
# The chroot is made by mmdebstrap with nothing but the base system, and kept, with what the command
# installed and compiled, in the user's cache folder; --bare starts from the base system again.
# Needs root. The exit code is the command's.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

bare=no
[ "${1:-}" != --bare ] || { bare=yes; shift; }
[ $# -ge 1 ] || { sed -n '2,/^set/s/^# \{0,1\}//p' "$0" >&2; exit 2; }
suite=$1
command=("${@:2}")
[ ${#command[@]} -gt 0 ] || command=(bash)
[ "$(id -u)" -eq 0 ] || { echo "scripts/on-debian.sh makes a chroot, for which it must run as root" >&2; exit 1; }

kept=${MVSMS_CHROOTS:-${XDG_CACHE_HOME:-$HOME/.cache}/mvsms-chroots}
root=$kept/$suite
base=$kept/$suite.tar
mkdir -p "$kept"

# One command at a time in a chroot: another one waits here.
exec 9>"$kept/$suite.lock"
flock 9

if [ ! -s "$base" ]; then
  install_missing mmdebstrap
  mmdebstrap --quiet --variant=minbase "$suite" "$base.new.tar" >&2
  mv "$base.new.tar" "$base"
fi
[ $bare = no ] || rm -rf --one-file-system "$root"
if [ ! -d "$root" ]; then
  rm -rf --one-file-system "$root.new"
  mkdir "$root.new"
  tar --extract --file "$base" --directory "$root.new" --exclude './dev/*'
  mv "$root.new" "$root"
fi

rm -rf "$root/root/mvsms"
git clone --quiet --no-hardlinks . "$root/root/mvsms"
cp --dereference /etc/resolv.conf "$root/etc/resolv.conf"

# Mounts and processes of its own, so that nothing of them is left when the command has ended.
export suite root
exec unshare --mount --pid --fork --kill-child --mount-proc bash -c '
  set -eu
  mount --rbind /dev "$root/dev"
  mount --rbind /sys "$root/sys"
  mount -t proc proc "$root/proc"
  mount -t tmpfs tmpfs "$root/tmp"
  exec env --ignore-environment HOME=/root TERM="${TERM:-dumb}" LANG=C.UTF-8 \
    PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin ${CI:+CI=$CI} \
    chroot "$root" bash -c "cd /root/mvsms && exec \"\$@\"" on-debian "$@"
' on-debian "${command[@]}"
