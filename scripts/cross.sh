#!/usr/bin/env bash
# Builds the library, the tools and the tests for a gateway CPU with Debian's cross
# compilers against a sysroot made from that architecture's Debian packages, runs the
# tests under qemu-user and prints the footprint of a size-optimised build.
#
# Usage: scripts/cross.sh [ARCH ...]     (default: armhf mipsel s390x)
# Environment:
#   LUMO_CROSS_CMAKE_ARGS   extra CMake arguments for every build (e.g. another backend)
#   LUMO_CROSS_SYSROOT_PACKAGES  extra Debian packages for the sysroot
#   LUMO_CROSS_STEPS        which of "build test footprint" to do (default: all three)
#   LUMO_CROSS_JOBS         parallel build jobs (default: nproc)
#   LUMO_CROSS_UCI          "system": build the platform's libubox and libuci for the target
#                           from ../shared/third_party (as a vendor SDK provides them) and
#                           build and test on them; without the sources the own store is
#                           used, saying why (the footprint is always of the own store)
set -euo pipefail
cd "$(dirname "$0")/.."
src=$PWD

declare -A triplet=([armhf]=arm-linux-gnueabihf [mipsel]=mipsel-linux-gnu [s390x]=s390x-linux-gnu)
declare -A qemu=([armhf]=qemu-arm-static [mipsel]=qemu-mipsel-static [s390x]=qemu-s390x-static)
known="armhf mipsel s390x"

arches=("$@")
[ ${#arches[@]} -eq 0 ] && read -r -a arches <<<"$known"
for a in "${arches[@]}"; do
  if [ -z "${triplet[$a]+x}" ]; then
    echo "cross.sh: unknown architecture '$a'; known: $known" >&2
    exit 2
  fi
done

suite=bookworm
jobs=${LUMO_CROSS_JOBS:-$(nproc)}

# ---- host packages: the cross compilers, qemu-user and the sysroot maker
host_packages=(mmdebstrap qemu-user-static)
for a in "${arches[@]}"; do host_packages+=("g++-${triplet[$a]}"); done
scripts/setup-deps.sh "${host_packages[@]}"

# The main archive for the suite, as this machine's apt sources name it. Only that one:
# without a mirror mmdebstrap also adds the security archive, whose foreign-architecture
# index is not always there.
main_archive() {
  local uri
  uri=$(apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(TARGET_OF)' 2>/dev/null |
          awk -v s="$suite" '$2 == s && $3 == "deb" { print $1; exit }')
  echo "${uri:-http://deb.debian.org/debian/}"
}

sysroot_packages=(libc6-dev libstdc++-12-dev libglib2.0-dev libgtest-dev libcli11-dev nlohmann-json3-dev
                  libjson-c-dev ${LUMO_CROSS_SYSROOT_PACKAGES:-})

# Makes build/sysroot-ARCH once. It is built in a temporary directory and moved into
# place only when complete, so a failed or interrupted attempt is never used.
make_sysroot() {
  local arch=$1 dir=$src/build/sysroot-$1
  local stamp="${sysroot_packages[*]}"
  if [ -f "$dir/.lumo-sysroot" ] && [ "$(cat "$dir/.lumo-sysroot")" = "$stamp" ]; then
    return 0
  fi
  mkdir -p "$src/build"
  local mirror tmp attempt
  mirror=$(main_archive)
  local includes
  includes=$(IFS=,; echo "${sysroot_packages[*]}")
  for attempt in 1 2 3; do
    tmp=$(mktemp -d "$src/build/.sysroot-$arch.XXXXXX")
    echo "--- making the $arch sysroot from $mirror (attempt $attempt)"
    if mmdebstrap --quiet --variant=extract --arch="$arch" --include="$includes" \
         --aptopt='Acquire::Retries "5"' "$suite" "$tmp" "deb $mirror $suite main"; then
      # Absolute links (libm.so -> /lib/...) would point into the build machine.
      find "$tmp" -type l -lname '/*' | while read -r link; do
        ln -sfn "$(realpath -m --relative-to="$(dirname "$link")" "$tmp$(readlink "$link")")" "$link"
      done
      echo "$stamp" >"$tmp/.lumo-sysroot"
      rm -rf "$dir"
      mv "$tmp" "$dir"
      return 0
    fi
    rm -rf "$tmp"
    sleep $((attempt * 10))
  done
  echo "cross.sh: cannot make the $arch sysroot" >&2
  return 1
}

for a in "${arches[@]}"; do make_sysroot "$a"; done

# ---- build and test under qemu-user
cmake_common() {
  local a=$1
  echo --toolchain "$src/cmake/toolchains/linux-cross.cmake" -G Ninja \
       -DLUMO_CROSS_TRIPLET="${triplet[$a]}" -DCMAKE_SYSROOT="$src/build/sysroot-$a"
}

# The platform's libubox and libuci for the target, in build/third_party-ARCH: prints
# the CMake arguments that select them, or nothing (with the reason) without sources.
uci_args() {
  local a=$1 prefix=$src/build/third_party-$1 rc=0
  [ "${LUMO_CROSS_UCI:-own}" = system ] || return 0
  LUMO_CROSS_TRIPLET=${triplet[$a]} LUMO_CROSS_SYSROOT=$src/build/sysroot-$a \
    scripts/build-uci.sh "$prefix" "$src/cmake/toolchains/linux-cross.cmake" >/dev/null || rc=$?
  if [ "$rc" -eq 2 ]; then
    echo "cross.sh: $a: no uci/libubox sources in ${LUMO_THIRD_PARTY:-../shared/third_party}; the own store is tested" >&2
    return 0
  fi
  [ "$rc" -eq 0 ] || return "$rc"
  echo "-DLUMO3_UCI=system -DCMAKE_FIND_ROOT_PATH=$prefix"
}

steps=" ${LUMO_CROSS_STEPS:-build test footprint} "
for a in "${arches[@]}"; do
  [[ "$steps" == *" build "* ]] || continue
  build=$src/build/cross-$a
  uci=$(uci_args "$a")
  echo "=== $a: build (debug, warnings as errors${uci:+, on libuci}) ==="
  # shellcheck disable=SC2046,SC2086
  cmake -S "$src" -B "$build" $(cmake_common "$a") -DLUMO_CROSS_EMULATOR="${qemu[$a]}" \
        -DCMAKE_BUILD_TYPE=Debug -DLUMO3_WERROR=ON -DLUMO3_UCI=own $uci ${LUMO_CROSS_CMAKE_ARGS:-} \
        >"$build.configure.log" 2>&1 || { cat "$build.configure.log"; exit 1; }
  cmake --build "$build" -j "$jobs"
  if [[ "$steps" == *" test "* ]]; then
    echo "=== $a: tests under ${qemu[$a]} ==="
    # Under emulation everything runs several times slower; the per-test limit grows with it.
    G_DEBUG=fatal-warnings ctest --test-dir "$build" -j "$jobs" --output-on-failure \
      --timeout "${LUMO_CROSS_TEST_TIMEOUT:-600}"
  fi
done

# ---- footprint of a size-optimised build: stripped size, NEEDED, resident memory of the
# example plug-in after its start next to a plain GDBus program doing the same.
rss_after_start() {  # ARCH PROGRAM NAME -> VmRSS in kB once PROGRAM printed "serving as"
  local a=$1 prog=$2 name=$3 out pid kb=""
  out=$(mktemp)
  "${qemu[$a]}" -L "$src/build/sysroot-$a" "$prog" "$name" >"$out" 2>&1 &
  pid=$!
  for _ in $(seq 600); do
    grep -q "serving as" "$out" && break
    kill -0 "$pid" 2>/dev/null || break
    sleep 0.1
  done
  if grep -q "serving as" "$out"; then
    sleep 1
    # Resident memory less qemu's buffer of translated code (anonymous executable
    # mappings), which a native run does not have.
    kb=$(awk '/^[0-9a-f]+-[0-9a-f]+ / { code = ($2 ~ /x/ && $6 == "") }
              /^Rss:/ { if (!code) kb += $2 } END { print kb }' "/proc/$pid/smaps")
  else
    cat "$out" >&2
  fi
  kill "$pid" 2>/dev/null || true
  wait "$pid" 2>/dev/null || true
  rm -f "$out"
  echo "${kb:-?}"
}

footprint() {
  local a=$1 build=$src/build/cross-$a-minsize t=${triplet[$1]}
  # shellcheck disable=SC2046,SC2086
  cmake -S "$src" -B "$build" $(cmake_common "$a") -DCMAKE_BUILD_TYPE=MinSizeRel -DLUMO3_BUILD_TESTS=OFF \
        -DLUMO3_BUILD_TOOLS=OFF -DLUMO3_BUILD_EXAMPLES=ON ${LUMO_CROSS_CMAKE_ARGS:-} >"$build.configure.log" 2>&1 ||
    { cat "$build.configure.log"; return 1; }
  cmake --build "$build" -j "$jobs" --target lumo3 demoplugin >/dev/null
  local sysroot=$src/build/sysroot-$a
  # shellcheck disable=SC2046
  "$t-gcc" --sysroot="$sysroot" -Os -o "$build/gdbus_baseline" "$src/bench/gdbus_baseline.c" \
    $(PKG_CONFIG_SYSROOT_DIR="$sysroot" PKG_CONFIG_LIBDIR="$sysroot/usr/lib/$t/pkgconfig:$sysroot/usr/share/pkgconfig" \
      pkg-config --cflags --libs gio-2.0)
  local lib stripped needed
  lib=$(readlink -f "$build/liblumo3.so")
  "$t-strip" --strip-unneeded -o "$build/liblumo3.stripped" "$lib"
  stripped=$(stat -c %s "$build/liblumo3.stripped")
  needed=$(readelf -d "$lib" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | tr '\n' ' ')

  # A private bus of the build machine's dbus-daemon for both programs.
  local run bus_pid plugin base
  run=$(mktemp -d)
  dbus-daemon --config-file="$src/tests/dbus/system-bus.conf" --address="unix:path=$run/bus" --nofork \
    --nopidfile >/dev/null 2>&1 &
  bus_pid=$!
  for _ in $(seq 100); do [ -S "$run/bus" ] && break; sleep 0.05; done
  export DBUS_SYSTEM_BUS_ADDRESS="unix:path=$run/bus"
  plugin=$(LUMO_SYSROOT="$run" rss_after_start "$a" "$build/examples/demoplugin" com.quv.demoplugin1)
  base=$(rss_after_start "$a" "$build/gdbus_baseline" com.quv.baseline1)
  unset DBUS_SYSTEM_BUS_ADDRESS
  kill "$bus_pid" 2>/dev/null || true
  wait "$bus_pid" 2>/dev/null || true
  rm -rf "$run"
  local delta="?"
  if [[ "$plugin" =~ ^[0-9]+$ && "$base" =~ ^[0-9]+$ ]]; then delta=$((plugin - base)); fi
  footprint_rows+=("$(printf '%-7s %9s B %7s kB %7s kB %7s kB  %s' "$a" "$stripped" "$plugin" "$base" "$delta" "$needed")")
}

if [[ "$steps" == *" footprint "* ]]; then
  footprint_rows=()
  for a in "${arches[@]}"; do
    echo "=== $a: footprint (MinSizeRel) ==="
    footprint "$a"
  done
  echo
  echo "Footprint (size-optimised; resident memory under qemu-user less its translated code, so both"
  echo "still include the emulator's own data; compare the delta)"
  printf '%-7s %11s %10s %10s %10s  %s\n' arch "stripped .so" plug-in "GDBus" delta NEEDED
  printf '%s\n' "${footprint_rows[@]}"
fi
