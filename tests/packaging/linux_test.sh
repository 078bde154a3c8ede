#!/usr/bin/env bash
# linux_test.sh FOLDER [SUITE...]: the packages of that folder (scripts/package.sh --linux made them) in
# minimal chroots of releases of Debian: the one that made them and Debian 13, unless told otherwise.
# in_chroot.sh is what happens there; the gateway is for the release that made it. Needs root; the
# chroots' bases are kept in the user's cache folder.
set -euo pipefail
folder=$(realpath "$1")
cd "$(dirname "$0")/../.."
. scripts/packages.sh
. scripts/chroots.sh
suites=("${@:2}")
own=$(. /etc/os-release && echo "$VERSION_CODENAME")
[ ${#suites[@]} -gt 0 ] || mapfile -t suites < <(printf '%s\n' "$own" trixie | uniq)

# What packages need, the first of alternatives, so that dpkg alone installs, without a network.
needed_by() {  # PACKAGE...
  local package
  for package in "$@"; do dpkg-deb --field "$package" Depends; done |
    tr ',' '\n' | sed 's/[(|].*//; s/ //g' | grep --invert-match mvsms | sort --unique |
    paste --serial --delimiters=,
}
# And what only the tests need.
tools=adduser,bash-completion,logrotate,man-db,rpm,sqlite3

work=$(mktemp --directory)
trap 'rm -rf --one-file-system "$work"' EXIT

# The same files under a lower number: what a package before this one would bring.
make_older() {  # PACKAGE
  dpkg-deb --raw-extract "$1" "$work/older"
  sed -i 's/^Version: .*/Version: 0.9.0-1/' "$work/older/DEBIAN/control"
  dpkg-deb --root-owner-group --build "$work/older" "$work/packages/older.deb" >/dev/null
}

collect() {
  mkdir "$work/packages"
  cp "$folder"/*.deb "$folder"/*.rpm tests/packaging/{in_chroot.sh,older_queue.sql} "$work/packages"
  make_older "$folder"/mvsms_*.deb
}

base_of() {  # SUITE
  local base needed
  needed=$(needed_by "$work/$1/packages"/{mvsms,libmvsms}*.deb)
  base=$chroots/packages-$1-$(sha256sum <<<"$needed" | cut --characters=1-8).tar
  if [ ! -s "$base" ]; then
    install_missing mmdebstrap
    mmdebstrap --quiet --variant=minbase --include="$needed,$tools" "$1" "$base.new.tar" >&2
    mv "$base.new.tar" "$base"
  fi
  echo "$base"
}

try() (  # SUITE
  lock_chroot "packages-$1"
  root=$work/$1
  mkdir "$root"
  cp -r "$work/packages" "$root/packages"
  [ "$1" = "$own" ] || rm "$root"/packages/mvsms-gateway*
  base=$(base_of "$1")
  tar --extract --file "$base" --directory "$root" --exclude './dev/*'
  enter_chroot "$root" /packages bash in_chroot.sh
)

# Side by side, since it is mostly waiting for calls.
collect
failures=0
for suite in "${suites[@]}"; do
  try "$suite" >"$work/$suite.log" 2>&1 &
  running[$!]=$suite
done
for process in "${!running[@]}"; do
  wait "$process" || failures=1
  printf -- '-- %s\n' "${running[$process]}"
  cat "$work/${running[$process]}.log"
done
exit $failures
