#!/usr/bin/env bash
# Builds everything in build/ and runs every test. Usage: scripts/test.sh [-L unit]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh --test
. scripts/compiler-cache.sh
cmake -S . -B build -DSARVIK_WERROR=ON
cmake --build build -j"$(nproc)"
ctest --test-dir build --output-on-failure -j"$(nproc)" "$@"
