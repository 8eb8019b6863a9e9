#!/usr/bin/env bash
# Prints the names of the chunks that have no answers yet, one a line: 0000/0000 and so on.
#
# usage: unfinished.sh [--all] CHUNKS ANSWERS
#
#   --all  prints the names of all chunks
#
# Makes the folder ANSWERS where there is none. It remembers which chunks it is for, and is refused for
# any others.
set -euo pipefail

fail() {
  echo "unfinished: $*" >&2
  exit 2
}

all=
if [ "${1:-}" = --all ]; then
  all=yes
  shift
fi
[ $# -eq 2 ] || fail "usage: unfinished.sh [--all] CHUNKS ANSWERS"
[ -f "$1/paths" ] || fail "$1 is no folder that make_chunks.sh made"
mkdir -p -- "$2" || fail "cannot make $2"
chunks=$(realpath -e -- "$1")
if [ ! -s "$2/chunks" ]; then
  { printf '%s\n' "$chunks" >"$2/chunks.new" && mv -- "$2/chunks.new" "$2/chunks"; } ||
    fail "cannot write into $2"
fi
[ "$(cat -- "$2/chunks")" = "$chunks" ] || fail "$2 has the answers of other chunks: $(cat -- "$2/chunks")"

names_of() {  # names_of FOLDER ENDING
  (cd -- "$1" && find . -mindepth 2 -maxdepth 2 -name "*.$2" -printf '%P\n') |
    sed "s/\\.$2\$//" | LC_ALL=C sort
}
if [ -n "$all" ]; then
  names_of "$chunks" jobs
else
  LC_ALL=C comm -23 <(names_of "$chunks" jobs) <(names_of "$2" answers)
fi
