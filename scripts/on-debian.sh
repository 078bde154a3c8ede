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
. scripts/chroots.sh

bare=no
[ "${1:-}" != --bare ] || { bare=yes; shift; }
[ $# -ge 1 ] || { sed -n '2,/^set/s/^# \{0,1\}//p' "$0" >&2; exit 2; }
suite=$1
command=("${@:2}")
[ ${#command[@]} -gt 0 ] || command=(bash)
[ "$(id -u)" -eq 0 ] || { echo "scripts/on-debian.sh makes a chroot, for which it must run as root" >&2; exit 1; }

root=$chroots/$suite
lock_chroot "$suite"

[ $bare = no ] || rm -rf --one-file-system "$root"
[ -d "$root" ] || unpack_debian "$suite" "$root"

rm -rf "$root/root/mvsms"
git clone --quiet --no-hardlinks . "$root/root/mvsms"
enter_chroot "$root" /root/mvsms "${command[@]}"
