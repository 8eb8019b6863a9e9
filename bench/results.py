"""What the benchmark programs measured: read from their JSON output, and kept for the page.

README.md in this folder tells how cases and peers are named. Every time is the processor time of the
quickest repetition (the clock's, where a benchmark asks for it): what disturbs a run can only add.
"""

import json
import os
import platform
import time

SCALE = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
# What an entry holds besides its counters.
FIELDS = {"name", "run_name", "run_type", "family_index", "per_family_instance_index", "repetitions",
          "repetition_index", "threads", "iterations", "real_time", "cpu_time", "time_unit",
          "items_per_second", "bytes_per_second", "label", "error_occurred", "error_message"}


def read(path):
    """{"case|size": {candidate: {"ns": time, "max_ratio": limit, counter: value, ...}}} of one
    program, in the order of its cases."""
    cases = {}
    with open(path, encoding="utf-8") as file:
        entries = json.load(file)["benchmarks"]
    # The repetitions ran in turns at random.
    entries.sort(key=lambda entry: (entry.get("family_index", 0),
                                    entry.get("per_family_instance_index", 0)))
    for entry in entries:
        if entry.get("run_type") != "iteration":
            continue
        if entry.get("error_occurred"):
            raise SystemExit(f"{entry['name']}: {entry['error_message']}")
        case, candidate, *rest = entry["run_name"].split("/") + [""]
        size = "/".join(part for part in rest if part.isdigit())
        by_the_clock = "real_time" in rest or "manual_time" in rest
        nanoseconds = entry["real_time" if by_the_clock else "cpu_time"] * SCALE[entry["time_unit"]]
        candidates = cases.setdefault(f"{case}|{size}", {})
        if candidate in candidates and candidates[candidate]["ns"] <= nanoseconds:
            continue
        counters = {key: value for key, value in entry.items() if key not in FIELDS}
        candidates[candidate] = {"ns": nanoseconds, **counters}
    return cases


def rows(cases):
    """(case, size, ours, peer's name, peer) of each pair; ours or the peer is None where there is no
    such candidate."""
    for key, candidates in cases.items():
        case, size = key.split("|")
        peers = dict(candidates)
        ours = peers.pop("ours", None)
        for name, peer in peers.items() or [("", None)]:
            yield case, size, ours, name, peer


def in_words(nanoseconds):
    for unit, scale in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= scale:
            return f"{nanoseconds / scale:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def machine():
    """The processor, its cores and memory, as the system names them."""
    model = platform.processor() or platform.machine()
    try:
        with open("/proc/cpuinfo", encoding="utf-8") as file:
            lines = [line.split(":", 1)[1].strip() for line in file if line.startswith("model name")]
        model = lines[0] if lines else model
    except OSError:
        pass
    try:
        gib = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
        return f"{model}, {os.cpu_count()} cores, {gib:.0f} GiB"
    except (OSError, ValueError):
        return f"{model}, {os.cpu_count()} cores"


def huge_pages():
    """Whether the system gives huge pages without being asked, as its own file tells."""
    try:
        with open("/sys/kernel/mm/transparent_hugepage/enabled", encoding="utf-8") as file:
            return file.read().split("[")[1].split("]")[0]
    except (OSError, IndexError):
        return "unknown"


def record(paths):
    """One run as bench/runs.json keeps it; the programs go by the names of their files."""
    programs = {os.path.splitext(os.path.basename(path))[0]: read(path) for path in paths}
    return {"machine": machine(), "date": time.strftime("%Y-%m-%d", time.gmtime()),
            "load": round(os.getloadavg()[0], 1), "huge_pages": huge_pages(), "programs": programs}
