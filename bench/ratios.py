#!/usr/bin/env python3
"""Prints the table of ratios from the JSON output of the benchmark programs.

usage: ratios.py RESULT.json ...

README.md in this folder tells how cases and peers are named. Every time is the processor time of the
quickest repetition (the clock's, where a benchmark asks for it): what disturbs a run can only add.
"""

import json
import sys


def read(paths):
    """{(case, size): {candidate: (nanoseconds, max_ratio or None)}}, in the order of the files."""
    cases = {}
    scale = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
    for path in paths:
        with open(path, encoding="utf-8") as file:
            entries = json.load(file)["benchmarks"]
        for entry in entries:
            if entry.get("run_type") != "iteration":
                continue
            if entry.get("error_occurred"):
                raise SystemExit(f"{entry['name']}: {entry['error_message']}")
            case, candidate, *rest = entry["run_name"].split("/") + [""]
            size = "/".join(part for part in rest if part.isdigit())
            by_the_clock = "real_time" in rest or "manual_time" in rest
            time = entry["real_time" if by_the_clock else "cpu_time"] * scale[entry["time_unit"]]
            candidates = cases.setdefault((case, size), {})
            best = min(time, candidates.get(candidate, (time, None))[0])
            candidates[candidate] = (best, entry.get("max_ratio"))
    return cases


def in_words(nanoseconds):
    for unit, scale in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if nanoseconds >= scale:
            return f"{nanoseconds / scale:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def main():
    rows = []
    missed = 0
    for (case, size), candidates in read(sys.argv[1:]).items():
        ours = candidates.pop("ours", None)
        for peer, (time, limit) in candidates.items() or [("", (None, None))]:
            row = [case, size, in_words(ours[0]) if ours else "", peer,
                   in_words(time) if time is not None else "", "", "", ""]
            if ours and time:
                ratio = ours[0] / time
                row[5] = f"{ratio:.3g}"
                if limit is not None:
                    row[6] = f"{limit:g}"
                    row[7] = "" if ratio <= limit else "MISSED"
                    missed += ratio > limit
            rows.append(row)
    head = ["case", "size", "ours", "peer", "its time", "ratio", "at most", ""]
    widths = [max(len(row[i]) for row in [head, *rows]) for i in range(len(head))]
    for row in [head, ["-" * width for width in widths], *rows]:
        print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())
    if missed:
        raise SystemExit(f"{missed} of the ratios above exceed what they are held to")


if __name__ == "__main__":
    main()
