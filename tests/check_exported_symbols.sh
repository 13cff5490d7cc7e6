#!/bin/sh
# Compares the shared library's exported (defined, global) dynamic symbols with the
# names its public headers declare with LUMO3_API. Any difference fails: nothing
# internal may leak out, and every declared name must be there.
#   check_exported_symbols.sh LIBRARY C-COMPILER HEADER...
set -eu
lib=$1
cc=$2
shift 2
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
# Sanitizer builds add their own instrumentation symbols; they are not our interface.
nm -D --defined-only "$lib" | awk '$2 ~ /^[TDBRVWiu]$/ {print $3}' | sed 's/@.*//' | grep -v -E '^__(odr_asan|asan|ubsan|lsan|sancov)' | sort -u > "$tmp/actual"
# The declarations without comments, one per line; the name is the last word before
# the parameter list, the array bound or the semicolon.
for h in "$@"; do "$cc" -fpreprocessed -dD -E -P -x c "$h" 2>/dev/null; done | grep -v '^#' | tr '\n' ' ' |
    sed 's/;/;\n/g' | grep 'LUMO3_API' | sed -e 's/(.*//' -e 's/\[.*//' -e 's/;.*//' |
    sed 's/.*[^A-Za-z0-9_]\([A-Za-z_][A-Za-z0-9_]*\)[[:space:]]*$/\1/' | sort -u > "$tmp/expected"
if [ "$(wc -l < "$tmp/expected")" -lt 100 ]; then
    echo "only $(wc -l < "$tmp/expected") declarations found in the headers"
    exit 1
fi
if ! diff -u "$tmp/expected" "$tmp/actual" > "$tmp/diff"; then
    echo "exported symbols differ from the LUMO3_API declarations (- missing, + unexpected):"
    cat "$tmp/diff"
    exit 1
fi
echo "exported symbols match the headers ($(wc -l < "$tmp/actual") names)"
