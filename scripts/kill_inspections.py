#!/usr/bin/env python3
"""Kills inspections at random moments, goes on with each, and compares the sheets byte for byte.

usage: scripts/kill_inspections.py MFX [--kills N] [--trials N] [--seed N]

Inspects examples/inspection once from its beginning to its end. Then begins anew from what stands in
the folder at the moment of the beginning (the plan and the first line of the journal, which tells the
time), is killed (SIGKILL) at a random moment, goes on, and is killed again with a chance of one half,
until N kills have struck. Exits with 1 when a sheet differs or a folder cannot be gone on with.
"""
import argparse
import os
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time

SHEET = ["result.json", "result.csv", "result.qif", "points.ply", "report.html"]
ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def command(arguments, folder, resume):
    line = [arguments.mfx, "inspect", f"{ROOT}/examples/inspection/plan.json",
            "--scene", f"{ROOT}/examples/inspection/scene.json", "--out", folder]
    return line + (["--resume"] if resume else ["--trials", str(arguments.trials)])


def run(line, limit=None):
    """Runs to its end, or kills after `limit` seconds. Returns the status, None after a kill."""
    process = subprocess.Popen(line, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                               start_new_session=True)
    try:
        _, errors = process.communicate(timeout=limit)
        if process.returncode not in (0, 1, 3):
            sys.stderr.write(errors.decode())
        return process.returncode
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        process.communicate()
        return None


def begin(whole, folder):
    """A folder in which the inspection has been begun and nothing been measured."""
    os.makedirs(f"{folder}/recordings")
    shutil.copy(f"{whole}/plan.json", folder)
    with open(f"{whole}/journal.jsonl", "rb") as journal:
        first = journal.readline()
    with open(f"{folder}/journal.jsonl", "wb") as journal:
        journal.write(first)


def differing(whole, folder):
    different = []
    for name in SHEET:
        with open(f"{whole}/{name}", "rb") as one, open(f"{folder}/{name}", "rb") as other:
            if one.read() != other.read():
                different.append(name)
    return different


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("mfx")
    parser.add_argument("--kills", type=int, default=100)
    parser.add_argument("--trials", type=int, default=0)
    parser.add_argument("--seed", type=int, default=1)
    arguments = parser.parse_args()
    draw = random.Random(arguments.seed)
    work = tempfile.mkdtemp(prefix="inspections-")
    whole = f"{work}/whole"
    start = time.monotonic()
    status = run(command(arguments, whole, False))
    lasts = time.monotonic() - start
    print(f"whole inspection: status {status}, {lasts:.1f} s")
    if status not in (0, 1, 3):
        return 1
    kills = 0
    inspections = 0
    bad = 0
    while kills < arguments.kills:
        folder = f"{work}/{inspections}"
        begin(whole, folder)
        inspections += 1
        limit = draw.uniform(0.0, lasts)
        while limit is not None:
            result = run(command(arguments, folder, True), limit)
            if result is None:
                kills += 1
            again = result is None and kills < arguments.kills and draw.random() < 0.5
            limit = draw.uniform(0.0, lasts) if again else None
        result = run(command(arguments, folder, True))
        different = differing(whole, folder) if result == status else [f"status {result}"]
        if different:
            bad += 1
            print(f"inspection {inspections}: {', '.join(different)} differ (kept in {folder})")
        else:
            shutil.rmtree(folder)
    print(f"{kills} kills in {inspections} inspections: {inspections - bad} sheets the same to the byte")
    if bad == 0:
        shutil.rmtree(work)
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
