#!/usr/bin/env bash
# One task of the array that slurm.sh submits: answers every so manieth chunk of a list.
#
# usage: slurm_task.sh HERE MFX CHUNKS ANSWERS LIST
#
#   HERE  the folder of answer_chunk.sh: Slurm runs a copy of this script elsewhere
#   LIST  file with the names of chunks, one a line
#
# One chunk that cannot be answered does not keep the others from it.
set -euo pipefail

status=0
while read -r name; do
  "$1/answer_chunk.sh" "$2" "$3" "$4" "$name" </dev/null || status=1
done < <(awk -v task="$SLURM_ARRAY_TASK_ID" -v tasks="$SLURM_ARRAY_TASK_COUNT" \
  '(NR - 1) % tasks == task' "$5")
exit "$status"
