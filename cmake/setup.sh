# Sourced by ./demo, ./check and .ci/run: puts the tools of a build in place.
# shellcheck shell=bash

build_packages=(g++ cmake ninja-build pkg-config libgtest-dev nlohmann-json3-dev libcli11-dev zlib1g-dev
  libjpeg62-turbo-dev libcharls-dev libopenjp2-7-dev libopenjph-dev libjxl-dev libpng-dev libtiff-dev libssl-dev
  libsqlite3-dev libpq-dev)
peer_packages=(dcmtk openssl libgdcm-tools dicom3tools ncompress orthanc curl libjpeg-tools
  libjpeg-turbo-progs libopenjp2-tools libjxl-tools python3-pydicom python3-numpy python3-gdcm python3-pil postgresql)
gate_packages=(clang clang-format clang-tidy libclang-rt-14-dev)
cross_packages=(g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix libz-mingw-w64-dev wine wine64 g++-multilib
  lib32z1-dev googletest)

say() { printf '\n== %s\n' "$*"; }

installed() { [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }

# Installs those of the named Debian packages that are missing; says which, and does nothing when none is.
install_missing() {
  local package missing=() root=()
  if ! command -v apt-get >/dev/null 2>&1; then
    echo "No apt-get here: going on with what is installed (wanted: $*)"
    return 0
  fi
  for package in "$@"; do
    installed "$package" || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null 2>&1 || {
      echo "These packages are missing, and neither root nor sudo is at hand: ${missing[*]}" >&2
      return 1
    }
    root=(sudo)
  fi
  say "Installing from Debian: ${missing[*]}"
  "${root[@]}" apt-get update -qq </dev/null &&
    "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
      "${missing[@]}" </dev/null >/dev/null
}

# configure DIRECTORY [OPTION...]: a build directory with the house's generator, and ccache where there is one.
configure() {
  local directory=$1 cache=()
  shift
  command -v ccache >/dev/null 2>&1 && cache=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  cmake -S . -B "$directory" -G Ninja "${cache[@]}" "$@"
}
# The same; where there is no ccache, a dozen files are compiled as one, which takes half the time.
configure_fast() {
  local directory=$1 unity=ON
  shift
  command -v ccache >/dev/null 2>&1 && unity=OFF
  configure "$directory" -DORVKIT_UNITY=$unity "$@"
}

jobs() { nproc 2>/dev/null || echo 2; }
