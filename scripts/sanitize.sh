#!/usr/bin/env bash
# Builds and runs every test under one sanitizer in its own folder.
# Usage: scripts/sanitize.sh address|thread
set -euo pipefail
cd "$(dirname "$0")/.."
kind=$1
dir=build-$kind
. scripts/compiler-cache.sh
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1
export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1:suppressions=$PWD/tests/tsan.supp"
cmake -S . -B "$dir" -DSARVIK_SANITIZE="$kind" -DSARVIK_BUILD_BENCH=OFF -DSARVIK_WERROR=ON
cmake --build "$dir" -j"$(nproc)"
ctest --test-dir "$dir" --output-on-failure -j"$(nproc)"
