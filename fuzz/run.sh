#!/bin/sh
# Builds one fuzz target with clang in BUILD_DIR and runs it for a bounded
# time. Usage: fuzz/run.sh BUILD_DIR NAME [SECONDS] [MAX_LEN]
#   NAME: ini, record, playback_index, net_message (target sarvik_NAME_fuzz,
#   seeds in fuzz/corpus/NAME, only read; new inputs go to BUILD_DIR/NAME-corpus).
# Exit status: 0 when no fault was found.
set -eu

if [ $# -lt 2 ]; then
  echo "usage: $0 BUILD_DIR NAME [SECONDS] [MAX_LEN]" >&2
  exit 2
fi
build_dir=$1
name=$2
seconds=${3:-60}
max_len=${4:-65536}
source_dir=$(cd "$(dirname "$0")/.." && pwd)

cmake -S "$source_dir" -B "$build_dir" \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DSARVIK_BUILD_FUZZ=ON -DSARVIK_SANITIZE=address \
  -DSARVIK_BUILD_BENCH=OFF -DBUILD_TESTING=OFF >/dev/null
cmake --build "$build_dir" --target "sarvik_${name}_fuzz" -j2

mkdir -p "$build_dir/$name-corpus" "$build_dir/$name-artifacts"
exec "$build_dir/bin/sarvik_${name}_fuzz" \
  -max_len="$max_len" -max_total_time="$seconds" \
  -artifact_prefix="$build_dir/$name-artifacts/" \
  "$build_dir/$name-corpus" "$source_dir/fuzz/corpus/$name"
