#!/usr/bin/env python3
"""Measures what docs/scale.md computes from: what a recording costs to keep, to read and to answer.

usage: scripts/scale_figures.py [MFX] [--each N]

  MFX       the program (build/tool/tools/mfx/mfx)
  --each N  recordings of each feature type (5), from examples/requests and the virtual instrument

Prints the machine, a line for each type, what compression makes of the recordings, and what the first
start of mfx and a chunk of examples/cluster cost. Times are processor time, the least of three runs.
Calls are counted with strace where there is one. Takes some minutes.
"""
import argparse
import glob
import os
import platform
import re
import shutil
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
CLUSTER = f"{ROOT}/examples/cluster"
REPEATS = 3
PACKERS = [("gzip -6", "gzip -6 -c", "gzip -dc"), ("zstd -3", "zstd -q -3 -c", "zstd -q -dc"),
           ("zstd -19", "zstd -q -19 -c", "zstd -q -dc"), ("xz -6", "xz -6 -c", "xz -dc")]


def cost_of(command, **options):
    """Processor seconds, peak memory in bytes, and the output of a command."""
    process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, **options)
    output = process.stdout.read()
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"scale_figures: status {process.returncode} of {' '.join(command)}")
    return usage.ru_utime + usage.ru_stime, usage.ru_maxrss * 1024, output


def least(command, **options):
    runs = [cost_of(command, **options) for _ in range(REPEATS)]
    return min(run[0] for run in runs), max(run[1] for run in runs), runs[0][2]


def record(mfx, folder, each):
    """Makes the recordings. Returns for each type its name and its files."""
    types = {}
    for request in sorted(glob.glob(f"{ROOT}/examples/requests/*.json")):
        name = os.path.splitext(os.path.basename(request))[0]
        types[name] = []
        for seed in range(each):
            path = f"{folder}/{name}-{seed}.rec"
            status = subprocess.run(
                [mfx, "measure", request, "--scene", f"{ROOT}/examples/scenes/{name}.json",
                 "--seed", str(seed), "--scan-data", "none", "--check", "off", "--quiet",
                 "--record", path], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, cwd=ROOT,
                check=False).returncode
            if status not in (0, 1):
                sys.exit(f"scale_figures: cannot record {request}")
            types[name].append(path)
    return types


def write_jobs(folder, paths, times=1):
    """A file of jobs, each recording as often as told."""
    jobs = f"{folder}/jobs"
    with open(jobs, "w", encoding="utf-8") as file:
        for path in paths * times:
            file.write(f'{{"recording":"{path}"}}\n')
    return jobs


def calls_of(mfx, jobs):
    """How often each call of the system was made, by name."""
    with tempfile.NamedTemporaryFile("r") as table:
        subprocess.run(["strace", "-f", "-c", "-o", table.name, mfx, "batch", jobs],
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
        counts = {}
        for line in table.read().splitlines():
            match = re.match(r"\s*[\d.]+\s+[\d.]+\s+\d+\s+(\d+)\s+(?:\d+\s+)?(\w+)$", line)
            if match and match[2] != "total":
                counts[match[2]] = int(match[1])
    return counts


def mean(values):
    values = list(values)
    return sum(values) / len(values)


def pack_each(paths):
    packed = []
    for path in paths:
        with open(path + ".gz", "wb") as file:
            file.write(cost_of(["gzip", "-6", "-c", path])[2])
        packed.append(path + ".gz")
    return packed


def tell_types(mfx, folder, types):
    """Returns for each type the bytes and the seconds of a recording, as it is and as gzip."""
    print(f"{'type':15} {'kB':>7} {'kB gz':>7} {'ms':>7} {'ms gz':>7} {'answer kB':>10} {'with samples':>13}")
    figures = {}
    for name, paths in types.items():
        packed = pack_each(paths)
        times = max(1, 100 // len(paths))
        count = times * len(paths)
        seconds, _, answers = least([mfx, "batch", write_jobs(folder, paths, times)])
        unpacking, _, _ = least([mfx, "batch", write_jobs(folder, packed, times)])
        _, _, samples = cost_of([mfx, "replay", paths[0], "--scan-data", "json", "--quiet"])
        figures[name] = (mean(map(os.path.getsize, paths)), mean(map(os.path.getsize, packed)),
                         seconds / count, unpacking / count)
        size, small, plain, gzip = figures[name]
        print(f"{name:15} {size / 1e3:7.1f} {small / 1e3:7.1f} {plain * 1e3:7.2f} {gzip * 1e3:7.2f} "
              f"{len(answers) / count / 1e3:10.2f} {len(samples) / 1e3:13.1f}")
    return figures


def tell_calls(mfx, folder, paths):
    """Calls a recording: those of a batch, less those of half of it."""
    if shutil.which("strace") is None:
        print("no strace here: calls are not counted")
        return
    for ending in ("", ".gz"):
        files = [path + ending for path in paths]
        whole = calls_of(mfx, write_jobs(folder, files))
        half = calls_of(mfx, write_jobs(folder, files[::2]))
        more = len(files) - len(files[::2])
        print(f"calls a recording of all types{ending}:", ", ".join(
            f"{name} {(whole.get(name, 0) - half.get(name, 0)) / more:.1f}"
            for name in ("openat", "newfstatat", "read", "close", "write")))
    start = calls_of(mfx, os.devnull)
    print(f"calls of a start: {sum(start.values())}, of which {start.get('openat', 0)} open a file")


def tell_archive(figures):
    """What 1e9 recordings cost on 1,000 cores of this kind."""
    for mix, names in (("all types alike", list(figures)),
                       ("without threads", [name for name in figures
                                            if name not in ("stud", "threaded-hole")])):
        size, small, plain, gzip = (mean(figures[name][i] for name in names) for i in range(4))
        for form, volume, seconds in (("plain", size, plain), ("gzip", small, gzip)):
            hours = seconds * 1e9 / 1000 / 3600
            print(f"1e9 recordings, {mix}, {form}: {volume / 1e3:.0f} kB and {seconds * 1e3:.2f} ms each; "
                  f"{volume / 1e3:.0f} TB, {hours:.2f} h, {volume * 1000 / seconds / 1e9:.1f} GB/s, "
                  f"{1000 / seconds:.0f} files/s")


def tell_packing(folder, types):
    """Every recording by itself, and the recordings in one tar, all types alike."""
    paths = [path for files in types.values() for path in files]
    tar = f"{folder}/all.tar"
    subprocess.run(["tar", "-cf", tar, "-C", folder] + [os.path.basename(p) for p in paths], check=True)
    plain = sum(os.path.getsize(path) for path in paths)
    print(f"{len(paths)} recordings of all types alike, {plain / 1e6:.1f} MB")
    print(f"{'':10} {'each':>6} {'tar':>6} {'pack MB/s':>10} {'unpack MB/s':>12}")
    for name, pack, unpack in PACKERS:
        if shutil.which(name.split()[0]) is None:
            print(f"{name:10} is not installed")
            continue
        each = sum(len(cost_of(pack.split() + [path])[2]) for path in paths)
        packing, _, packed = cost_of(pack.split() + [tar])
        with open(f"{folder}/packed", "wb") as file:
            file.write(packed)
        runs = []
        for _ in range(REPEATS):
            with open(f"{folder}/packed", "rb") as file:
                runs.append(cost_of(unpack.split(), stdin=file)[0])
        print(f"{name:10} {plain / each:6.2f} {plain / len(packed):6.2f} {plain / packing / 1e6:10.1f} "
              f"{plain / min(runs) / 1e6:12.0f}")


def tell_memory(mfx, folder, types):
    for name in ("edge", "hole", "stud"):
        _, memory, _ = least([mfx, "batch", write_jobs(folder, types[name], 10)])
        print(f"memory of a process with {name} recordings: {memory / 1e6:.0f} MB")
    start, memory, _ = least([mfx, "batch", os.devnull])
    begin = time.monotonic()
    for _ in range(20):
        cost_of([mfx, "batch", os.devnull])
    print(f"a start without jobs: {start * 1e3:.1f} ms of a processor, "
          f"{(time.monotonic() - begin) / 20 * 1e3:.1f} ms, {memory / 1e6:.0f} MB")


def cut(paths, chunks, *options):
    """Makes one chunk of all recordings, which stand in one folder."""
    subprocess.run([f"{CLUSTER}/make_chunks.sh", *options, os.path.dirname(paths[0]), chunks,
                    str(len(paths))], check=True, stderr=subprocess.DEVNULL,
                   input="".join(os.path.basename(path) + "\n" for path in paths).encode())


def tell_chunks(mfx, folder, types):
    """What a chunk costs beside its answers, and a recording in a packed one beside its answer."""
    paths = [path for files in types.values() for path in files]
    one = f"{folder}/one"
    cut([types["edge"][0]], one)
    seconds = min(cost_of([f"{CLUSTER}/answer_chunk.sh", mfx, one, f"{folder}/answers-{run}",
                           "0000/0000"])[0] for run in range(REPEATS))
    print(f"a chunk with one edge: {seconds * 1e3:.0f} ms")
    if shutil.which("zstd") is None or not os.path.isdir("/dev/shm"):
        return
    packed = f"{folder}/packed-chunks"
    cut(paths, packed, "--pack")
    with tempfile.TemporaryDirectory(prefix="mfx-scale-", dir="/dev/shm") as scratch:
        unpack = f"zstd -dcq {packed}/0000/0000.tar.zst | tar -xf - -C {scratch}"
        seconds, _, _ = least(["sh", "-c", unpack])
    print(f"unpacking a chunk into memory: {seconds / len(paths) * 1e3:.2f} ms a recording of all types")


def tell_machine():
    model = "processor unknown"
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        for line in file:
            if line.startswith("model name"):
                model = line.split(":")[1].strip()
    print(f"{time.strftime('%Y-%m-%d', time.gmtime())}, {model}, {os.cpu_count()} processors, "
          f"{platform.system()} {platform.release()}, load {os.getloadavg()[0]:.1f}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("mfx", nargs="?", default=f"{ROOT}/build/tool/tools/mfx/mfx")
    parser.add_argument("--each", type=int, default=5)
    arguments = parser.parse_args()
    if arguments.each < 2:
        sys.exit("scale_figures: --each has to be 2 or more")
    if not os.access(arguments.mfx, os.X_OK):
        sys.exit(f"scale_figures: there is no program {arguments.mfx}")
    mfx = os.path.realpath(arguments.mfx)
    tell_machine()
    with tempfile.TemporaryDirectory(prefix="mfx-scale-") as folder:
        types = record(mfx, folder, arguments.each)
        figures = tell_types(mfx, folder, types)
        tell_archive(figures)
        # In turns, so that every second one of them holds all types alike.
        tell_calls(mfx, folder, [path for one in zip(*types.values()) for path in one for _ in "ab"])
        tell_memory(mfx, folder, types)
        tell_chunks(mfx, folder, types)
        tell_packing(folder, types)


if __name__ == "__main__":
    main()
