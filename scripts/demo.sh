#!/usr/bin/env bash
# Installs what is missing, builds the host tool mfx with optimisation, measures an example with it
# and prints what came out.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/setup.sh build
echo "demo: building mfx in build/tool (the first time takes minutes)"
cmake --preset tool >/dev/null
cmake --build --preset tool --target mfx -j "$(nproc)"
mfx=build/tool/tools/mfx/mfx

request=examples/requests/scan_path.json
instrument=examples/instrument/flat_wall.py
echo
echo "demo: $mfx measure $request --instrument $instrument"
"$mfx" measure "$request" --instrument "$instrument" >build/demo_result.json
python3 - build/demo_result.json <<'PYTHON'
import json
import math
import sys

result = json.load(open(sys.argv[1]))
rows = result["ScanData"]["Data"]
print(f'demo: "{result["Name"]}": success {result["Success"]}, {len(rows)} samples')
print("   azimuth / rad  elevation / rad  range / m   quality  segment      z / m")
for azimuth, elevation, range_, quality, status in rows:
    z = math.cos(azimuth) * math.cos(elevation) * range_
    print(f"{azimuth:16.6f} {elevation:16.6f} {range_:10.6f} {quality:9.2f} {status:8d} {z:10.6f}")
PYTHON
echo "demo: the result message is in build/demo_result.json"
