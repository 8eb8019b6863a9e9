#!/usr/bin/env bash
# Cuts an archive of recordings into chunks, each a file of jobs for mfx batch.
#
# usage: make_chunks.sh [--pack] ARCHIVE CHUNKS [SIZE] < LIST
#
#   ARCHIVE  folder with the recordings
#   CHUNKS   folder that is made, with the chunks 0000/0000.jobs, 0000/0001.jobs, ...: 1000 in a folder
#   SIZE     recordings in a chunk (1000); its answers should take a minute or a few
#   LIST     paths within ARCHIVE, one a line; they become the ids of the jobs
#   --pack   puts the recordings of each chunk beside its jobs as well, as 0000/0000.tar.zst: one file
#            to open instead of SIZE. A recording that cannot be read is told here, and is left to be
#            answered with an error
#
# For instance:  (cd /archive && find . -type f -name '*.rec*' -printf '%P\n' | LC_ALL=C sort) |
#                  make_chunks.sh /archive /scratch/chunks
set -euo pipefail

fail() {
  echo "make_chunks: $*" >&2
  exit 2
}

pack=
if [ "${1:-}" = --pack ]; then
  pack=yes
  shift
fi
[ $# -eq 2 ] || [ $# -eq 3 ] || fail "usage: make_chunks.sh [--pack] ARCHIVE CHUNKS [SIZE] < LIST"
[ -d "$1" ] || fail "no such folder: $1"
archive=$(realpath -e -- "$1")
size=${3:-1000}
[[ "$size" =~ ^[1-9][0-9]{0,6}$ ]] || fail "SIZE has to be a number from 1 to 9999999: $size"
[ -z "$pack" ] || command -v zstd >/dev/null || fail "--pack needs zstd"
[ ! -e "$2" ] || fail "$2 exists already"
mkdir -p -- "$(dirname -- "$2")" || fail "cannot make $2"

# All of it appears at once: a folder that has its name is whole.
chunks=$(realpath -m -- "$2")
making=$chunks.making
mkdir -- "$making" || fail "cannot make $making: remove it if nothing else is making chunks there"
trap 'rm -rf -- "$making"' EXIT
cat >"$making/list" || fail "cannot write $making/list"

# A job is a line of UTF-8, and a packed recording must not land outside its folder.
refuse() {  # refuse WHAT, with the offending lines on standard input
  local line
  if read -r line; then fail "LIST, line ${line%%:*}: $1"; fi
}
[ -s "$making/list" ] || fail "LIST is empty: there are no recordings"
refuse "a path that is no UTF-8" < <(LC_ALL=C.UTF-8 grep -naxvm 1 '.*' "$making/list")
refuse "a path with a control character" < <(LC_ALL=C grep -nam 1 '[[:cntrl:]]' "$making/list")
refuse 'a path that is empty, absolute or has a ".." in it' < <(
  LC_ALL=C grep -nam 1 -E '^$|^/|(^|/)\.\.(/|$)' "$making/list")
refuse "a path that stands there twice" < <(
  LC_ALL=C sort "$making/list" | LC_ALL=C uniq -d | head -n 1 | grep -nxFf - "$making/list")

cd -- "$making"
count=$(awk 'END { print NR }' list)
for ((folder = 0; folder * 1000 * size < count; ++folder)); do mkdir "$(printf %04d "$folder")"; done

# Cuts standard input into files of SIZE lines, one for each chunk.
cut_into() {  # cut_into ENDING
  awk -v size="$size" -v ending="$1" '
    (NR - 1) % size == 0 {
      if (file != "") close(file)
      chunk = int((NR - 1) / size)
      file = sprintf("%04d/%04d.%s", int(chunk / 1000), chunk % 1000, ending)
    }
    { print > file }'
}
sed -e 's/[\\"]/\\&/g' -e 's/.*/{"id":"&","recording":"&"}/' list | cut_into jobs ||
  fail "cannot write the chunks into $making"

# Passes on the paths of files that can be read.
readable() {
  local path
  while IFS= read -r path; do
    if [ -f "$archive/$path" ] && [ -r "$archive/$path" ]; then
      printf '%s\n' "$path"
    else
      echo "make_chunks: cannot read $archive/$path" >&2
    fi
  done
}

if [ -n "$pack" ]; then
  # shellcheck disable=SC2094  # it writes 0000/0000.list and so on
  cut_into list <list || fail "cannot write the lists into $making"
  for list in ????/????.list; do
    readable <"$list" |
      tar --create --directory="$archive" --no-recursion --verbatim-files-from --files-from=- |
      zstd -q -o "${list%.list}.tar.zst" ||
      fail "cannot pack what $making/$list names"
    rm "$list"
  done
fi
printf '%s\n' "$archive" >archive
mv list paths
cd /
mv -T -- "$making" "$chunks"
trap - EXIT
echo "make_chunks: $count recordings in $(((count + size - 1) / size)) chunks in $chunks" >&2
