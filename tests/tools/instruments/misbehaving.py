#!/usr/bin/env python3
"""Instruments that misbehave, one by each name: misbehaving.py NAME.

All look at a wall that leans a little, 2 m ahead. "good" does everything right; what else does
nothing worse than a real instrument stands under "harmless" below.
"""

import json
import math
import random
import sys
import time

WALL_DISTANCE = 2.0  # metres, along +Z


def measure(azimuth, elevation):
    """Range in metres and quality of what the beam meets."""
    cosine = math.cos(azimuth) * math.cos(elevation) + 0.1 * math.sin(azimuth)
    return WALL_DISTANCE / cosine, 90.0 * cosine


def cartesian(azimuth, elevation, range_):
    horizontal = math.cos(elevation) * range_
    return (-math.sin(azimuth) * horizontal, math.sin(elevation) * range_,
            math.cos(azimuth) * horizontal)


def sample(point, status):
    x, y, z = point
    azimuth = -math.atan2(x, z)
    elevation = math.atan2(y, math.hypot(x, z))
    return [azimuth, elevation, *measure(azimuth, elevation), status]


def shares_of(length, spacing):
    """Where on a move samples are taken, as shares of its length."""
    steps = max(1, round(length / spacing))
    return [i / steps for i in range(1, steps + 1)]


def drive(queue, spacing_of=lambda point: point[3], shares=shares_of):
    samples = []
    for status in range(1, len(queue)):
        start, end = cartesian(*queue[status - 1][:3]), cartesian(*queue[status][:3])
        spacing = spacing_of(queue[status])
        if spacing > 0.0:
            for share in shares(math.dist(start, end), spacing):
                point = [a + (b - a) * share for a, b in zip(start, end)]
                samples.append(sample(point, status))
    return samples


def say(text, end="\n"):
    sys.stdout.write(text + end)
    sys.stdout.flush()


def answer(samples, key="samples"):
    return json.dumps({key: samples})


class State:
    """What an instrument remembers from drive to drive."""
    drives = 0  # made before this one
    points = 0  # driven before this one
    last = []  # samples of the drive before


def each(change):
    """An instrument whose rows are changed one by one, given their number and the queue."""
    def act(queue, state):
        samples = drive(queue)
        for number, row in enumerate(samples):
            change(row, number, queue, state)
        say(answer(samples))
    return act


def whole(change):
    """An instrument whose list of samples is another one."""
    return lambda queue, state: say(answer(change(drive(queue))))


def text(change):
    """An instrument whose line is another one."""
    return lambda queue, state: say(change(answer(drive(queue))))


def other(**how):
    """An instrument that samples in another way."""
    return lambda queue, state: say(answer(drive(queue, **how)))


def scaled(factor):
    def change(row, *_):
        row[0] *= factor
        row[1] *= factor
    return change


def put(column, value):
    """A change of one column; `value` is given the row, its number, the queue and the state."""
    def change(row, *rest):
        row[column] = value(row, *rest)
    return each(change)


def reorder(*columns):
    return whole(lambda samples: [[row[c] for c in columns] for row in samples])


def swap(row, *_):
    row[0], row[1] = row[1], row[0]


def shuffle(samples):
    random.shuffle(samples)
    return samples


def to_cartesian(row, *_):
    row[0:3] = cartesian(*row[:3])


def copy_range(row, _, queue, __):
    row[2] = queue[row[4]][2]


def shift(row, *_):
    row[0] += 0.2
    row[1] -= 0.1


def wander(row, number, *_):
    row[1] += 0.004 * math.sin(number)


def rows_of_first(samples):
    return [row for row in samples if row[4] == samples[0][4]]


def lines_backwards(samples):
    result = []
    for status in sorted({row[4] for row in samples}):
        result += [row for row in reversed(samples) if row[4] == status]
    return result


def first_of_each(samples):
    return [row for i, row in enumerate(samples) if i < 5 or samples[i - 5][4] != row[4]]


def line_number(row, _, queue, __):
    return sum(1 for point in queue[:row[4]] if point[3] > 0.0)


def comma(line):
    return line.replace(".", ",").replace(", ", ";").replace(";", ",")


def late(queue, state):
    say(answer(state.last))


def buffered(queue, state):
    if state.drives == 0:
        sys.stdout = open(1, "w", buffering=1 << 20)
    sys.stdout.write(answer(drive(queue)) + "\n")


def slow(queue, state):
    time.sleep(5.0 if state.drives == 0 else 0.0)
    say(answer(drive(queue)))


def only_once(queue, state):
    say(answer(drive(queue)))
    sys.exit(0)


def banner(queue, state):
    if state.drives == 0:
        say("Laser ready, firmware 1.7\n\nCalibrated.")
    say(answer(drive(queue)))


def extra(queue, state):
    say(answer(drive(queue)))
    say('{"status": "idle"}')


def chatter(queue, state):
    while True:
        say('{"samples": []}')


def deaf(queue, state):
    say(answer(drive(queue)))
    if state.drives == 1:
        time.sleep(60)


def nothing(queue, state):
    pass


def on_wall(queue, state):
    global WALL_DISTANCE
    WALL_DISTANCE = 1.2
    say(answer(drive(queue, spacing_of=lambda point: point[3] * point[2] / WALL_DISTANCE)))


def jumps_too(point):
    return point[3] if point[3] > 0.0 else 0.005


MISBEHAVING = {
    "azimuth-mirrored": put(0, lambda row, *_: -row[0]),
    "elevation-mirrored": put(1, lambda row, *_: -row[1]),
    "angles-mirrored": each(scaled(-1.0)),
    "angles-swapped": each(swap),
    "azimuth-turned": put(0, lambda row, *_: row[0] % (2.0 * math.pi)),
    "zenith": put(1, lambda row, *_: 0.5 * math.pi - row[1]),
    "degrees": each(scaled(180.0 / math.pi)),
    "gons": each(scaled(200.0 / math.pi)),
    "milliradians": each(scaled(1000.0)),
    "degrees-driven": each(scaled(math.pi / 180.0)),
    "angles-doubled": each(scaled(2.0)),
    "angles-halved": each(scaled(0.5)),
    "angles-shifted": each(shift),
    "off-path": each(wander),
    "range-first": reorder(2, 0, 1, 3, 4),
    "range-second": reorder(0, 2, 1, 3, 4),
    "cartesian": each(to_cartesian),
    "range-millimetres": put(2, lambda row, *_: 1000.0 * row[2]),
    "range-constant": put(2, lambda *_: 2.0),
    "range-zero": put(2, lambda *_: 0.0),
    "range-negative": put(2, lambda row, *_: -row[2]),
    "range-absurd": put(2, lambda row, *_: row[2] / 1000.0),
    "range-copied": each(copy_range),
    "quality-zero": put(3, lambda *_: 0.0),
    "quality-fraction": put(3, lambda row, *_: row[3] / 100.0),
    "quality-too-large": put(3, lambda row, *_: row[3] * 40.0),
    "quality-negative": put(3, lambda row, *_: row[3] - 100.0),
    "quality-low": put(3, lambda row, *_: row[3] / 3.0),
    "status-from-one": put(4, lambda row, *_: row[4] + 1),
    "status-of-start": put(4, lambda row, *_: row[4] - 1),
    "status-zero": put(4, lambda *_: 0),
    "status-constant": put(4, lambda *_: 4),
    "status-goes-on": put(4, lambda row, _, __, state: row[4] + state.points),
    "status-of-lines": put(4, line_number),
    "status-of-samples": put(4, lambda _, number, *__: number),
    "status-beyond": put(4, lambda row, *_: 0x40000000 + row[4]),
    "status-negative": put(4, lambda row, *_: -row[4]),
    "status-mixed": put(4, lambda row, number, queue, _: number % len(queue)),
    "status-fraction": put(4, lambda row, *_: row[4] - 0.5),
    "status-null": put(4, lambda *_: None),
    "status-too-large": put(4, lambda row, *_: row[4] + 2 ** 40),
    "spacing-wide": other(spacing_of=lambda point: 2.0 * point[3]),
    "spacing-dense": other(spacing_of=lambda point: 0.5 * point[3]),
    "spacing-radians": other(spacing_of=lambda point: point[3] * point[2]),
    "spacing-degrees": other(spacing_of=lambda point: math.radians(point[3]) * point[2]),
    "spacing-on-wall": on_wall,
    "spacing-own": other(spacing_of=lambda point: 0.001 if point[3] > 0.0 else 0.0),
    "ends-alone": other(shares=lambda *_: [1.0]),
    "jump-sampled": other(spacing_of=jumps_too),
    "move-missing": whole(rows_of_first),
    "move-cut-short": other(shares=lambda *how: [s for s in shares_of(*how) if s < 0.5]),
    "order-reversed": whole(lambda samples: samples[::-1]),
    "lines-reversed": whole(lines_backwards),
    "order-shuffled": whole(shuffle),
    "samples-repeated": whole(lambda samples: [row for row in samples for _ in range(2)]),
    "few-samples": whole(first_of_each),
    "no-samples": whole(lambda samples: []),
    "late": late,
    "all-null": put(2, lambda *_: None),
    "nan-word": put(2, lambda row, number, *_: float("nan") if number == 7 else row[2]),
    "decimal-comma": text(comma),
    "row-too-short": reorder(0, 1, 2, 3),
    "row-too-long": reorder(0, 1, 2, 3, 4, 0),
    "row-object": whole(lambda samples: [{"azimuth": row[0], "elevation": row[1]}
                                         for row in samples]),
    "row-no-array": whole(lambda samples: ["%g %g %g %g %d" % tuple(row) for row in samples]),
    "row-no-number": put(3, lambda *_: True),
    "samples-flat": whole(lambda samples: [value for row in samples for value in row]),
    "number-as-text": whole(lambda samples: [[str(value) for value in row] for row in samples]),
    "wrong-key": lambda queue, state: say(answer(drive(queue), "points")),
    "missing-key": lambda queue, state: say('{"ok": true}'),
    "samples-no-array": lambda queue, state: say('{"samples": null}'),
    "line-array": lambda queue, state: say(json.dumps(drive(queue))),
    "line-no-object": lambda queue, state: say(str(len(drive(queue)))),
    "line-cut-off": text(lambda line: line[:1000]),
    "line-broken-up": lambda queue, state: say(json.dumps({"samples": drive(queue)}, indent=1)),
    "line-malformed": text(lambda line: line.replace("]]", "],]")),
    "line-no-json": lambda queue, state: say("OK"),
    "line-blank": lambda queue, state: say(""),
    "line-huge": lambda queue, state: say(answer(drive(queue) * 300)),
    "single-quotes": lambda queue, state: say(str({"samples": drive(queue)})),
    "not-utf8": lambda queue, state: (
        sys.stdout.buffer.write(answer(drive(queue))[:-1].encode() + b', "place": "M\xfcnchen"}\n'),
        sys.stdout.flush()),
    "byte-order-mark": text(lambda line: "\ufeff" + line),
    "says-error": lambda queue, state: say('{"error": "the cover is closed"}'),
    "banner": banner,
    "extra-line": extra,
    "slow": slow,
    "ended": only_once,
    "does-not-end": deaf,
    # Those that cannot be driven at all.
    "ended-at-once": lambda queue, state: sys.exit(3),
    "ended-in-answer": lambda queue, state: (say('{"samples": [[', end=""), sys.exit(3)),
    "silent": nothing,
    "buffered": buffered,
    "no-line-end": lambda queue, state: say(answer(drive(queue)), end=""),
    "chatter": chatter,
}


def noise(row, *_):
    row[0] += random.gauss(0.0, 1e-4)
    row[1] += random.gauss(0.0, 1e-4)
    row[2] += random.gauss(0.0, 1e-4)
    row[3] += random.gauss(0.0, 2.0)


def ramped(length, spacing):
    """Gaps that are 30 % short where a line begins and ends, and as much too wide in its middle."""
    shares, at = [], 0.0
    while at <= 1.0:
        shares.append(at)
        at += spacing / length * (1.0 - 0.3 * math.cos(2.0 * math.pi * at))
    return shares


def lost_as_null(row, number, *_):
    if number % 3 == 0:
        row[2], row[3] = None, 0.0


def noisy_log(queue, state):
    sys.stderr.write("drive of %d points\n" % len(queue) * 50)
    say(answer(drive(queue)))


def everything(queue, state):
    samples = drive(queue, shares=ramped)
    for row in samples:
        noise(row)
    say(answer([row for row in samples if random.random() < 0.5]))


HARMLESS = {
    "good": whole(lambda samples: samples),
    "noise": each(noise),
    "half-lost": whole(lambda samples: [row for row in samples if random.random() < 0.5]),
    "lost-as-null": each(lost_as_null),
    "ramps": other(shares=ramped),
    "start-and-end": other(shares=lambda *how: [0.0] + shares_of(*how)),
    "noise-ramps-half-lost": everything,
    "noise-on-standard-error": noisy_log,
    "carriage-returns": text(lambda line: line + "\r"),
    "blank-line-after": text(lambda line: line + "\n"),
    "blanks-and-other-keys": text(lambda line: '  {"time": [1, 2], ' + line[1:] + "  "),
    "whole-numbers-as-doubles": put(4, lambda row, *_: float(row[4])),
    "not-so-fast": lambda queue, state: (time.sleep(0.2), say(answer(drive(queue)))),
}


def main():
    random.seed(7)
    act = {**MISBEHAVING, **HARMLESS}[sys.argv[1]]
    state = State()
    for line in sys.stdin:
        queue = json.loads(line)["drive"]
        act(queue, state)
        state.last = drive(queue)
        state.drives += 1
        state.points += len(queue)


if __name__ == "__main__":
    main()
