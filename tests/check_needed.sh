#!/bin/sh
# The shared library needs nothing at run time beyond libc, GLib/GObject/GIO and, when
# built on it, the platform's libuci: not even the C++ runtime library.
set -eu
extra=$(readelf -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' |
        grep -v -E '^(lib(gio|gobject|glib)-2\.0\.so|libc\.so|ld-linux|ld(64)?\.so|libuci\.so|libubox\.so|libgcc_s\.so)' || true)
if [ -n "$extra" ]; then
    echo "unexpected run-time dependencies:"
    echo "$extra"
    exit 1
fi
readelf -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/needs \1/p'
