# The Debian packages that building and checking need, in one place. Sourced by the other scripts.
# The names are those of Debian 12 and 13 alike.

# What a formatter or linter says depends on its version; this one is in both releases. The dev preset
# names its compiler by it too.
llvm=19

# For the command, the library and the message centre.
command_packages=(
  build-essential
  ccache
  cmake
  libcli11-dev
  libsqlite3-dev
  libssl-dev
  ninja-build
  nlohmann-json3-dev
  pkg-config
  python3
)

# For everything.
build_packages=(
  "${command_packages[@]}"
  libcpp-httplib-dev
  libctemplate-dev
  libgmime-3.0-dev
  libpq-dev
)

check_packages=(
  "clang-format-$llvm"
  curl  # the gateway guide shows it
  fish
  git
  googletest
  iproute2  # networks of their own for the hub's machines
  libbenchmark-dev
  libgmock-dev
  libgtest-dev
  man-db
  postgresql  # the hub's server
  python3-jsonschema  # the gateway's description against its answers
  ser2net  # the serial server that lines over the network are tried against
  zsh
)

# The sanitizers' compiler, which has libFuzzer too.
clang_packages=(
  "clang-$llvm"
  "libclang-rt-$llvm-dev"  # the runtimes of libFuzzer and the sanitizers, which clang only recommends
)

# Cross-compiling for Windows, and running the result.
windows_packages=(
  fonts-wine  # those that Windows has for dialogs
  g++-mingw-w64-i686-posix
  g++-mingw-w64-x86-64-posix
  libwine-dev
  mingw-w64-tools
  python3
  socat
  wine
  wine64
  xvfb
)

# The guides as HTML and PDF.
guide_packages=(
  cmark-gfm
  fonts-liberation
  python3
  weasyprint
)

# Making the packages for Linux, the guides in them.
package_packages=(
  "${guide_packages[@]}"
  debhelper
  dpkg-dev
  git
  lintian
  rpm
)

# The gateway's status page, as a browser shows it.
browser_packages=(
  chromium
  chromium-driver
  fonts-dejavu-core
  python3
)

# Making what is handed out for Windows.
windows_package_packages=(
  faketime
  msitools
  nsis
  openssl
  osslsigncode
  wixl
  zip
)

# install_missing PACKAGE...: installs what is not there yet, as root or through sudo. A fresh
# machine updates itself in the background first: the package manager's locks are waited for, for
# ten minutes, instead of failing at once.
install_missing() {
  local missing=() package
  for package in "$@"; do
    dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null |
      grep --quiet '^installed' || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  echo "Installing ${missing[*]}"
  local as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  local apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=600)
  # The time-out is not for the lock of the lists, which an update needs.
  local deadline=$((SECONDS + 600)) said
  until said=$("${apt[@]}" update --quiet=2 2>&1); do
    [[ $said == *"get lock"* && $SECONDS -lt $deadline ]] || { echo "$said" >&2; return 1; }
    sleep 5
  done
  "${apt[@]}" install --yes --quiet=2 --no-install-recommends "${missing[@]}"
}
