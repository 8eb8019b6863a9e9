#!/usr/bin/env python3
"""How fast `mfx batch` answers small jobs, alone and as two processes, and what memory it takes.

usage: batch.py [BUILD]      BUILD is a build folder with the tools; build/tool unless told otherwise

The jobs are 1,002 free scan paths of the accuracy campaign, each with a scene of its own. Times are
wall-clock times, the best of five runs. The two processes get every other half of the same lines.
"""

import os
import subprocess
import sys
import tempfile
import time

JOB_RUNS = 167  # for each of the six conditions of the campaign
REPEATS = 5


def run(commands):
    """Runs the commands side by side; seconds, and the largest resident memory of one of them."""
    start = time.perf_counter()
    children = []
    for command in commands:
        with open(os.devnull, "wb") as nowhere:
            children.append(subprocess.Popen(command, stdout=nowhere).pid)
    peak = 0
    for child in children:
        _, status, usage = os.wait4(child, 0)
        if status != 0:
            raise SystemExit(f"batch.py: a batch ended with wait status {status}")
        peak = max(peak, usage.ru_maxrss)
    return time.perf_counter() - start, peak / 1024.0  # KiB to MiB


def write(folder, name, lines):
    path = os.path.join(folder, name)
    with open(path, "wb") as file:
        file.writelines(lines)
    return path


def main():
    build = sys.argv[1] if len(sys.argv) > 1 else "build/tool"
    mfx = os.path.join(build, "tools/mfx/mfx")
    campaigns = os.path.join(build, "tools/accuracy/mfx_accuracy")
    jobs = subprocess.run([campaigns, "jobs", "scan_path", str(JOB_RUNS)], check=True,
                          capture_output=True).stdout.splitlines(keepends=True)
    with tempfile.TemporaryDirectory() as folder:
        whole = write(folder, "jobs", jobs)
        halves = [write(folder, f"half{i}", jobs[i::2]) for i in range(2)]
        many = write(folder, "many", jobs * 10)
        one = min(run([[mfx, "batch", whole]]) for _ in range(REPEATS))
        two = min(run([[mfx, "batch", half] for half in halves]) for _ in range(REPEATS))
        tenfold = run([[mfx, "batch", many]])
    count = len(jobs)
    print("| batch | jobs | jobs/s | growth | largest resident memory |")
    print("|---|--:|--:|--:|--:|")
    print(f"| one process | {count} | {count / one[0]:.0f} | 1 | {one[1]:.1f} MiB |")
    print(f"| two processes | {count} | {count / two[0]:.0f} | {one[0] / two[0]:.2f} "
          f"| {two[1]:.1f} MiB each |")
    print(f"| one process, ten times the lines | {10 * count} | {10 * count / tenfold[0]:.0f} | "
          f"| {tenfold[1]:.1f} MiB |")


if __name__ == "__main__":
    main()
