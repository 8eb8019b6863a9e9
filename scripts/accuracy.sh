#!/usr/bin/env bash
# Measures how accurate the system is: runs a Monte-Carlo campaign over a feature type on the virtual
# instrument and writes its section of docs/accuracy.md. The draws are seeded, so the same figures
# come again; the runs are spread over the cores.
#
# usage: scripts/accuracy.sh [type ...]      (default: every type; RUNS=100 sets the runs a condition)
#
# A feature type gets its campaign by one source: tools/accuracy/campaigns/<type>.cpp, as
# tools/accuracy/campaign.h tells, draws a job and compares a result with the truth of its scene.
# Nothing else names it: its section appears in docs/accuracy.md with the first run.
set -euo pipefail
cd "$(dirname "$0")/.."

runs=${RUNS:-100}
cores=$(nproc)
[ -n "${MFX_BUILD:-}" ] || {
  ./scripts/setup.sh build
  echo "accuracy: building in build/tool (the first time takes minutes)"
  cmake --preset tool >/dev/null
  cmake --build --preset tool --target mfx mfx_accuracy -j "$cores"
}
build=${MFX_BUILD:-build/tool}  # a build folder that is taken as it is
mfx=$build/tools/mfx/mfx
campaigns=$build/tools/accuracy/mfx_accuracy
report=docs/accuracy.md

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Puts the section on standard input in the place of the one between its marks, or at the end.
put_section() {
  local begin="<!-- begin $1 -->" end="<!-- end $1 -->"
  { echo "$begin"; cat; echo "$end"; } >"$work/section"
  if grep -qxF "$begin" "$report"; then
    awk -v begin="$begin" -v end="$end" -v section="$work/section" '
      $0 == begin { while ((getline line < section) > 0) print line; inside = 1 }
      !inside { print }
      $0 == end { inside = 0 }' "$report" >"$work/report"
  else
    { cat "$report"; echo; cat "$work/section"; } >"$work/report"
  fi
  cp "$work/report" "$report"
}

[ $# -gt 0 ] || mapfile -t types < <("$campaigns" list)
[ $# -eq 0 ] || types=("$@")
for type in "${types[@]}"; do
  echo "accuracy: $type, $runs runs for each condition"
  start=$SECONDS
  "$campaigns" jobs "$type" "$runs" >"$work/jobs"
  # A job searches if its request enables it. One part of the lines for each core; how they are split does not change an answer.
  rm -f "$work"/part.*
  split -n "l/$cores" -d "$work/jobs" "$work/part."
  pids=()
  for part in "$work"/part.*; do
    nice "$mfx" batch --search "$part" >"$part.answers" &
    pids+=($!)
  done
  for pid in "${pids[@]}"; do wait "$pid"; done
  cat "$work"/part.*.answers >"$work/answers"
  command="scripts/accuracy.sh $type"
  [ "$runs" = 100 ] || command="RUNS=$runs $command"
  "$campaigns" section "$type" "$work/jobs" "$work/answers" "$command" >"$work/text"
  put_section "$type" <"$work/text"
  echo "accuracy: $type took $((SECONDS - start)) s"
done
echo "accuracy: the tables are in $report"
