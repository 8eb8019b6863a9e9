#!/usr/bin/env bash
# Answers the chunks of an archive with GNU parallel, on this machine or on those that it is told of.
#
# usage: parallel.sh CHUNKS ANSWERS [option of parallel ...]
#
#   CHUNKS   folder made by make_chunks.sh
#   ANSWERS  folder for the answers; join_answers.sh prints them in order
#
# MFX names the program mfx, if not the one that is found. With several machines, CHUNKS, ANSWERS, the
# archive, mfx and this folder have to stand at the same places on each:
#
#   MFX=/opt/bin/mfx parallel.sh /scratch/chunks /scratch/answers --sshloginfile nodes -j 64
#
# A chunk whose call dies is begun again, up to 3 times. Call it again after it was broken off: it goes on
# behind the chunks that ANSWERS/parallel.joblog tells as done, or, where that was removed, those that have
# their answers. Exits with 1 when a chunk has none.
set -euo pipefail
here=$(dirname -- "$(realpath -- "$0")")

[ $# -ge 2 ] || { echo "usage: parallel.sh CHUNKS ANSWERS [option of parallel ...]" >&2; exit 2; }
mfx=$(command -v -- "${MFX:-mfx}") || { echo "parallel: there is no program ${MFX:-mfx}" >&2; exit 2; }
mfx=$(realpath -- "$mfx")
left=$("$here/unfinished.sh" "$1" "$2")
chunks=$(realpath -- "$1")
answers=$(realpath -- "$2")
shift 2

# The log counts jobs: they have to be the same ones in each call, in the same order.
[ -z "$left" ] || "$here/unfinished.sh" --all "$chunks" "$answers" |
  parallel --joblog "$answers/parallel.joblog" --resume-failed --retries 3 "$@" \
    "$here/answer_chunk.sh" "$mfx" "$chunks" "$answers" "{}" || true

left=$("$here/unfinished.sh" "$chunks" "$answers")
[ -z "$left" ] || {
  echo "parallel: $(wc -l <<<"$left") chunks have no answers, the first is ${left%%$'\n'*}" >&2
  exit 1
}
