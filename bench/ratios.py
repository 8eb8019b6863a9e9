#!/usr/bin/env python3
"""Prints the table of ratios from the JSON output of the benchmark programs.

usage: ratios.py RESULT.json ...

The exit status is 1 when a ratio is above what it is held to.
"""

import sys

from results import in_words, read, rows

HEAD = ["case", "size", "ours", "peer", "its time", "ratio", "at most", ""]


def main():
    table = []
    missed = 0
    for path in sys.argv[1:]:
        for case, size, ours, name, peer in rows(read(path)):
            row = [case, size, in_words(ours["ns"]) if ours else "", name,
                   in_words(peer["ns"]) if peer else "", "", "", ""]
            if ours and peer:
                ratio, limit = ours["ns"] / peer["ns"], peer.get("max_ratio")
                row[5] = f"{ratio:.3g}"
                if limit is not None:
                    row[6] = f"{limit:g}"
                    row[7] = "" if ratio <= limit else "MISSED"
                    missed += ratio > limit
            table.append(row)
    widths = [max(len(row[i]) for row in [HEAD, *table]) for i in range(len(HEAD))]
    for row in [HEAD, ["-" * width for width in widths], *table]:
        print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())
    if missed:
        raise SystemExit(f"{missed} of the ratios above exceed what they are held to")


if __name__ == "__main__":
    main()
