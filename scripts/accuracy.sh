#!/usr/bin/env bash
# Measures how accurate the system is: runs a Monte-Carlo campaign over a feature type on the virtual
# instrument and writes its section of docs/accuracy.md. The draws are seeded, so the same figures
# come again; the runs are spread over the cores.
#
# usage: scripts/accuracy.sh [--condition C] [--first-run N] [--keep FOLDER] [hostile] [type ...]
#
# Without a type every one has its turn; RUNS=100 sets the runs of each condition. "hostile" holds the
# types against all that spoils a measurement on a shop floor, with 300 runs of each condition. Part of
# a campaign, and one that is kept, leaves docs/accuracy.md alone and prints its table:
#   --condition C    the condition of that number, or those whose label has C in it
#   --first-run N    run N and those that follow; 0 unless told otherwise
#   --keep FOLDER    puts jobs and answers behind those of earlier calls in FOLDER/<type>.jobs and
#                    .answers; the table is that of all of them
#
# A feature type gets its campaign by one source: tools/accuracy/campaigns/<type>.cpp, as
# tools/accuracy/campaign.h tells, draws a job and compares a result with the truth of its scene.
# Nothing else names it: its section appears in docs/accuracy.md with the first run.
set -euo pipefail
cd "$(dirname "$0")/.."

choice=()
keep=
while [[ "${1:-}" == --* ]]; do
  [ $# -ge 2 ] || { echo "accuracy: $1 wants a value" >&2; exit 2; }
  case "$1" in
    --condition | --first-run) choice+=("$1" "$2") ;;
    --keep) keep=$2 ;;
    *) echo "accuracy: unknown option $1" >&2; exit 2 ;;
  esac
  shift 2
done
[ -z "$keep" ] || mkdir -p "$keep"

usual_runs=100
hostile=
if [ "${1:-}" = hostile ]; then
  usual_runs=300
  hostile=hostile-
  shift
fi
runs=${RUNS:-$usual_runs}
cores=$(nproc)
[ -n "${MFX_BUILD:-}" ] || {
  ./scripts/setup.sh build
  echo "accuracy: building in build/tool (the first time takes minutes)"
  cmake --preset tool >/dev/null
  cmake --build --preset tool --target mfx_accuracy -j "$cores"
}
build=${MFX_BUILD:-build/tool}  # a build folder that is taken as it is
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

# Measures the jobs of "$work/jobs" into "$work/answers", a part of the lines on each core.
measure() {
  rm -f "$work"/part.*
  split -n "l/$cores" -d "$work/jobs" "$work/part."
  local pids=()
  for part in "$work"/part.*; do
    nice "$campaigns" answers "$part" >"$part.answers" &
    pids+=($!)
  done
  for pid in "${pids[@]}"; do wait "$pid"; done
  cat "$work"/part.*.answers >"$work/answers"
}

[ $# -gt 0 ] || mapfile -t types < <("$campaigns" list ${hostile:+hostile})
[ $# -eq 0 ] || types=("$@")
for name in "${types[@]}"; do
  type=$hostile$name
  echo "accuracy: $type, $runs runs for each condition"
  start=$SECONDS
  "$campaigns" jobs "$type" "$runs" "${choice[@]}" >"$work/jobs"
  if [ -n "$keep" ] && [ -e "$keep/$type.jobs" ] && grep -qxFf "$work/jobs" "$keep/$type.jobs"; then
    echo "accuracy: $keep/$type.jobs has some of these runs already" >&2
    exit 2
  fi
  measure
  jobs=$work/jobs
  answers=$work/answers
  if [ -n "$keep" ]; then
    jobs=$keep/$type.jobs
    answers=$keep/$type.answers
    cat "$work/jobs" >>"$jobs"
    cat "$work/answers" >>"$answers"
  fi
  words="${hostile:+hostile }$name"
  command="scripts/accuracy.sh $words"
  [ ${#choice[@]} -eq 0 ] || command="scripts/accuracy.sh$(printf ' %q' "${choice[@]}") $words"
  [ "$runs" = "$usual_runs" ] || command="RUNS=$runs $command"
  "$campaigns" section "$type" "$jobs" "$answers" "$command" >"$work/text"
  if [ -n "$keep" ] || [ ${#choice[@]} -gt 0 ]; then
    cat "$work/text"
  else
    put_section "$type" <"$work/text"
  fi
  echo "accuracy: $type took $((SECONDS - start)) s"
done
[ -n "$keep" ] || [ ${#choice[@]} -gt 0 ] || echo "accuracy: the tables are in $report"
