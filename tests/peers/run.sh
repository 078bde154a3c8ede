#!/usr/bin/env bash
# run.sh MVSMS [NAME...]: the message centre of the command of that path, called by paging programs of other
# people as Debian has them, in a chroot of this machine's release: in_chroot.sh is what happens there.
# Needs root; the chroot's base is kept in the user's cache folder. Takes a minute once that is made.
set -euo pipefail
commands=("$(realpath "$1")")
cd "$(dirname "$0")/../.."
. scripts/packages.sh
. scripts/chroots.sh

chroot_with peers curl hylafax-client hylafax-server kannel
cp tests/peers/in_chroot.sh "$root/root"
enter_chroot "$root" /root bash in_chroot.sh "${@:2}"
