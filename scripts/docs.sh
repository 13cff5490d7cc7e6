#!/usr/bin/env bash
# Builds the API reference from the public headers into build/debug/docs/api/html.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup-deps.sh doxygen
cmake --preset debug
cmake --build --preset debug --target api-docs
echo "API reference: $(pwd)/build/debug/docs/api/html/index.html"
