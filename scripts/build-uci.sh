#!/usr/bin/env bash
# Builds the platform's libubox, libuci and uci tool from the source snapshots in
# ../shared/third_party (beside the source tree) into a prefix, once: a prefix that
# already holds them is reused. Prints the prefix on the last line.
# Usage: scripts/build-uci.sh [prefix [cmake-toolchain-file]]
#   prefix          default build/third_party (relative to the source tree)
#   toolchain file  for a cross build (the prefix then holds target binaries)
# Environment: LUMO_THIRD_PARTY overrides the snapshot directory.
# Exit status 2 (with the reason) when the snapshots are not there.
set -euo pipefail
src="$(cd "$(dirname "$0")/.." && pwd)"
tp="${LUMO_THIRD_PARTY:-$src/../shared/third_party}"
prefix="${1:-$src/build/third_party}"
toolchain="${2:-}"

ubox_tar=$(ls "$tp"/libubox-*.tar.gz 2>/dev/null | head -n1 || true)
uci_tar=$(ls "$tp"/uci-*.tar.gz 2>/dev/null | head -n1 || true)
if [ -z "$ubox_tar" ] || [ -z "$uci_tar" ]; then
  echo "build-uci: no uci/libubox sources in $tp" >&2
  exit 2
fi

mkdir -p "$prefix"
prefix="$(cd "$prefix" && pwd)"
stamp="$prefix/.built-$(basename "$ubox_tar" .tar.gz)-$(basename "$uci_tar" .tar.gz)"
if [ -f "$stamp" ] && [ -f "$prefix/include/uci.h" ]; then
  echo "$prefix"
  exit 0
fi

work="$prefix/src"
rm -rf "$work"
mkdir -p "$work/libubox" "$work/uci"
tar xzf "$ubox_tar" -C "$work/libubox"
tar xzf "$uci_tar" -C "$work/uci"

common=(-G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_LUA=OFF -DCMAKE_INSTALL_PREFIX="$prefix"
        -DCMAKE_INSTALL_LIBDIR=lib -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_FIND_ROOT_PATH="$prefix")
# A host build finds its own libubox wherever the prefix is; a cross build's
# libraries find each other beside themselves (under the emulator, and wherever a
# device keeps them together).
if [ -n "$toolchain" ]; then
  # shellcheck disable=SC2016  # $ORIGIN is for the loader
  common+=(-DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_INSTALL_RPATH='$ORIGIN:$ORIGIN/../lib')
else
  common+=(-DCMAKE_INSTALL_RPATH="$prefix/lib")
fi

{
  cmake -S "$work/libubox" -B "$work/libubox/b" "${common[@]}" -DBUILD_EXAMPLES=OFF
  cmake --build "$work/libubox/b"
  cmake --install "$work/libubox/b"
  cmake -S "$work/uci" -B "$work/uci/b" "${common[@]}" -DCMAKE_C_FLAGS="-I$prefix/include" \
        -DCMAKE_EXE_LINKER_FLAGS="-L$prefix/lib" -DCMAKE_SHARED_LINKER_FLAGS="-L$prefix/lib"
  cmake --build "$work/uci/b"
  cmake --install "$work/uci/b"
} >"$prefix/build.log" 2>&1 || { tail -n 30 "$prefix/build.log" >&2; exit 1; }

rm -rf "$work"
touch "$stamp"
echo "$prefix"
