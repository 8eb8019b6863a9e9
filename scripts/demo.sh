#!/usr/bin/env bash
# Installs what is missing, builds the host tool mfx with optimisation, measures the examples with it
# on the virtual instrument, prints what came out beside what is true, and writes one report of all.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/setup.sh build
echo "demo: building mfx in build/tool (the first time takes minutes)"
cmake --preset tool >/dev/null
cmake --build --preset tool --target mfx -j "$(nproc)"
mfx=build/tool/tools/mfx/mfx

out=build/demo
mkdir -p "$out"

# A result message without its samples, which are many.
without_samples() {
  sed -e 's/"Data":\[\[.*\]\],/"Data":[...],/' -e 's/"Data":\[\[.*\]\]/"Data":[...]/' "$1" | fold -s -w 100 | sed 's/^/    /'
}

measure() {  # measure NAME REQUEST SCENE
  local request=$2 scene=$3
  echo
  echo "demo: $mfx measure $request --scene $scene --report $out/$1.html"
  if ! "$mfx" measure "$request" --scene "$scene" --max-passes 6 --report "$out/$1.html" \
    >"$out/$1.json" 2>"$out/$1.log"; then
    echo "demo: that did not succeed; the library's own traces are in $out/$1.log"
  fi
  without_samples "$out/$1.json"
}

# A free scan path over a plate with a hole first, then an example of every other feature type.
names=(scan_path)
for request in examples/requests/*.json; do
  name=$(basename "$request" .json)
  [ "$name" = scan_path ] || names+=("$name")
done
for name in "${names[@]}"; do
  measure "$name" "examples/requests/$name.json" "examples/scenes/$name.json"
done
# And a rectangle on a workshop's worst day, with what the result says of it.
measure worst-day examples/worst-day/request.json examples/worst-day/scene.json
names+=(worst-day)

echo
echo "demo: nominal, measured and true values (mm; directions are unit vectors; instrument's frame)"
echo
python3 scripts/demo_summary.py "$out" "${names[@]}"

# A whole part by its plan, up to the sheet.
echo
echo "demo: $mfx inspect examples/inspection/plan.json --scene examples/inspection/scene.json --out $out/bracket"
rm -rf "$out/bracket"
"$mfx" inspect examples/inspection/plan.json --scene examples/inspection/scene.json --out "$out/bracket" \
  2>"$out/bracket.log" || true
echo "demo: its sheet to sign is $out/bracket/report.html"

echo
echo "demo: the report of all of them is $out/report.html: open it in a browser"
echo "demo: the whole results, single reports and the library's traces are in $out too"
