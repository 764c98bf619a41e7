#!/bin/sh
# Builds the network message fuzzer with clang in BUILD_DIR and runs it for a
# bounded time. Usage: run_net_fuzz.sh BUILD_DIR [SECONDS]   (default 60)
# New inputs go to BUILD_DIR/net-corpus; the seeds in fuzz/corpus/net_message are
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
cmake --build "$build_dir" --target sarvik_net_message_fuzz -j2

mkdir -p "$build_dir/net-corpus" "$build_dir/net-artifacts"
exec "$build_dir/bin/sarvik_net_message_fuzz" \
  -max_len=8192 -max_total_time="$seconds" \
  -artifact_prefix="$build_dir/net-artifacts/" \
  "$build_dir/net-corpus" "$source_dir/fuzz/corpus/net_message"
