# shellcheck shell=bash disable=SC2034
# Shared by the scripts of this folder; read with `source`, not run.

set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$ROOT"

# The packages of Debian 12 that each kind of work needs. This is the one place that lists them.
PACKAGES_BASE=(g++ cmake ninja-build libboost-dev googletest pkg-config)
PACKAGES_MACHINES=(g++-arm-linux-gnueabihf g++-aarch64-linux-gnu g++-s390x-linux-gnu qemu-user)
PACKAGES_I686=(g++-i686-linux-gnu libc6-i386 lib32stdc++6 lib32asan8 lib32ubsan1)
PACKAGES_LINT=(clang clang-format clang-tidy cppcheck)
PACKAGES_COVERAGE=(gcovr)
PACKAGES_FUZZ=(clang libclang-rt-14-dev llvm)
PACKAGES_MUTATION=(git python3 python3-clang-14)
PACKAGES_BENCH=(valgrind binutils python3)
PACKAGES_PEERS=(libsnmp-dev libmodbus-dev libcoap3-dev nanopb libnanopb-dev protobuf-compiler libprotobuf-dev)
PACKAGES_RELEASE=(abigail-tools doxygen dpkg-dev file python3)

# A heading on the screen, to find one's way in a long log.
step() { printf '\n== %s\n' "$*"; }

fail() {
  printf 'error: %s\n' "$*" >&2
  exit 1
}

# Installs those of the given packages that are missing. Nothing missing: nothing is asked and nothing is fetched.
install_packages() {
  if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
    echo "This is no Debian system; going on with what is here. On Debian these packages are needed: $*"
    return
  fi
  local package missing=()
  for package in "$@"; do
    if [[ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" != installed ]]; then
      missing+=("$package")
    fi
  done
  [[ ${#missing[@]} -gt 0 ]] || return 0

  step "installing ${missing[*]}"
  local as_root=()
  if [[ $(id -u) -ne 0 ]]; then
    command -v sudo >/dev/null || fail "these packages are missing, and neither root nor sudo is here to install them: ${missing[*]}"
    as_root=(sudo)
  fi
  "${as_root[@]}" apt-get -q -o DPkg::Lock::Timeout=120 update ||
    fail "apt-get update failed; these packages are missing: ${missing[*]}"
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get -q -y -o DPkg::Lock::Timeout=120 install --no-install-recommends "${missing[@]}" ||
    fail "apt-get could not install: ${missing[*]}"
}

# The names of the presets, for messages and for checking arguments.
preset_names() {
  cmake --list-presets 2>/dev/null | sed -n 's/^  "\([^"]*\)".*/\1/p'
}

# Installs what the given presets need, then configures, builds and tests each, and stops at the first that fails. The last
# lines on the screen are ctest's own summary.
test_presets() {
  local preset kinds=(base)
  for preset in "$@"; do
    case "$preset" in
      release-clang) kinds+=(lint) ;;
      armhf | arm64 | s390x | ubsan-*) kinds+=(machines) ;;
      i686 | asan32) kinds+=(i686) ;;
    esac
  done
  scripts/setup "${kinds[@]}"
  for preset in "$@"; do
    preset_names | grep -qxF "$preset" || fail "there is no preset '$preset'; there are: $(preset_names | xargs)"
  done
  for preset in "$@"; do
    step "$preset: configure"
    cmake --preset "$preset" || fail "$preset does not configure"
    step "$preset: build"
    cmake --build --preset "$preset" || fail "$preset does not build"
    step "$preset: test"
    # One more than there are cores: tests of the network wait most of their time.
    ctest --preset "$preset" --output-on-failure -j "$(($(nproc) + 1))"
  done
}
