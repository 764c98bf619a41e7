#!/bin/sh
# Builds the record-file reader fuzzer with clang in BUILD_DIR and runs it for a
# bounded time. Usage: run_record_fuzz.sh BUILD_DIR [SECONDS]   (default 60)
# New inputs go to BUILD_DIR/record-corpus; the seeds in fuzz/corpus/record are
# only read. Exit status: 0 when no fault was found.
set -eu

if [ $# -lt 1 ]; then
  echo "usage: $0 BUILD_DIR [SECONDS]" >&2
  exit 2
fi
build_dir=$1
seconds=${2:-60}
source_dir=$(cd "$(dirname "$0")/.." && pwd)

cmake -S "$source_dir" -B "$build_dir" \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DSARVIK_BUILD_FUZZ=ON -DSARVIK_SANITIZE=address \
  -DSARVIK_BUILD_BENCH=OFF -DBUILD_TESTING=OFF >/dev/null
cmake --build "$build_dir" --target sarvik_record_fuzz -j2

mkdir -p "$build_dir/record-corpus" "$build_dir/record-artifacts"
exec "$build_dir/bin/sarvik_record_fuzz" \
  -max_len=65536 -max_total_time="$seconds" \
  -artifact_prefix="$build_dir/record-artifacts/" \
  "$build_dir/record-corpus" "$source_dir/fuzz/corpus/record"
