# Cross build for a Linux gateway with a GNU toolchain and a target sysroot.
#
#   cmake -S . -B build/armhf --toolchain cmake/toolchains/linux-cross.cmake \
#         -DLUMO_CROSS_TRIPLET=arm-linux-gnueabihf -DCMAKE_SYSROOT=/path/to/sysroot
#
# LUMO_CROSS_TRIPLET     the compilers' prefix, e.g. arm-linux-gnueabihf, mipsel-openwrt-linux-musl
# CMAKE_SYSROOT          the target's root: headers, libraries and .pc files of GLib and the C++ runtime
# LUMO_CROSS_TOOLS_DIR   where the compilers are, when not on PATH (a vendor SDK's bin/)
# LUMO_CROSS_PROCESSOR   CMAKE_SYSTEM_PROCESSOR (default: the triplet's first word)
# LUMO_CROSS_EMULATOR    a qemu-user binary (e.g. qemu-arm-static) to run tests on the build
#                        machine; it is given the sysroot as its library prefix
# Each may also come from the environment variable of the same name.

foreach(var LUMO_CROSS_TRIPLET LUMO_CROSS_TOOLS_DIR LUMO_CROSS_PROCESSOR LUMO_CROSS_EMULATOR)
  if(NOT DEFINED ${var} AND DEFINED ENV{${var}})
    set(${var} "$ENV{${var}}")
  endif()
endforeach()
if(NOT CMAKE_SYSROOT AND DEFINED ENV{LUMO_CROSS_SYSROOT})
  set(CMAKE_SYSROOT "$ENV{LUMO_CROSS_SYSROOT}")
endif()
# try_compile projects run this file again and see only what is listed here.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES
     LUMO_CROSS_TRIPLET LUMO_CROSS_TOOLS_DIR LUMO_CROSS_PROCESSOR LUMO_CROSS_EMULATOR CMAKE_SYSROOT)

if(NOT LUMO_CROSS_TRIPLET)
  message(FATAL_ERROR "set LUMO_CROSS_TRIPLET to the compilers' prefix, e.g. arm-linux-gnueabihf")
endif()
if(NOT CMAKE_SYSROOT OR NOT IS_DIRECTORY "${CMAKE_SYSROOT}")
  message(FATAL_ERROR "set CMAKE_SYSROOT to the target's sysroot directory (now: '${CMAKE_SYSROOT}')")
endif()

set(CMAKE_SYSTEM_NAME Linux)
if(LUMO_CROSS_PROCESSOR)
  set(CMAKE_SYSTEM_PROCESSOR ${LUMO_CROSS_PROCESSOR})
else()
  string(REGEX REPLACE "-.*" "" CMAKE_SYSTEM_PROCESSOR "${LUMO_CROSS_TRIPLET}")
endif()

set(_lumo_tools "")
if(LUMO_CROSS_TOOLS_DIR)
  set(_lumo_tools "${LUMO_CROSS_TOOLS_DIR}/")
endif()
set(CMAKE_C_COMPILER ${_lumo_tools}${LUMO_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${_lumo_tools}${LUMO_CROSS_TRIPLET}-g++)

# GCC's notes that ARM passes some arguments differently than GCC 6 did concern only
# objects mixed across those compilers; a build uses one.
set(CMAKE_CXX_FLAGS_INIT "-Wno-psabi")

# Headers, libraries and CMake packages come from the target's roots only; programs (pkg-config,
# glib-compile-*) from the build machine.
# Roots given on the command line (a staging prefix of further target libraries, such
# as libuci) are searched before the sysroot.
list(APPEND CMAKE_FIND_ROOT_PATH "${CMAKE_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# pkg-config reads the target's .pc files and prefixes their paths with the sysroot.
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")
set(ENV{PKG_CONFIG_PATH} "")
set(ENV{PKG_CONFIG_LIBDIR}
    "${CMAKE_SYSROOT}/usr/lib/${LUMO_CROSS_TRIPLET}/pkgconfig:${CMAKE_SYSROOT}/usr/lib/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig")

if(LUMO_CROSS_EMULATOR)
  set(CMAKE_CROSSCOMPILING_EMULATOR "${LUMO_CROSS_EMULATOR};-L;${CMAKE_SYSROOT}")
endif()
