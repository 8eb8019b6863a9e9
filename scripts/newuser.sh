#!/usr/bin/env bash
# What somebody new to mfx relies on, one call each with what has to come of it. The tests run it.
# usage: scripts/newuser.sh [MFX]   MFX: the program, build/tool/tools/mfx/mfx unless told otherwise
set -uo pipefail
cd "$(dirname "$0")/.."

mfx=$(realpath "${1:-build/tool/tools/mfx/mfx}")
work=$(mktemp -d)
trap 'chmod -R u+w "$work"; rm -rf "$work"' EXIT
requests=$PWD/examples/requests
scenes=$PWD/examples/scenes
wall=$PWD/examples/instrument/flat_wall.py
failures=0
checks=0

complain() { failures=$((failures + 1)); echo "newuser: $1: $2"; sed 's/^/    /' "$work/err" | cut -c1-200 | head -5; }

# expect STATUS WHAT COMMAND...: runs the command in the work folder, and keeps what it writes
expect() {
  local status=$1 what=$2 got
  shift 2
  checks=$((checks + 1))
  label=$what
  (cd "$work" && "$@") >"$work/out" 2>"$work/err" </dev/null
  got=$?
  [ "$got" = "$status" ] || complain "$what" "ended with status $got instead of $status"
}
# out TEXT, err TEXT: the last command wrote it; nout, nerr: it did not
out() { grep -qF -- "$1" "$work/out" || complain "$label" "standard output lacks: $1"; }
err() { grep -qF -- "$1" "$work/err" || complain "$label" "standard error lacks: $1"; }
nout() { ! grep -qF -- "$1" "$work/out" || complain "$label" "standard output has: $1"; }
nerr() { ! grep -qF -- "$1" "$work/err" || complain "$label" "standard error has: $1"; }
# same FILE FILE: of the same bytes
same() { cmp -s "$work/$1" "$work/$2" || complain "$label" "$1 and $2 differ"; }
# holds FILE TEXT
holds() { grep -qF -- "$2" "$work/$1" || complain "$label" "$1 lacks: $2"; }
edited() {  # edited FILE EXPRESSION: a request of the examples, changed by Python with r for the request
  python3 -c "import json,sys
r = json.load(open(sys.argv[1]))
exec(sys.argv[2])
print(json.dumps(r))" "$1" "$2"
}

# ---- let no report lie
edited "$scenes/hole.json" 'r["part"]["opening"]["radius"] = 0.00666' >"$work/wide.json"
cp "$requests/hole.json" "$work/hole.json"
expect 0 "a hole that is wider than told" "$mfx" -q measure hole.json --scene wide.json --report wide.html
out '"Radius":0.00600000'
err "Radius: the fit found 6.6"
holds wide.html "Radius"
expect 0 "a report for a person" "$mfx" -q measure hole.json --scene "$scenes/hole.json" \
  --report r.html --label part=4711 --label "operator=A. B."
holds r.html "4711"
holds r.html "<title>bolt hole"
holds r.html "mm"
expect 0 "the same call gives the same bytes" "$mfx" -q measure hole.json --scene "$scenes/hole.json" \
  --report r2.html --label part=4711 --label "operator=A. B."
same r.html r2.html
expect 1 "a failure by used-up re-scans, in the message" "$mfx" -q measure hole.json \
  --scene "$scenes/hole.json" --max-passes 0 --record f.rec
out '"ErrorMessage":"the measured location is still farther from the nominal'
expect 1 "the same when it is replayed" "$mfx" -q replay f.rec
out '"ErrorMessage":"the measured location is still farther from the nominal'
expect 1 "the wrong kind of part" "$mfx" -q measure "$requests/slot.json" --scene "$scenes/hole.json"
out '"ErrorMessage":"the samples do not show what was asked for'

# ---- lose nothing
expect 0 "a recording" "$mfx" -q measure hole.json --scene "$scenes/hole.json" --record h.rec
cp "$work/out" "$work/measured"
cp "$work/h.rec" "$work/h.kept"
expect 2 "a report in the place of its recording" "$mfx" -q replay h.rec --report h.rec
same h.rec h.kept
ln -s h.rec "$work/link.rec"
ln "$work/h.rec" "$work/hard.rec"
expect 2 "the same by a link" "$mfx" -q replay h.rec --report link.rec
expect 2 "and by a hard link" "$mfx" -q replay h.rec --report hard.rec
same h.rec h.kept
expect 2 "a report in the place of its request" "$mfx" -q measure hole.json \
  --scene "$scenes/hole.json" --report hole.json
cmp -s "$work/hole.json" "$requests/hole.json" || complain "$label" "the request is gone"
expect 2 "two outputs in one place" "$mfx" -q measure hole.json --scene "$scenes/hole.json" \
  --record x --report x
expect 2 "two outputs whose names differ by case" "$mfx" -q measure hole.json \
  --scene "$scenes/hole.json" --record X.out --report x.OUT
echo kept >"$work/protected"
chmod a-w "$work/protected"
expect 2 "a write-protected file" "$mfx" -q measure hole.json --scene "$scenes/hole.json" \
  --report protected
holds protected kept
expect 2 "a full disk costs the file" "$mfx" -q measure hole.json --scene "$scenes/hole.json" \
  --report /dev/full
out '"Success":true'

# ---- say what is wrong before the laser moves
printf '{\n  "PointSpacing": 0.0001,\n  "Feature": {"$type": "HoleFeature" "Radius": 1}\n}\n' >"$work/broken.json"
expect 1 "malformed JSON" "$mfx" check broken.json
out "broken.json:3:"
edited "$requests/hole.json" 'r["PointSpacin"] = 1; r["Feature"]["Radius"] = "6 mm"' >"$work/typo.json"
expect 1 "a misspelt key and a text for a number" "$mfx" check typo.json
out "PointSpacing"
out "Radius"
expect 1 "the same for scripts" "$mfx" check typo.json --json
out '"line":'
edited "$requests/hole.json" 'r["Radius"] = 0.006; del r["Feature"]["Radius"]' >"$work/place.json"
expect 1 "a key in the wrong object" "$mfx" check place.json
out "Radius"
edited "$requests/hole.json" 'r["Feature"]["Location"] = [0.01, 0.0, 0.05]' >"$work/inside.json"
expect 0 "a point inside of 0.1 m" "$mfx" check inside.json
out "Location"
edited "$requests/rectangle.json" 'r["Feature"]["Normal"] = [-x for x in r["Feature"]["Normal"]]' >"$work/away.json"
expect 0 "a normal that faces away" "$mfx" check away.json
out "Normal"
edited "$requests/stud.json" 'r["RescanThreshold"] = 1e-6' >"$work/threshold.json"
expect 0 "a threshold below the offset of a cylinder" "$mfx" check threshold.json
out "RescanThreshold"
(cat "$requests/edge.json"; echo more) >"$work/tail.json"
expect 0 "a text behind the object" "$mfx" check tail.json
out "tail.json:"
expect 0 "a search that the call does not ask for" "$mfx" -q measure hole.json \
  --scene "$scenes/hole.json"
err "SearchEnabled"
expect 0 "findings that nobody wants" "$mfx" -q measure hole.json --scene "$scenes/hole.json" --check=off
nerr "SearchEnabled"
expect 0 "all examples are sound" "$mfx" check "$requests"/*.json
edited "$requests/hole.json" 'r["Feature"]["Radius"] = 6.0' >"$work/mm.json"
expect 0 "a size that looks like millimetres" "$mfx" check mm.json
out "Radius"
expect 2 "strict" "$mfx" -q measure mm.json --scene "$scenes/hole.json" --check=strict
edited "$requests/slot.json" 'r["PointSpacing"] = -0.001' >"$work/negative.json"
expect 2 "a negative spacing" "$mfx" -q plan negative.json --check=off
nout drive
expect 0 "the schema of a request" "$mfx" schema request-hole
out '"$schema"'
expect 0 "the keys of a request" "$mfx" features
out "RescanThreshold"
expect 0 "an instrument that is sound" "$mfx" check-instrument "$wall"
out "nothing wrong"
expect 1 "an instrument that counts in degrees" "$mfx" check-instrument \
  "python3 $PWD/tests/tools/instruments/misbehaving.py degrees"
out degrees
expect 1 "nothing where the hole should be" "$mfx" -q measure hole.json --instrument "$wall"
err "mfx: samples: "

# ---- fit the ecosystem
expect 0 "bare mfx" "$mfx"
out measure
expect 0 "help" "$mfx" help measure
out SECONDS
expect 2 "a misspelt call" "$mfx" mesure hole.json
err "did you mean 'measure'"
expect 2 "a misspelt option" "$mfx" measure hole.json --sceen x
err "--scene"
expect 0 "a result for people" "$mfx" measure hole.json --scene "$scenes/hole.json" --format text
out "bolt hole"
out mm
nout '{"'
expect 0 "log lines where they are asked for" "$mfx" -v measure hole.json \
  --scene "$scenes/hole.json" --format text
err "[RobustHole 1]"
for name in edge hole matte-sphere polygon rectangle scan_path slot stud surface-normal threaded-hole; do
  expect 0 "$name without its samples" "$mfx" -q measure "$requests/$name.json" \
    --scene "$scenes/$name.json" --scan-data none
  [ "$(wc -c <"$work/out")" -lt 2000 ] || complain "$label" "the result is long"
done
for shell in bash zsh fish; do
  expect 0 "completion for $shell" "$mfx" completion "$shell"
  out measure
done

# ---- a batch, and recordings
python3 - "$requests" "$scenes" >"$work/jobs" <<'END'
import json, sys
for i, name in enumerate(["hole", "stud", "edge", "slot"] * 3):
    load = lambda folder: json.load(open(f"{folder}/{name}.json"))
    print(json.dumps({"id": i, "request": load(sys.argv[1]), "scene": load(sys.argv[2])}))
END
expect 0 "a batch" "$mfx" batch jobs
cp "$work/out" "$work/answers"
expect 0 "on several processors, the same answers in order" "$mfx" batch jobs -j 3
same out answers
head -c $(($(wc -c <"$work/answers") / 2)) "$work/answers" >"$work/half"
expect 0 "going on where a batch was killed" bash -c "'$mfx' batch jobs --resume half >>half"
same half answers
echo '{"recording": "h.rec", "request": {"QualityThreshold": 60}}' >"$work/again"
expect 0 "a recording with other settings" "$mfx" batch again --compare
err compared
python3 - "$work/h.rec" >"$work/old.rec" <<'END'
import json, sys
lines = open(sys.argv[1]).read().splitlines()
print(json.dumps({"request": json.loads(lines[0])["request"]}))
print("\n".join(lines[1:]))
END
expect 0 "a recording of an older program" "$mfx" -q replay old.rec
same out measured
expect 0 "a packed recording" "$mfx" -q measure hole.json --scene "$scenes/hole.json" --record h.rec.gz
expect 0 "is read like any other" "$mfx" -q replay h.rec.gz
same out measured
holds h.rec '"format":1'
holds h.rec '"program":"mfx '

echo "newuser: $checks calls, $failures failures"
[ "$failures" -eq 0 ]
