#!/usr/bin/env python3
"""Makes docs/benchmarks.md: the words of bench/page.md around the figures of bench/runs.json.

usage: page.py add RESULT.json ...   keep these results as the newest run, and make the page
       page.py make                  make the page again, after its words have changed
       page.py check                 exit status 1 unless the page is what the two files make

A line "<!-- table PROGRAM ...: COUNTER ... -->" of page.md becomes the table of these programs; the
counters, of ours, get a column each. Times are those of the newest run that has the program; a ratio is
the range over all runs that are kept, of each program the newest two of every machine. "<!-- runs -->"
becomes the list of the runs.
"""

import json
import os
import re
import sys

from results import in_words, record, rows

HERE = os.path.dirname(os.path.abspath(__file__))
RUNS = os.path.join(HERE, "runs.json")
WORDS = os.path.join(HERE, "page.md")
PAGE = os.path.join(HERE, "..", "docs", "benchmarks.md")
KEPT = 2  # runs of a machine


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def write(path, text):
    """Whole or not at all."""
    with open(path + ".part", "w", encoding="utf-8") as file:
        file.write(text)
    os.replace(path + ".part", path)


def newest(runs):
    """The runs to keep, the newest last: of each program the newest ones of each machine."""
    kept = []
    seen = {}
    for run in reversed(runs):
        programs = {}
        for program, cases in run["programs"].items():
            key = (run["machine"], program)
            seen[key] = seen.get(key, 0) + 1
            if seen[key] <= KEPT:
                programs[program] = cases
        if programs:
            kept.insert(0, {**run, "programs": programs})
    return kept


def in_figures(value):
    if value >= 1e6:
        return f"{value / 1e6:.3g} million"
    return f"{value:,.0f}" if value >= 1000 else f"{value:.3g}"


def newest_with(runs, program):
    for run in reversed(runs):
        if program in run["programs"]:
            return run
    raise SystemExit(f"{WORDS} asks for {program}, which no run in {RUNS} has")


def ratio_of(run, program, case, size, peer):
    candidates = run["programs"].get(program, {}).get(f"{case}|{size}", {})
    if "ours" not in candidates or peer not in candidates:
        return None
    return candidates["ours"]["ns"] / candidates[peer]["ns"]


def range_of(values):
    low, high = f"{min(values):.2g}", f"{max(values):.2g}"
    return low if low == high else f"{low} to {high}"


def table(runs, programs, counters):
    lines = ["| case | size | ours | peer | its time | ratio | at most |"
             + "".join(f" {counter.replace('_', ' ')} |" for counter in counters),
             "|---|--:|--:|---|--:|--:|--:|" + "--:|" * len(counters)]
    for program in programs:
        run = newest_with(runs, program)
        for case, size, ours, name, peer in rows(run["programs"][program]):
            ratios = [ratio_of(run, program, case, size, name) for run in runs]
            ratios = [ratio for ratio in ratios if ratio is not None]
            limit = peer.get("max_ratio") if peer else None
            cells = [case, f"{int(size):,}" if size.isdigit() else size.replace("/", ", "),
                     in_words(ours["ns"]) if ours else "", name,
                     in_words(peer["ns"]) if peer else "", range_of(ratios) if ratios else "",
                     f"{limit:.3g}" if limit is not None else ""]
            cells += [in_figures(ours[c]) if ours and c in ours else "" for c in counters]
            lines.append("| " + " | ".join(cells) + " |")
    taken = {f"{run['date']}, load average {run['load']}"
             for run in (newest_with(runs, program) for program in programs)}
    return "\n".join(lines) + "\n\nTaken " + "; ".join(sorted(taken)) + "."


def page(runs):
    def fill(match):
        programs, _, counters = match.group(1).partition(":")
        return table(runs, programs.split(), counters.split())

    told = "\n".join(dict.fromkeys(f"- {run['date']}: {run['machine']}; transparent huge pages: "
                                   f"{run['huge_pages']}" for run in reversed(runs)))
    text = re.sub(r"<!-- table (.*?) -->", fill, read(WORDS))
    return text.replace("<!-- runs -->", told)


def main():
    command, *paths = sys.argv[1:] or [""]
    runs = json.loads(read(RUNS)) if os.path.exists(RUNS) else []
    if command == "add" and paths:
        runs = newest(runs + [record(paths)])
        write(RUNS, json.dumps(runs, indent=1, ensure_ascii=False) + "\n")
    elif command == "check" and not paths:
        if read(PAGE) != page(runs):
            raise SystemExit("docs/benchmarks.md is not what bench/page.py makes: "
                             "change bench/page.md, and run bench/page.py make")
        return
    elif command != "make" or paths:
        raise SystemExit(__doc__)
    write(PAGE, page(runs))


if __name__ == "__main__":
    main()
