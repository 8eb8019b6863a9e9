#!/usr/bin/env python3
"""The demonstration's summary: nominal, measured and true values side by side, and one report.

usage: scripts/demo_summary.py FOLDER NAME ...

FOLDER holds NAME.json (the result) and NAME.html (the report) of each measurement; the request and
the scene are examples/requests/NAME.json and examples/scenes/NAME.json, or stand in examples/NAME.
The table goes to standard output, the joint report to FOLDER/report.html. The true values are read
from the scene: where the part stands and what its drawing says.
"""

import html
import json
import math
import pathlib
import re
import sys
import textwrap

ROOT = pathlib.Path(__file__).resolve().parent.parent
# Metric coarse threads of the examples: nominal diameter and pitch, mm.
PITCH = {"M8": (8, 1.25), "M10": (10, 1.5), "M12": (12, 1.75)}


def dot(a, b):
    return sum(x * y for x, y in zip(a, b))


def plus(a, b, factor=1.0):
    return [x + factor * y for x, y in zip(a, b)]


def unit(a):
    return [x / math.sqrt(dot(a, a)) for x in a]


def cross(a, b):
    return [a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]]


def place(values):
    return ", ".join(f"{1000 * v:.3f}" for v in values)


def direction(values):
    return ", ".join(f"{v:.4f}" for v in unit(values))


def millimetres(value):
    return f"{1000 * value:.3f}"


def without_comments(path):
    """The text of a scene, whose comments stand on lines of their own."""
    return re.sub(r"^\s*//.*$", "", path.read_text(), flags=re.M)


def files_of(name):
    """Request and scene of an example: in folders of their own kind, or both in a folder of its own."""
    examples = ROOT / "examples"
    if (examples / name).is_dir():
        return examples / name / "request.json", examples / name / "scene.json"
    return examples / f"requests/{name}.json", examples / f"scenes/{name}.json"


class Measurement:
    def __init__(self, folder, name):
        self.name = name
        request, scene = files_of(name)
        self.request = json.loads(request.read_text())
        self.scene = json.loads(without_comments(scene))
        self.result = json.loads((folder / f"{name}.json").read_text())
        self.report = (folder / f"{name}.html").read_text()
        self.feature = self.request["Feature"]
        self.part = self.scene["part"]
        self.position = self.scene["pose"]["position"]
        self.normal = unit(self.scene["pose"]["normal"])
        self.title = self.feature.get("Name") or self.feature["$type"]

    def true_place(self):
        """The true place; along a surface, a border or an axis the one beside the measured place."""
        measured = self.result["Location"]
        kind = self.part["type"]
        if kind == "plane":
            return plus(measured, self.normal, dot(plus(self.position, measured, -1), self.normal))
        if kind in ("stud", "bore"):
            return self.at_measured_height(self.position, self.normal)
        if kind == "edge":
            return self.true_edge(measured)
        return self.position

    def at_measured_height(self, foot, axis):
        """Where an axis passes the plane through the measured place, square to the nominal axis."""
        nominal = unit(self.feature["Axis"])
        height = dot(plus(self.result["Location"], foot, -1), nominal) / dot(axis, nominal)
        return plus(foot, axis, height)

    def true_edge(self, measured):
        """The border at the depth that the request agrees on, beside the measured place."""
        tangent = self.scene["pose"]["tangent"]
        outward = unit(plus(tangent, self.normal, -dot(tangent, self.normal)))
        step = plus(self.feature["EdgePoint"], self.feature["SurfacePoint"], -1)
        depth = -dot(step, unit(self.feature["SurfaceNormal"]))
        radius = self.part.get("fillet", 0.0)
        out = math.sqrt(radius**2 - (radius - depth) ** 2) - radius if depth < radius else 0.0
        corner = plus(plus(self.position, outward, out), self.normal, -depth)
        along = cross(self.normal, outward)
        return plus(corner, along, dot(plus(measured, corner, -1), along))

    def nominal_place(self):
        if "EdgePoint" in self.feature:
            return self.feature["EdgePoint"]
        if "Axis" in self.feature and "Height" in self.feature:
            return self.at_measured_height(self.feature["Location"], unit(self.feature["Axis"]))
        return self.feature["Location"]

    def true_sizes(self):
        """Name in the result and true value, metres. A hole's radius is its request's: left out."""
        drawing = self.part.get("opening", self.part)
        sizes = {}
        for key in ("Length", "Width", "Radius"):
            if key in self.result and self.feature["$type"] != "HoleFeature":
                sizes[key] = drawing.get(key.lower())
        if "thread" in self.part:  # the crests: outside on a stud, inside in a bore
            diameter, pitch = PITCH[self.part["thread"]]
            inward = 0.0 if self.part["type"] == "stud" else 5 / 8 * math.sqrt(3) * pitch
            sizes["Radius"] = (diameter - inward) / 2000
        return sizes

    def rows(self):
        """Quantity, nominal, measured, true: texts."""
        if self.result.get("ErrorMessage"):
            return [("not measured", "", self.result["ErrorMessage"], "")]
        if "Location" not in self.result:
            count = self.result.get("ScanData", {}).get("Count", 0)
            return [("samples", "", str(count), "")]
        rows = [("x, y, z", place(self.nominal_place()), place(self.result["Location"]),
                 place(self.true_place()))]
        for key in ("Normal", "Axis"):
            # A polygon's "Axis" points to its first corner.
            if key in self.result and not (key == "Axis" and "Sides" in self.result):
                true = [-v for v in self.normal] if self.part["type"] == "bore" else self.normal
                rows.append((key.lower(), direction(self.feature[key]),
                             direction(self.result[key]), direction(true)))
        for key, true in self.true_sizes().items():
            rows.append((key.lower(), millimetres(self.feature[key]),
                         millimetres(self.result[key]), millimetres(true)))
        rows += [("warning", "", text, "") for text in self.result.get("Warnings", [])]
        return rows


HEADS = ("feature", "quantity", "nominal", "measured", "true")


def all_rows(measurements):
    for measurement in measurements:
        for i, row in enumerate(measurement.rows()):
            yield (measurement.title if i == 0 else "", *row)


def text_table(measurements):
    table = [HEADS, *(row for row in all_rows(measurements) if row[1] != "warning")]
    widths = [max(len(row[i]) for row in table) for i in range(len(HEADS) - 1)] + [0]
    lines = ["  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip()
             for row in table]
    for measurement in measurements:
        for text in measurement.result.get("Warnings", []):
            lines += ["", *textwrap.wrap(f"{measurement.title}: warning: {text}", 100)]
    return "\n".join([lines[0], "-" * max(map(len, lines)), *lines[1:]])


def joint_report(measurements):
    def cells(tag, row):
        return "<tr>" + "".join(f"<{tag}>{html.escape(cell)}</{tag}>" for cell in row) + "</tr>\n"

    style = re.search(r"<style>.*?</style>", measurements[0].report, re.S).group(0)
    table = cells("th", HEADS) + "".join(cells("td", row) for row in all_rows(measurements))
    bodies = [re.search(r"<body>(.*)</body>", m.report, re.S).group(1) for m in measurements]
    sections = "".join(f"<section style=\"break-before: page\">\n{body}</section>\n<hr>\n"
                       for body in bodies)
    return (f"<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
            f"<title>One of each feature type</title>\n{style}\n</head>\n<body>\n"
            f"<h1>One of each feature type</h1>\n<p>Places and sizes in millimetres, directions as "
            f"unit vectors, in the instrument's frame.</p>\n<table class=\"list\">\n{table}</table>\n"
            f"<hr>\n{sections}</body>\n</html>\n")


def main(folder, names):
    folder = pathlib.Path(folder)
    measurements = [Measurement(folder, name) for name in names]
    print(text_table(measurements))
    (folder / "report.html").write_text(joint_report(measurements))


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    main(sys.argv[1], sys.argv[2:])
