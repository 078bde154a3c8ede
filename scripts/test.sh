#!/usr/bin/env bash
# scripts/test.sh [--all | --native] [--no-x86]: the checks of the tree, from a clean clone on a bare
# Debian 12 or 13; installs what is missing. Quick ones first: formatting, layers, linter; then the
# tests with AddressSanitizer and UBSan, a few seconds of each fuzz target, the optimised command as a
# whole, and the Windows component and its tests under Wine, in 64 and 32 bits.
#
#   --all     the slow lanes too: the queue's proofs in full, the status page in a browser, the programs
#             of other people that page with it and those that call its message centre, the guides as
#             pages and on paper, the packages for Linux in chroots and those for Windows under Wine,
#             and the native tests, optimised, on the other Debian
#   --native  the optimised build and its tests, nothing else: what one lane runs on another release
#   --no-x86  without the 32-bit component, where Wine cannot run it
#
# The exit code is non-zero when anything failed.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1 CCACHE_SLOPPINESS=pch_defines,time_macros

# With the minutes that all has taken so far.
step() { printf '\n== %d:%02d %s\n' $((SECONDS / 60)) $((SECONDS % 60)) "$*"; }

check_format() {
  step "Formatting"
  git ls-files -z '*.cpp' '*.h' '*.hpp' '*.c' | xargs -0 "clang-format-$llvm" --dry-run --Werror
}

check_layers() {
  step "Layers: what each room may include, and settings named once"
  scripts/layers.py
  python3 tests/scripts/layers_test.py
}

# All of it takes half an hour on two cores: scripts/tidy.sh.
lint_changes() {
  step "Linter: what the last commit changed"
  scripts/tidy.sh --changed
}

# build_and_test PRESET: builds a preset and runs all its tests, the end-to-end runs included.
build_and_test() {
  step "Build and test: $1"
  cmake --preset "$1"
  cmake --build --preset "$1"
  ctest --preset "$1"
}

# The optimised command and library as a whole. Their unit tests have just run with the sanitizers;
# optimised they run on the other release.
try_finished() {
  step "Build and test: release, the finished command"
  cmake --preset release
  cmake --build --preset release --target mvsms libmvsms libmvsms_static mvsms_pages e2e_test
  ctest --preset release --tests-regex '^(hardening|guide|version|container|pages|library_installed|e2e\.)'
}

# Long enough to tell that a target still works; scripts/fuzz.sh is for long runs.
fuzz_briefly() {
  step "Fuzz: a few seconds for each target"
  scripts/fuzz.sh 5
}

# The benchmarks, so that they still build and run when somebody wants their figures.
try_benchmarks() {
  step "Benchmarks: one turn of each"
  cmake --build --preset release --target mvsms_bench mvsms_whole_sends mvsms_soak \
    mvsms_gateway_load mvsms_hub_load
  build/release/bin/mvsms_bench --benchmark_min_time=0 --benchmark_filter=-/100000 >/dev/null
}

# What is made for Windows needs nothing but what the oldest promised Windows has.
check_imports() {  # PRESET
  step "Imports: $1"
  scripts/windows_imports.py "build/$1/bin/mvSMS.dll" "build/$1/bin/mvsms.exe"
}

# What the tests take a sample of: every step of the queue at which a worker can die or the disk be
# full, ten thousand pages in virtual time, kills and a storm in real time.
try_queue() {
  step "The queue: every step, ten thousand pages, kills, a storm"
  MVSMS_THOROUGH=1 build/dev/bin/sweep_test --gtest_filter='*Dies*:*Disk*:HandingOver*:QueueStorm*'
  tests/e2e/queue_trial.py build/release/bin/mvsms kills 400
  tests/e2e/queue_trial.py build/release/bin/mvsms storm 160
  MVSMS_THOROUGH=1 build/dev/bin/dispatch_test --gtest_filter='TwoSites.*'
  tests/e2e/hub_trial.py build/release/bin/mvsms kills 24
  # 77: not in a container that has no networks of its own.
  tests/e2e/hub_trial.py build/release/bin/mvsms links 24 1 || [ $? = 77 ]
}

# The guides as they are packaged.
try_guides() {
  step "Guides: HTML and PDF, twice the same"
  rm -rf build/guides build/guides-again
  scripts/guides.sh build/guides
  scripts/guides.sh build/guides-again
  diff --recursive build/guides build/guides-again
  python3 -B tests/scripts/guide_pages_test.py build/guides
}

# The status page in a headless browser: over a gateway that the tests play, and over the command.
try_browser() {
  step "Status page: in a browser"
  install_missing "${browser_packages[@]}"
  python3 -B tests/gateway/status_page/status_page_test.py
  python3 -B tests/gateway/status_page/real_gateway_test.py build/release/bin/mvsms
}

# Monitoring systems, mail and paging clients, as Debian has them.
try_integrations() {
  step "Integrations: with the real programs"
  tests/integrations/run.sh build/release/bin/mvsms
}

# Paging programs of other people, as Debian has them, that call our message centre.
try_peers() {
  step "Peers: programs that call the message centre"
  tests/peers/run.sh build/release/bin/mvsms
}

# The packages for Linux, in a chroot of the release that makes them, as their users meet them.
try_packages() {
  step "Packages: twice the same, installed, used, upgraded, purged"
  install_missing "${package_packages[@]}" mmdebstrap
  scripts/package.sh --linux build/dist
  scripts/package.sh --linux build/dist-again
  diff --recursive build/dist build/dist-again
  # The project has neither a mailing address nor the wish for a package in Debian on file.
  lintian --allow-root --fail-on error build/dist/*.deb \
    --suppress-tags bogus-mail-host,bogus-mail-host-in-debian-changelog,initial-upload-closes-no-bugs
  tests/packaging/linux_test.sh build/dist
}

# The release of Debian that this machine does not run, from a clean clone of the last commit.
try_other_release() {
  local other=trixie
  [ "$(. /etc/os-release && echo "$VERSION_CODENAME")" != trixie ] || other=bookworm
  step "The other release: $other"
  scripts/on-debian.sh $other scripts/test.sh --native
}

# beside NAME COMMAND...: begins what spends its time otherwise than the lanes after it, one compiling
# and the other waiting for message centres. finish NAME waits for its end and prints what it printed.
declare -A beside
beside() {
  set -m  # a process group of its own, which ends with this script
  "${@:2}" >"build/$1.log" 2>&1 &
  set +m
  beside[$1]=$!
  trap abandon EXIT
}

finish() {
  local code=0
  wait "${beside[$1]}" || code=$?
  unset "beside[$1]"
  cat "build/$1.log"
  return "$code"
}

# Another lane failed. These may have failed before it, which is worth knowing as well.
abandon() {
  local name
  for name in "${!beside[@]}"; do
    step "Beside it, as far as it came: $name"
    kill -- "-${beside[$name]}" 2>/dev/null || true
    tail --lines 20 "build/$name.log"
  done
}

native_lane() {
  install_missing "${build_packages[@]}" "${check_packages[@]}"
  build_and_test release
}

build_windows() {  # PRESET
  step "Build: $1"
  cmake --preset "$1"
  cmake --build --preset "$1"
  check_imports "$1"
}

test_windows() {  # PRESET [WHERE]
  step "Test: $1"
  ${2:-} ctest --preset "$1"
}

# What is handed out for Windows: made, installed, used and removed again, under Wine.
windows_packages_lane() {
  step "Packages for Windows"
  scripts/package-windows.sh build/dist-windows
  tests/packaging/windows/run.sh build/dist-windows
}

local_lanes() {
  install_missing "${build_packages[@]}" "${check_packages[@]}" "${clang_packages[@]}" \
    "${windows_packages[@]}"
  check_format
  check_layers
  lint_changes
  build_and_test dev
  fuzz_briefly
  try_finished
  try_benchmarks
  build_windows windows-x64
  beside windows-x64-tests test_windows windows-x64
  if [ $x86 = yes ]; then build_windows windows-x86; fi
  finish windows-x64-tests
  if [ $x86 = yes ]; then test_windows windows-x86 scripts/wine32.sh; fi
}

# The last line of all, so that nobody takes the half for the whole.
tell_of_x86() {
  [ $x86 = yes ] || printf '\n*** NOT CHECKED: the 32-bit Windows component (--no-x86) ***\n'
}

x86=yes
lanes=usual
for option in "$@"; do
  case $option in
    --all | --native) lanes=${option#--} ;;
    --no-x86) x86=no ;;
    *) sed -n '2,/^set/s/^# \{0,1\}//p' "$0" >&2; exit 2 ;;
  esac
done
case $lanes in
  native) native_lane ;;
  usual) local_lanes; tell_of_x86 ;;
  all)
    local_lanes
    install_missing mmdebstrap
    beside other-release try_other_release
    try_queue
    try_browser
    try_integrations
    try_peers
    try_guides
    try_packages
    if [ $x86 = yes ]; then windows_packages_lane; fi
    finish other-release
    tell_of_x86 ;;
esac
