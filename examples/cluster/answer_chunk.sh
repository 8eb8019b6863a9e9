#!/usr/bin/env bash
# Answers one chunk of an archive. Every engine calls this, on whatever machine it likes.
#
# usage: answer_chunk.sh MFX CHUNKS ANSWERS NAME
#
#   MFX      the program mfx
#   CHUNKS   folder made by make_chunks.sh
#   ANSWERS  folder in which ANSWERS/NAME.answers appears, with an answer for each job of the chunk, in
#            their order. It appears whole or not at all
#   NAME     of the chunk: 0000/0000
#
# May be killed at any moment and called again: what was answered stays in ANSWERS/NAME.partial, and the
# next call goes on behind it. A chunk that has its answers is passed over. Of two calls for one chunk
# the second waits for the first, up to LOCK_SECONDS (3600); between machines that takes a file system
# on which flock holds between them.
#
# A recording that cannot be read is an answer with an error. The exit status is 0 when the chunk has its
# answers, and 1 with a line that says why when it has not: a full disk, a packed chunk that is broken.
set -euo pipefail

[ $# -eq 4 ] || { echo "usage: answer_chunk.sh MFX CHUNKS ANSWERS NAME" >&2; exit 2; }
name=$4
fail() {
  echo "answer_chunk: chunk $name: $*" >&2
  exit 1
}

mfx=$(command -v -- "$1") || fail "there is no program $1"
mfx=$(realpath -- "$mfx")
jobs=$(realpath -e -- "$2/$name.jobs" 2>/dev/null) || fail "there is no $2/$name.jobs"
archive=$(cat -- "$2/archive") || fail "$2 has no file that names the archive"
packed=${jobs%.jobs}.tar.zst
mkdir -p -- "$(dirname -- "$3/$name")" || fail "cannot make a folder in $3"
answers=$(realpath -m -- "$3/$name.answers")
partial=${answers%.answers}.partial
lock=${answers%.answers}.lock

# mfx inherits the lock: one that outlives this script, killed alone, still has the chunk to itself, and
# what it answers is not lost.
exec 9>>"$lock" || fail "cannot write $lock"
flock -w "${LOCK_SECONDS:-3600}" 9 || fail "another call has had $lock for too long"
if [ -e "$answers" ]; then
  rm -f -- "$lock"
  exit 0
fi
echo "$(hostname) $$" >"$lock" || fail "cannot write $lock"

# Recordings are named by their paths in the archive, so that answers are the same wherever it lies.
if [ -e "$packed" ]; then
  # A memory disk, unless there is another folder for what is short-lived. The name is the chunk's own: what
  # a killed call left there goes with the next one.
  scratch=${TMPDIR:-/dev/shm}/mfx-$(id -u)-$(cksum <<<"$answers" | tr ' ' -)
  trap 'cd / && rm -rf -- "$scratch"' EXIT
  rm -rf -- "$scratch"
  mkdir -m 700 -- "$scratch" || fail "cannot make $scratch"
  zstd -dcq -- "$packed" | tar -xf - -C "$scratch" --no-same-owner ||
    fail "cannot unpack $packed into ${TMPDIR:-/dev/shm}: it is broken, or there is no room"
  cd -- "$scratch"
else
  cd -- "$archive" || fail "cannot enter the archive $archive"
fi

# shellcheck disable=SC2094  # mfx has read what is there before it answers anything
"$mfx" batch - --resume "$partial" <"$jobs" >>"$partial" || fail "mfx batch ended with status $?"

# Nothing is published that is not the answer to each job: passes over all of them, and answers none.
more=$("$mfx" batch - --resume "$partial" <"$jobs" | head -c 1) || fail "mfx batch ended with status $?"
[ -z "$more" ] || fail "$partial does not answer its jobs: remove it"
sync -- "$partial" || fail "cannot write $partial"
mv -- "$partial" "$answers" || fail "cannot make $answers"
rm -f -- "$lock"
