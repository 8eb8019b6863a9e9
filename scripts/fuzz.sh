#!/usr/bin/env bash
# Builds the libFuzzer programs with clang and lets each search for a number of seconds. New inputs
# stay under build/fuzz/corpus; an input that breaks something is left there as crash-*.
#
# usage: scripts/fuzz.sh [seconds per target] [target ...]      (default: 60, all)
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
[ $# -eq 0 ] || shift
./scripts/setup.sh build check
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j "$(nproc)"
if [ $# -eq 0 ]; then
  for program in build/fuzz/fuzz/fuzz_*; do
    [ -x "$program" ] && [ -f "$program" ] && set -- "$@" "$(basename "$program" | sed s/^fuzz_//)"
  done
fi
for target in "$@"; do
  echo "fuzz: $target for $seconds s"
  mkdir -p "build/fuzz/corpus/$target"
  "build/fuzz/fuzz/fuzz_$target" -max_total_time="$seconds" -rss_limit_mb=1024 -timeout=10 \
    -print_final_stats=1 \
    -artifact_prefix=build/fuzz/ "build/fuzz/corpus/$target" "fuzz/corpus/$target"
done
