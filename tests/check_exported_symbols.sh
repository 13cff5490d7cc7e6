#!/bin/sh
# Compares the shared library's exported (defined, global) dynamic symbols with the
# checked-in lists (every *.txt in the given directory). Any difference fails:
# nothing internal may leak out, and every listed name must be there.
set -eu
lib=$1
list=$2
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
# Sanitizer builds add their own instrumentation symbols; they are not our interface.
nm -D --defined-only "$lib" | awk '$2 ~ /^[TDBRVWiu]$/ {print $3}' | sed 's/@.*//' | grep -v -E '^__(odr_asan|asan|ubsan|lsan|sancov)' | sort -u > "$tmp/actual"
cat "$list"/*.txt | grep -v '^#' | sed '/^[[:space:]]*$/d' | sort -u > "$tmp/expected"
if ! diff -u "$tmp/expected" "$tmp/actual" > "$tmp/diff"; then
    echo "exported symbols differ from $list/*.txt (- missing, + unexpected):"
    cat "$tmp/diff"
    exit 1
fi
echo "exported symbols match ($(wc -l < "$tmp/actual") names)"
