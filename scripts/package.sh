#!/usr/bin/env bash
# scripts/package.sh [--linux] [OUTPUT-FOLDER]: everything that is handed out, into dist/ unless told
# otherwise: Debian and RPM packages, what scripts/package-windows.sh makes, the guides, a bill of
# materials (SPDX) and SHA256SUMS. Made from a clean clone of the last commit; installs what is
# missing on a bare Debian 12. The packages for Linux install on the release of Debian that makes them
# and on later ones; mvsms-gateway on that one alone, for its libraries have other names in each.
#
#   --linux  the packages for Linux alone
#
# The same commit gives the same bytes.
set -euo pipefail
linux_only=no
[ "${1:-}" != --linux ] || { linux_only=yes; shift; }
[[ $# -le 1 && ${1:-} != -* ]] || { sed -n '2,/^set/s/^# \{0,1\}//p' "$0" >&2; exit 2; }
output=$(realpath -m "${1:-$(dirname "$0")/../dist}")
cd "$(dirname "$0")/.."
. scripts/packages.sh

commit=$(git rev-parse HEAD)
SOURCE_DATE_EPOCH=$(git log --max-count=1 --format=%ct)
export SOURCE_DATE_EPOCH LC_ALL=C.UTF-8 TZ=UTC
version=$(sed -n 's/^project(mvsms VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
work=$PWD/build/package
clone=$work/mvsms-$version
# debhelper gives the build a home of its own, where there is no cache.
CCACHE_DIR=${CCACHE_DIR:-$(ccache --get-config cache_dir)}
export CCACHE_DIR
unset CCACHE_BASEDIR CCACHE_NOHASHDIR  # with them the cache writes other paths than the compiler alone

step() { printf '\n== %s\n' "$*"; }

begin() {
  rm -rf "$work" "$output"
  mkdir -p "$work" "$output"
  git clone --quiet --no-hardlinks . "$clone"
}

make_debian_packages() {
  step "Debian packages"
  (cd "$clone" && DEB_BUILD_OPTIONS="parallel=$(nproc) terse" dpkg-buildpackage -us -uc -b)
  cp "$work"/*.deb "$output"
}

# From what was built for Debian, with the folders of those distributions.
make_rpm_packages() {
  step "RPM packages"
  local build=$clone/debian/build
  cmake -S "$clone" -B "$build" -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_INSTALL_LIBDIR=lib64 \
    -DMVSMS_UNITS=lib/systemd/system -DMVSMS_UDEV_RULES=lib/udev/rules.d \
    -DMVSMS_ZSH_COMPLETIONS=share/zsh/site-functions >/dev/null
  cmake --build "$build" --target mvsms mvsms-gateway mvsms-hub libmvsms libmvsms_static mvsms_pages
  (cd "$build" && cpack -G RPM >"$work/rpm.log") || { cat "$work/rpm.log" >&2; return 1; }
  cp "$build"/*.rpm "$output"
}

# Of the clone, too: its scripts know their own tree.
make_the_rest() {
  step "Windows"
  "$clone/scripts/package-windows.sh" "$output"
  step "Guides"
  "$clone/scripts/guides.sh" "$output/guides"
}

list_contents() {
  step "Bill of materials, check sums"
  python3 -B scripts/sbom.py "$version" "$commit" "$output"
  (cd "$output" && find . -type f ! -name SHA256SUMS -printf '%P\0' | sort -z | xargs -0 sha256sum >SHA256SUMS)
  ls -l "$output"
}

install_missing "${build_packages[@]}" "${package_packages[@]}"
begin
make_debian_packages
make_rpm_packages
[ $linux_only = yes ] || make_the_rest
list_contents
