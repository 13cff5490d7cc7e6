#!/bin/sh
# Installs the build tree into a temporary prefix, then builds and runs a small C
# application against it twice: with pkg-config and with find_package(lumo3).
# Usage: check_install.sh BUILD_DIR SOURCE_DIR [extra C flags, e.g. sanitizer flags]
set -eu
build=$1
src=$2
extra=${3:-}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
prefix="$tmp/prefix"

cmake --install "$build" --prefix "$prefix" > "$tmp/install.log"
libdir=$(find "$prefix" -name 'liblumo3.so*' -type f | head -n1 | xargs dirname)
test -L "$libdir/liblumo3.so" || { echo "no development link liblumo3.so"; exit 1; }
soname=$(readelf -d "$libdir/liblumo3.so" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
test -L "$libdir/$soname" || { echo "no SONAME link $soname"; exit 1; }
test -f "$prefix/include/lumo3/lumo3.h" || { echo "headers not in include/lumo3"; exit 1; }
test -f "$prefix/share/bash-completion/completions/lumoctl" || { echo "no bash completion for lumoctl"; exit 1; }
for page in lumoctl lumo-gwsim; do
  file="$prefix/share/man/man1/$page.1"
  test -f "$file" || { echo "no manual page $page(1)"; exit 1; }
  warnings=$(MANWIDTH=80 man --warnings -l "$file" 2>&1 >/dev/null)
  [ -z "$warnings" ] || { echo "$page(1) renders with warnings: $warnings"; exit 1; }
done

# pkg-config
export PKG_CONFIG_PATH="$libdir/pkgconfig"
# shellcheck disable=SC2046,SC2086
cc -std=c99 -Wall -Wextra -Werror $extra -o "$tmp/pc_consumer" "$src/tests/install/consumer.c" \
   $(pkg-config --cflags --libs lumo3)
LD_LIBRARY_PATH="$libdir" "$tmp/pc_consumer"

# CMake package
cmake -S "$src/tests/install/cmake_consumer" -B "$tmp/cmake_build" -G Ninja \
      -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_C_FLAGS="$extra" -DCMAKE_EXE_LINKER_FLAGS="$extra" > "$tmp/cmake.log" \
  || { cat "$tmp/cmake.log"; exit 1; }
cmake --build "$tmp/cmake_build" > "$tmp/build.log" || { cat "$tmp/build.log"; exit 1; }
LD_LIBRARY_PATH="$libdir" "$tmp/cmake_build/consumer"
echo "install check passed"
