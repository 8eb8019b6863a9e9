#!/usr/bin/env python3
"""How fast `mfx batch` answers small jobs with one process and with two, and what memory it takes.

usage: batch.py [BUILD [RESULT]]

BUILD is a build folder with the tools; build/tool unless told otherwise. RESULT is a file to write what
was measured to, as a benchmark program does: the ratio is then judged by who reads it.

The jobs are 10,020 free scan paths of the accuracy campaign, each with a scene of its own. Times are
wall-clock times, the best of fifteen runs in turns. Beside `-j 2` stand two calls with every other half
of the same lines: what the machine lets two processes gain that share nothing. The exit status is 1
when `-j 2` is not 1.95 times as fast as `-j 1`. The processor time of all processes tells what two
idle cores would gain, however busy the machine is.
"""

import json
import os
import subprocess
import sys
import tempfile
import time

JOB_RUNS = 167  # for each of the six conditions of the campaign
REPEATS = 15
LEAST_GROWTH = 1.95
BUSY = 0.3  # load of the machine before the runs, above which it is not idle


def run(commands):
    """Runs the commands side by side: seconds, processor seconds, and the largest resident memory
    of one of them."""
    start = time.perf_counter()
    children = []
    for command in commands:
        with open(os.devnull, "wb") as nowhere:
            children.append(subprocess.Popen(command, stdout=nowhere).pid)
    peak = 0
    used = 0.0
    for child in children:
        _, status, usage = os.wait4(child, 0)
        if status != 0:
            raise SystemExit(f"batch.py: a batch ended with wait status {status}")
        peak = max(peak, usage.ru_maxrss)
        used += usage.ru_utime + usage.ru_stime
    return time.perf_counter() - start, used, peak / 1024.0  # KiB to MiB


def best_in_turns(cases):
    """The least of each figure of some cases, which run in turns so that all see the same machine."""
    rounds = [{name: run(commands) for name, commands in cases.items()} for _ in range(REPEATS)]
    return {name: [min(figures) for figures in zip(*(one[name] for one in rounds))]
            for name in cases}


def write(folder, name, lines):
    path = os.path.join(folder, name)
    with open(path, "wb") as file:
        file.writelines(lines)
    return path


def write_result(path, jobs, best):
    """Two processes as ours, beside one and beside two calls."""
    names = {"`-j 2`": "ours", "`-j 1`": "one process", "two calls": "two calls of half each"}
    entries = []
    for name, (seconds, used, peak) in best.items():
        entries.append({"name": name, "run_type": "iteration", "time_unit": "s",
                        "run_name": f"batch of small jobs, two processes/{names[name]}/{jobs}/real_time",
                        "real_time": seconds, "cpu_time": used, "MiB": peak,
                        "jobs_a_second": jobs / seconds})
        if name == "`-j 1`":
            entries[-1]["max_ratio"] = 1.0 / LEAST_GROWTH
    with open(path, "w", encoding="utf-8") as file:
        json.dump({"benchmarks": entries}, file)


def main():
    build = sys.argv[1] if len(sys.argv) > 1 else "build/tool"
    mfx = os.path.join(build, "tools/mfx/mfx")
    campaigns = os.path.join(build, "tools/accuracy/mfx_accuracy")
    jobs = subprocess.run([campaigns, "jobs", "scan_path", str(JOB_RUNS)], check=True,
                          capture_output=True).stdout.splitlines(keepends=True)
    load = os.getloadavg()[0]
    with tempfile.TemporaryDirectory() as folder:
        few = write(folder, "few", jobs)
        jobs *= 10
        whole = write(folder, "jobs", jobs)
        halves = [write(folder, f"half{i}", jobs[i::2]) for i in range(2)]
        best = best_in_turns({
            "`-j 1`": [[mfx, "batch", whole]],
            "`-j 2`": [[mfx, "batch", whole, "-j", "2"]],
            "two calls": [[mfx, "batch", half] for half in halves],
        })
        small = run([[mfx, "batch", few]])
    count = len(jobs)
    one = best["`-j 1`"]
    print("| batch | jobs | jobs/s | growth | processor time | largest resident memory of one |")
    print("|---|--:|--:|--:|--:|--:|")
    for name, (seconds, used, peak) in best.items():
        print(f"| {name} | {count} | {count / seconds:.0f} | {one[0] / seconds:.2f} "
              f"| {used / one[1]:.3f} | {peak:.1f} MiB |")
    print(f"| `-j 1`, a tenth of the lines | {count // 10} | {count / 10 / small[0]:.0f} | "
          f"| | {small[2]:.1f} MiB |")
    growth = one[0] / best["`-j 2`"][0]
    cores = len(os.sched_getaffinity(0))
    if load > BUSY or cores < 2:
        print(f"The machine was not idle with two cores: load {load:.2f} before the runs, {cores} "
              "cores. The growth tells nothing of the program.")
    if len(sys.argv) > 2:
        write_result(sys.argv[2], count, best)
    elif growth < LEAST_GROWTH:
        raise SystemExit(f"-j 2 is {growth:.2f} times as fast as -j 1, less than {LEAST_GROWTH}")


if __name__ == "__main__":
    main()
