#!/usr/bin/env bash
# Prints the answers of all chunks in the order of their jobs, as one call of mfx batch would.
#
# usage: join_answers.sh CHUNKS ANSWERS > all.answers
#
# Prints none, and exits with 1, while a chunk has no answers. Says on standard error how many there are,
# and how many of them are errors.
set -euo pipefail
here=$(dirname -- "$(realpath -- "$0")")

[ $# -eq 2 ] || { echo "usage: join_answers.sh CHUNKS ANSWERS" >&2; exit 2; }
left=$("$here/unfinished.sh" "$1" "$2")
if [ -n "$left" ]; then
  echo "join_answers: $(wc -l <<<"$left") chunks have no answers yet, the first is ${left%%$'\n'*}" >&2
  exit 1
fi
cd -- "$2"
"$here/unfinished.sh" --all "$(cat chunks)" . | sed 's/$/.answers/' | tr '\n' '\0' |
  xargs -0 cat -- | tee >(awk '
    { ++count }
    /^\{"id":("([^"\\]|\\.)*"|[^",]*),"error":/ { ++errors }
    END { print "join_answers: " count + 0 " answers, " errors + 0 " with errors" > "/dev/stderr" }')
