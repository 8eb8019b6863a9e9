#!/usr/bin/env bash
# Answers the chunks of an archive with Slurm: an array of tasks, each of which takes every so manieth
# chunk.
#
# usage: slurm.sh CHUNKS ANSWERS [TASKS [option of sbatch ...]]
#
#   CHUNKS   folder made by make_chunks.sh
#   ANSWERS  folder for the answers; join_answers.sh prints them in order
#   TASKS    tasks in the array, each with one processor (2)
#
# MFX names the program mfx, if not the one that is found. CHUNKS, ANSWERS, the archive, mfx and this
# folder have to stand at the same places on every node. Waits for the array, and submits another one
# for the chunks that are without answers then, as long as it helps: a task that was killed, ran out of
# time or lost its node costs what it had not yet written. Call it again after it was broken off itself.
# What the tasks say is in ANSWERS/slurm-*.log. Exits with 1 when a chunk has no answers.
set -euo pipefail
here=$(dirname -- "$(realpath -- "$0")")

fail() {
  echo "slurm: $*" >&2
  exit 2
}
[ $# -ge 2 ] || fail "usage: slurm.sh CHUNKS ANSWERS [TASKS [option of sbatch ...]]"
tasks=${3:-2}
[[ "$tasks" =~ ^[1-9][0-9]{0,5}$ ]] || fail "TASKS has to be a number from 1 to 999999: $tasks"
mfx=$(command -v -- "${MFX:-mfx}") || fail "there is no program ${MFX:-mfx}"
mfx=$(realpath -- "$mfx")
left=$("$here/unfinished.sh" "$1" "$2")
chunks=$(realpath -- "$1")
answers=$(realpath -- "$2")
shift $(($# < 3 ? $# : 3))

# Goes on for as long as an array leaves fewer chunks than the one before, and tries once more after that.
before=
tries=2
while [ -n "$left" ] && [ "$tries" -gt 0 ]; do
  count=$(wc -l <<<"$left")
  [ "$count" != "$before" ] || tries=$((tries - 1))
  before=$count
  last=$(((count < tasks ? count : tasks) - 1))
  list=$(mktemp "$answers/slurm-XXXXXX.list") || fail "cannot write into $answers"
  printf '%s\n' "$left" >"$list" || fail "cannot write $list"
  # The status of the array tells less than the answers do.
  sbatch --quiet --wait --requeue --array="0-$last" --ntasks=1 --job-name=mfx-chunks \
    --output="$answers/slurm-%A_%a.log" "$@" \
    "$here/slurm_task.sh" "$here" "$mfx" "$chunks" "$answers" "$list" || true
  rm -f -- "$list"
  left=$("$here/unfinished.sh" "$chunks" "$answers")
done
[ -z "$left" ] || {
  echo "slurm: $(wc -l <<<"$left") chunks have no answers, the first is ${left%%$'\n'*}" >&2
  echo "slurm: $answers/slurm-*.log tell why" >&2
  exit 1
}
