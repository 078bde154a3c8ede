# Chroots of Debian releases, kept in the user's cache folder. Sourced, after scripts/packages.sh, by
# the scripts that run something in one.

chroots=${MVSMS_CHROOTS:-${XDG_CACHE_HOME:-$HOME/.cache}/mvsms-chroots}

# lock_chroot NAME: one command at a time in a chroot; another one waits here.
lock_chroot() {
  mkdir -p "$chroots"
  exec 9>"$chroots/$1.lock"
  flock 9
}

# unpack_debian SUITE ROOT: the base system of a release and nothing else, made once by mmdebstrap.
unpack_debian() {
  local base=$chroots/$1.tar
  if [ ! -s "$base" ]; then
    install_missing mmdebstrap
    mmdebstrap --quiet --variant=minbase "$1" "$base.new.tar" >&2
    mv "$base.new.tar" "$base"
  fi
  rm -rf --one-file-system "$2.new"
  mkdir -p "$2.new"
  tar --extract --file "$base" --directory "$2.new" --exclude './dev/*'
  mv "$2.new" "$2"
}

# libraries_of PROGRAM...: the packages of the libraries that they are linked with here.
libraries_of() {
  ldd "$@" | awk '$2 == "=>" {print $3}' | xargs --max-args=1 realpath |
    sed 's,^\(/usr\)\?,*,' | xargs dpkg-query --search | cut --delimiter=: --fields=1 | sort --unique
}

# chroot_with NAME PACKAGE...: makes $root a fresh chroot of this machine's release with the packages,
# and in its /usr/bin the programs of the array `commands`, with what they are linked with. Locked until
# the end.
chroot_with() {
  local suite needed name
  suite=$(. /etc/os-release && echo "$VERSION_CODENAME")
  mapfile -t needed < <(libraries_of "${commands[@]}"; printf '%s\n' "${@:2}")
  name=$1-$suite-$(printf '%s\n' "${needed[@]}" | sha256sum | cut --characters=1-8)
  lock_chroot "$name"
  if [ ! -s "$chroots/$name.tar" ]; then
    install_missing mmdebstrap
    mmdebstrap --quiet --variant=minbase --include="$(IFS=,; echo "${needed[*]}")" \
      "$suite" "$chroots/$name.new.tar" >&2
    mv "$chroots/$name.new.tar" "$chroots/$name.tar"
  fi
  root=$chroots/$name
  rm -rf --one-file-system "$root"
  unpack_debian "$name" "$root"
  cp "${commands[@]}" "$root/usr/bin"
}

# enter_chroot ROOT FOLDER COMMAND...: becomes the command, in that folder of the chroot, with the
# environment's MVSMS_ variables and CI, and with mounts and processes of its own, so that nothing of
# them is left when it has ended. SHARED, when set, is a folder of this machine that has its place
# there too.
enter_chroot() {
  export root=$1 folder=$2 SHARED=${SHARED:-}
  local passed
  passed=$(env | sed -n 's/^\(CI\|MVSMS_[A-Z_]*\)=.*/\1/p' | tr '\n' ' ')
  export passed
  cp --dereference /etc/resolv.conf "$root/etc/resolv.conf"
  [ -e "$root/etc/hosts" ] || echo "127.0.0.1 localhost" >"$root/etc/hosts"
  exec unshare --mount --pid --fork --kill-child --mount-proc bash -c '
    set -eu
    mount --bind "$root" "$root"  # what is a mount may enter another chroot from within
    mount --rbind /dev "$root/dev"
    mount --rbind /sys "$root/sys"
    mount -t proc proc "$root/proc"
    mount -t tmpfs tmpfs "$root/tmp"
    if [ -n "$SHARED" ]; then
      mkdir -p "$root$SHARED"
      mount --rbind "$SHARED" "$root$SHARED"
    fi
    kept=()
    for name in $passed; do kept+=("$name=${!name}"); done
    exec env --ignore-environment HOME=/root TERM="${TERM:-dumb}" LANG=C.UTF-8 \
      PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin "${kept[@]}" \
      chroot "$root" bash -c "cd \"\$0\" && exec \"\$@\"" "$folder" "$@"
  ' in-chroot "${@:3}"
}
