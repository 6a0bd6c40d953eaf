#!/usr/bin/env bash
# Installs a build into a temporary prefix, then builds and runs two of the examples against what was
# installed: one through find_package, one through pkg-config.
# Usage: run.sh BUILD-DIRECTORY CXX [COMPILER-FLAGS]
set -euo pipefail
build=$1 cxx=$2 flags=${3:-}
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
generator=$(sed -n 's/^CMAKE_GENERATOR:INTERNAL=//p' "$build/CMakeCache.txt")

cmake --install "$build" --prefix "$prefix" >/dev/null
test -f "$prefix/share/man/man1/orvkit.1"
if [ -d "$build/completion" ]; then  # not of a build for another machine
  bash -n "$prefix/share/bash-completion/completions/orvkit"
  grep -q '^#compdef orvkit' "$prefix/share/zsh/site-functions/_orvkit"
fi
"$prefix/bin/orvkit" --version

echo "-- find_package"
cmake -S "$here" -B "$work/build" -G "$generator" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_CXX_FLAGS="$flags" >/dev/null
cmake --build "$work/build" >/dev/null
"$work/build/consumer" "$work/image.dcm"

echo "-- pkg-config"
command -v pkg-config >/dev/null || { echo "skipped: pkg-config is not installed"; exit 0; }
config=$(find "$prefix" -name orvkit.pc -printf '%h')
export PKG_CONFIG_PATH=$config
test "$(pkg-config --modversion orvkit)" = "$("$prefix/bin/orvkit" --version | cut -d' ' -f2)"
read -ra options < <(pkg-config --cflags --libs orvkit)
"$cxx" -std=c++17 $flags "$here/../../examples/read_and_print.cpp" "${options[@]}" -o "$work/reader"
LD_LIBRARY_PATH=$(pkg-config --variable=libdir orvkit) "$work/reader" "$work/image.dcm" | grep '^Image: '
if [ -f "$prefix/include/orvkit/deflate.h" ]; then
  read -ra options < <(pkg-config --cflags --libs orvkit_deflate)
  "$cxx" -std=c++17 $flags "$here/deflate.cpp" "${options[@]}" -o "$work/deflate"
  LD_LIBRARY_PATH=$(pkg-config --variable=libdir orvkit) "$work/deflate" "$work/image.dcm" "$work/deflated.dcm"
fi
if [ -f "$prefix/include/orvkit/tls.h" ]; then
  read -ra options < <(pkg-config --cflags --libs orvkit_tls)
  "$cxx" -std=c++17 $flags "$here/tls.cpp" "${options[@]}" -o "$work/tls"
  LD_LIBRARY_PATH=$(pkg-config --variable=libdir orvkit) "$work/tls"
  rm "$(find "$prefix" -name orvkit_tls_openssl.so)"
  "$prefix/bin/orvkit" tls make "$work/site" here >"$work/said" 2>&1 && exit 1
  grep 'TLS cannot be loaded: .*orvkit_tls_openssl.so' "$work/said"
fi
