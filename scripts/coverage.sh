#!/usr/bin/env bash
# Builds the preset coverage, runs every test, and prints the line coverage of the library, the
# virtual instrument and the host tool, one line a file.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/setup.sh build test report
cmake --preset coverage >/dev/null
cmake --build --preset coverage -j "$(nproc)"
find build/coverage -name '*.gcda' -delete  # counts of an earlier run would be added to
ctest --preset coverage -j "$(nproc)" "$@"
gcovr --root . --filter 'src/' --filter 'include/' --filter 'sim/' --filter 'tools/' \
  --exclude-throw-branches build/coverage
