# shellcheck shell=bash disable=SC2034  # who sources this uses the lists
# To be sourced: what is installed, and how to install what is not.

BUILD_PACKAGES=(g++ cmake ninja-build nlohmann-json3-dev libcli11-dev libeigen3-dev)
TEST_PACKAGES=("${BUILD_PACKAGES[@]}" libgtest-dev libgmock-dev libbenchmark-dev)
FUZZ_PACKAGES=("${BUILD_PACKAGES[@]}" clang libclang-rt-14-dev)

is_installed() {
  [[ "$(dpkg-query --show --showformat='${db:Status-Status}' "$1" 2>/dev/null)" == installed ]]
}

# install_missing PACKAGE...: asks dpkg first, so that nothing goes over the network when nothing is
# missing. Ends the script when it cannot help.
install_missing() {
  if ! command -v dpkg-query >/dev/null; then
    echo "This is no Debian system: these packages, or their like, are needed: $*" >&2
    return
  fi
  local missing=() package
  for package in "$@"; do
    is_installed "$package" || missing+=("$package")
  done
  if ((${#missing[@]} == 0)); then
    return
  fi
  local run=()
  if ((EUID != 0)); then
    run=(sudo)
  fi
  local install=(apt-get install --yes --no-install-recommends "${missing[@]}")
  echo "Installing ${missing[*]}"
  if ((EUID != 0)) && ! command -v sudo >/dev/null ||
    ! "${run[@]}" apt-get update -qq || ! "${run[@]}" "${install[@]}" -qq; then
    echo "Packages are missing. As root, run: apt-get update && ${install[*]}" >&2
    exit 1
  fi
}
