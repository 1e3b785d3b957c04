#!/usr/bin/env bash
# Builds the benchmarks (the RelWithDebInfo `linux` preset, or ZTTSP_BUILD_DIR configured the same
# way), runs them with 5 interleaved repetitions and prints one table: ours against OpenSSL and
# against the raw floors. Extra arguments go to zttsp-bench, e.g. --benchmark_filter=Token.
# The JSON stays in <build>/bench.json.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/bench_build.sh
ninja -C "$build" -j2 zttsp-bench

"$build/bin/zttsp-bench" --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true \
  --benchmark_min_time=0.5 --benchmark_out="$build/bench.json" --benchmark_out_format=json \
  "$@" >/dev/null
python3 scripts/bench_table.py "$build/bench.json"
