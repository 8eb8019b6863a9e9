#!/usr/bin/env bash
# Answers 2,000 recordings with one process and with each engine of examples/cluster, kills a worker of
# each in the middle, and compares: the same answers to the byte, none lost, none twice.
#
# usage: scripts/cluster.sh [BUILD] [slurm|parallel|dask|packed ...]
#
#   BUILD   build folder with mfx in it (build/tool)
#   packed  GNU parallel once more, on chunks that are packed as .tar.zst
#
# RECORDINGS=200 sets another number. Installs what is missing from Debian (scripts/setup.sh cluster),
# which needs root. Slurm is one of its own: a controller and a node with a key, ports and folders that
# nothing else uses, gone at the end like everything that was begun here, also after Ctrl-C. Needs 1 GB
# in TMPDIR (/tmp).
#
# Prints a line for each engine. Exits with 1 when anything differs.
# shellcheck disable=SC2317  # functions are called by traps, by attend and by xargs
set -euo pipefail
cd "$(dirname "$0")/.."
examples=$PWD/examples/cluster

fail() {
  echo "cluster: $*" >&2
  exit 1
}

build=build/tool
case ${1:-} in
  "" | slurm | parallel | dask | packed) ;;
  *)
    build=$1
    shift
    ;;
esac
[ $# -gt 0 ] || set -- slurm parallel dask packed
recordings=${RECORDINGS:-2000}
[[ "$recordings" =~ ^[1-9][0-9]{1,5}$ ]] || fail "RECORDINGS has to be a number from 10 to 999999"
MFX=$(realpath -e "$build/tools/mfx/mfx" 2>/dev/null) ||
  fail "there is no $build/tools/mfx/mfx: cmake --preset tool && cmake --build --preset tool"
export MFX
for engine in "$@"; do
  [[ "$engine" =~ ^(slurm|parallel|dask|packed)$ ]] || fail "unknown engine $engine"
done
./scripts/setup.sh cluster >&2

# Everything that is begun here has this folder in its environment, by which it is found at the end:
# daemons, and what a killed worker leaves behind. Slurm writes its title over the environment of the
# process that watches a job; that one's standard error still goes to a file of the folder.
CLUSTER_WORK=$(mktemp -d "${TMPDIR:-/tmp}/mfx-cluster-XXXXXX")
export CLUSTER_WORK
work=$CLUSTER_WORK

is_ours() { grep -zqxF "CLUSTER_WORK=$work" "/proc/$1/environ" 2>/dev/null; }

# Without the mark itself, so that it does not find what it looks with.
begun_here() (
  unset CLUSTER_WORK
  {
    grep -lzxF "CLUSTER_WORK=$work" /proc/[0-9]*/environ || true
    find /proc/[0-9]*/fd/2 -lname "$work/*" || true
  } 2>/dev/null | cut -d / -f 3 | sort -u
)

stop_all() {
  local signal left until
  for signal in TERM KILL; do
    until=$((SECONDS + 3))
    while [ "$SECONDS" -lt "$until" ]; do
      mapfile -t left < <(begun_here)
      [ ${#left[@]} -gt 0 ] || return 0
      kill "-$signal" "${left[@]}" 2>/dev/null || true
      sleep 0.1
    done
  done
}

clean_up() {
  trap '' INT TERM
  stop_all
  rm -rf "$work"
}
trap clean_up EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# Runs in the background, as a signal would otherwise wait for the end.
attend() {
  "$@" &
  wait $!
}

seconds_since() { awk -v from="$1" -v to="$EPOCHREALTIME" 'BEGIN { printf "%.1f", to - from }'; }

# --- the archive ---------------------------------------------------------------------------------

# Records the measurement of that number. Types with small recordings; every second one is packed as
# gzip, and every tenth holds its samples in the result.
record() {  # record ARCHIVE NUMBER
  local number=$2 type form=none ending=rec
  local types=(edge hole surface-normal slot scan_path)
  type=${types[number % 5]}
  [ $((number / 5 % 10)) -ne 0 ] || form=json
  [ $((number / 5 % 2)) -ne 0 ] || ending=rec.gz
  "$MFX" measure "examples/requests/$type.json" --scene "examples/scenes/$type.json" \
    --seed "$number" --scan-data "$form" --check off --quiet \
    --record "$(printf '%s/%03d/%s %06d.%s' "$1" $((number / 500)) "$type" "$number" "$ending")" \
    >/dev/null 2>>"$1/../measure.log" || [ $? -eq 1 ]
}
export -f record

make_archive() {
  local folder
  for ((folder = 0; folder * 500 < recordings; ++folder)); do
    mkdir -p "$work/archive/$(printf %03d "$folder")"
  done
  # shellcheck disable=SC2016  # for the other shell
  seq 0 $((recordings - 1)) |
    xargs -P "$(nproc)" -n 50 bash -c 'for number; do record "$0" "$number" || exit 255; done' \
      "$work/archive" ||
    fail "cannot make the recordings: $(tail -n 1 "$work/measure.log")"
}

# Makes the chunks, with recordings among them that cannot be read: an empty one, half a one, none at all.
make_chunks() {
  local paths
  mapfile -t paths < <(cd "$work/archive" && find . -type f -printf '%P\n' | LC_ALL=C sort)
  [ ${#paths[@]} -eq "$recordings" ] || fail "${#paths[@]} recordings were made, not $recordings"
  : >"$work/archive/${paths[1]}"
  truncate -s 2000 "$work/archive/${paths[recordings / 2]}"
  rm "$work/archive/${paths[recordings - 2]}"
  local size=$((recordings > 400 ? recordings / 40 : 10))
  printf '%s\n' "${paths[@]}" | "$examples/make_chunks.sh" "$work/archive" "$work/chunks" "$size"
  printf '%s\n' "${paths[@]}" |
    "$examples/make_chunks.sh" --pack "$work/archive" "$work/packed-chunks" "$size" 2>>"$work/tar.log" ||
    fail "cannot pack the chunks: $(tail -n 1 "$work/tar.log")"
}

answer_with_one_process() {
  (cd "$work/archive" && cat "$work"/chunks/*/*.jobs | "$MFX" batch -) >"$work/expected"
}

# --- Slurm ---------------------------------------------------------------------------------------

wait_for() {  # wait_for WHAT COMMAND...: until the command succeeds, 20 s at most
  local what=$1
  shift
  for _ in {1..200}; do
    if "$@" >/dev/null 2>&1; then return; fi
    sleep 0.1
  done
  tail -n 3 "$work"/slurm/*.log >&2 || true
  fail "$what does not answer"
}

free_ports() {  # free_ports COUNT
  /usr/bin/python3 -c 'import socket, sys
held = [socket.create_server(("127.0.0.1", 0)) for _ in range(int(sys.argv[1]))]
print(*(one.getsockname()[1] for one in held))' "$1"
}

start_slurm() {
  local folder=$work/slurm ports node user
  node=$(hostname -s)
  user=$(id -un)
  read -ra ports < <(free_ports 2)
  mkdir -p "$folder"/{state,spool}
  chmod 755 "$work" "$folder"
  dd if=/dev/urandom of="$folder/munge.key" bs=128 count=1 status=none
  chmod 400 "$folder/munge.key"
  export SLURM_CONF=$folder/slurm.conf
  cat >"$SLURM_CONF" <<END
ClusterName=private
SlurmctldHost=$node(127.0.0.1)
SlurmUser=$user
SlurmdUser=$user
SlurmctldPort=${ports[0]}
SlurmdPort=${ports[1]}
AuthType=auth/munge
AuthInfo=socket=$folder/munge.socket
CredType=cred/munge
StateSaveLocation=$folder/state
SlurmdSpoolDir=$folder/spool
SlurmctldPidFile=$folder/slurmctld.pid
SlurmdPidFile=$folder/slurmd.pid
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
SchedulerParameters=sched_min_interval=100000,batch_sched_delay=0
MpiDefault=none
ReturnToService=2
NodeName=$node NodeAddr=127.0.0.1 CPUs=$(nproc) State=UNKNOWN
PartitionName=all Nodes=ALL Default=YES MaxTime=INFINITE State=UP
END
  munged --foreground --key-file="$folder/munge.key" --socket="$folder/munge.socket" \
    --pid-file="$folder/munged.pid" --seed-file="$folder/munge.seed" --log-file="$folder/munged.log" \
    >>"$folder/munged.log" 2>&1 &
  wait_for munge munge --socket="$folder/munge.socket" --no-input
  slurmctld -D >"$folder/slurmctld.log" 2>&1 &
  slurmd -D >"$folder/slurmd.log" 2>&1 &
  # shellcheck disable=SC2016  # for the other shell
  wait_for "the node of Slurm" bash -c '[ "$(sinfo -h -o %t)" = idle ]'
}

# --- the engines ---------------------------------------------------------------------------------

python_with_dask() {
  local python
  for python in python3 /usr/bin/python3; do
    if "$python" -c 'import distributed' 2>/dev/null; then
      echo "$python"
      return
    fi
  done
  fail "no python3 here has the module distributed"
}

run_engine() {  # run_engine ENGINE CHUNKS ANSWERS
  case $1 in
    slurm) "$examples/slurm.sh" "$2" "$3" "$(nproc)" ;;
    parallel | packed) "$examples/parallel.sh" "$2" "$3" -j "$(nproc)" ;;
    dask) "$python" "$examples/dask_batch.py" "$2" "$3" --mfx "$MFX" --workers "$(nproc)" ;;
  esac
}

published() { find "$1" -name '*.answers' 2>/dev/null | wc -l; }

# The process that holds a chunk some of whose answers are written, and not all: its lock names it.
find_worker() {  # find_worker ANSWERS
  local lock id
  for lock in "$1"/*/*.lock; do
    [ -s "${lock%.lock}.partial" ] || continue
    { read -r _ id <"$lock"; } 2>/dev/null || continue
    if is_ours "$id"; then
      echo "$id"
      return
    fi
  done
  return 1
}

family_of() {  # family_of ID: the process and those that it began
  local child children=()
  echo "$1"
  { read -ra children <"/proc/$1/task/$1/children"; } 2>/dev/null || true
  for child in "${children[@]}"; do family_of "$child"; done
}

parent_of() {
  local parent
  parent=$(awk '/^PPid:/ { print $2 }' "/proc/$1/status" 2>/dev/null)
  if [ -n "$parent" ] && is_ours "$parent"; then echo "$parent"; fi
}

# Kills a worker when a third of the chunks is answered. Of Slurm that is a task of the array with all that
# it began, of parallel a chunk's call with all that it began, of Dask a worker alone: what it began
# goes on without it.
kill_worker() {  # kill_worker ENGINE ANSWERS CHUNKS RUNNING: prints what was killed
  local id victims
  while kill -0 "$4" 2>/dev/null; do
    if [ "$(published "$2")" -ge $(($3 / 3)) ] && id=$(find_worker "$2"); then
      case $1 in
        slurm | dask) victims=$(parent_of "$id") ;;
        *) victims=$(family_of "$id") ;;
      esac
      [ "$1" != slurm ] || [ -z "$victims" ] || victims=$(family_of "$victims")
      # shellcheck disable=SC2086  # one word an id
      if kill -KILL $victims 2>/dev/null; then
        echo "worker killed with $(published "$2") of $3 chunks answered"
        return
      fi
    fi
    sleep 0.02
  done
  echo "NO WORKER WAS KILLED"
}

ids_of() { sed -n 's/^{"id":"\([^"]*\)",.*/\1/p' "$1" | LC_ALL=C sort; }

check_engine() {  # check_engine ENGINE: prints its line; the status tells whether all is well
  local engine=$1 chunks=$work/chunks answers=$work/answers-$1 begin running killed status=0 count verdict
  [ "$engine" != packed ] || chunks=$work/packed-chunks
  [ "$engine" != slurm ] || start_slurm
  begin=$EPOCHREALTIME
  run_engine "$engine" "$chunks" "$answers" >"$work/$engine.log" 2>&1 &
  running=$!
  count=$(find "$chunks" -name '*.jobs' | wc -l)
  killed=$(kill_worker "$engine" "$answers" "$count" "$running")
  wait "$running" || status=$?
  local took
  took=$(seconds_since "$begin")
  "$examples/join_answers.sh" "$chunks" "$answers" >"$work/got" 2>>"$work/$engine.log" || status=$?
  local lost twice
  lost=$(LC_ALL=C comm -23 <(ids_of "$work/expected") <(ids_of "$work/got") | wc -l)
  twice=$(ids_of "$work/got" | LC_ALL=C uniq -d | wc -l)
  verdict="the same answers, none lost, none twice"
  cmp -s "$work/expected" "$work/got" || verdict="ANSWERS DIFFER, $lost lost, $twice twice"
  [ "$status" -eq 0 ] || verdict="$verdict; ENDED WITH STATUS $status"
  printf '%-8s  %5s s  %s; %s\n' "$engine" "$took" "$killed" "$verdict"
  [[ "$verdict$killed" != *[A-Z][A-Z]* ]] || {
    tail -n 5 "$work/$engine.log" >&2
    return 1
  }
}

echo "cluster: making $recordings recordings" >&2
begin=$EPOCHREALTIME
attend make_archive
make_chunks
echo "cluster: that took $(seconds_since "$begin") s, $(du -sh "$work/archive" | cut -f 1)" >&2
begin=$EPOCHREALTIME
attend answer_with_one_process
printf '%-8s  %5s s  %s answers, %s with errors\n' "one" "$(seconds_since "$begin")" \
  "$(wc -l <"$work/expected")" "$(grep -c '^{"id":"[^"]*","error":' "$work/expected")"
[ "$(wc -l <"$work/expected")" -eq "$recordings" ] || fail "one process did not answer every recording"

python=
[[ " $* " != *" dask "* ]] || python=$(python_with_dask)
status=0
for engine in "$@"; do check_engine "$engine" || status=1; done
exit "$status"
