#!/usr/bin/env bash
# Installs what is missing, builds everything in the preset dev, and runs every test.
#
# usage: scripts/test.sh [ctest argument ...]      for example: scripts/test.sh -R Circle
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/setup.sh build test
echo "test: building in build/dev (the first time takes minutes)"
cmake --preset dev >/dev/null
cmake --build --preset dev -j "$(nproc)"
echo "test: running every test"
ctest --preset dev -j "$(nproc)" "$@"
