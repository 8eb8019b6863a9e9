#!/usr/bin/env bash
# Builds the benchmarks with optimisation, runs them, and prints a table: what each case costs here,
# what the same work costs its peers or a bare loop, and the ratio of the two. A case that exceeds the
# ratio it is held to is marked, and makes the exit status 1.
#
# usage: scripts/bench.sh [--page] [program ...]      for example: scripts/bench.sh foundation
#
# With --page the figures are kept in bench/runs.json, and docs/benchmarks.md is made of them.
set -euo pipefail
cd "$(dirname "$0")/.."

page=no
if [ "${1:-}" = --page ]; then
  page=yes
  shift
fi
./scripts/setup.sh build bench
echo "bench: building in build/release (the first time takes minutes)"
cmake --preset release -DLIBMFX_BUILD_TESTS=OFF >/dev/null 2>&1 || cmake --preset release
cmake --build --preset release -j "$(nproc)" >/dev/null || cmake --build --preset release
if [ $# -eq 0 ]; then
  for program in build/release/bench/bench_*; do
    [ -f "$program" ] && [ -x "$program" ] && set -- "$@" "${program##*/bench_}"
  done
  set -- "$@" batch
fi
results=()
for name in "$@"; do
  echo "bench: running $name"
  result=build/release/bench/$name.json
  results+=("$result")
  if [ "$name" = batch ]; then
    python3 bench/batch.py build/release "$result" >/dev/null
    continue
  fi
  "build/release/bench/bench_$name" --benchmark_repetitions=5 \
    --benchmark_enable_random_interleaving=true --benchmark_min_time=0.1 \
    --benchmark_out="$result" --benchmark_out_format=json >/dev/null 2>build/release/bench/log ||
    { cat build/release/bench/log >&2; exit 1; }
done
if [ "$page" = yes ]; then python3 bench/page.py add "${results[@]}"; fi
python3 bench/ratios.py "${results[@]}"
