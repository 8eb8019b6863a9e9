#!/usr/bin/env python3
"""An instrument for `mfx measure --instrument`: a flat wall, 2 m ahead, seen without noise.

README.md beside this file tells the lines that go over the pipe. Only `measure` knows the wall.
"""

import json
import math
import sys

WALL_DISTANCE = 2.0  # metres, along +Z


def measure(azimuth, elevation):
    """Range in metres and quality of what the beam meets; None when nothing comes back."""
    towards_wall = math.cos(azimuth) * math.cos(elevation)
    if towards_wall < 0.05:  # grazing, or away from the wall
        return None
    return WALL_DISTANCE / towards_wall, 100.0 * towards_wall


def cartesian(azimuth, elevation, range_):
    horizontal = math.cos(elevation) * range_
    return (-math.sin(azimuth) * horizontal, math.sin(elevation) * range_,
            math.cos(azimuth) * horizontal)


def drive(queue):
    """Walks straight from drive point to drive point and samples at each move's spacing."""
    samples = []
    previous = None
    for status, (azimuth, elevation, range_, spacing) in enumerate(queue):
        if previous is not None and spacing > 0.0:
            start = cartesian(*previous)
            end = cartesian(azimuth, elevation, range_)
            steps = max(1, round(math.dist(start, end) / spacing))
            for i in range(1, steps + 1):
                x, y, z = (a + (b - a) * i / steps for a, b in zip(start, end))
                # The branch of the drive point: a path that goes on beyond pi is answered there.
                turns = round((azimuth - -math.atan2(x, z)) / (2.0 * math.pi))
                az = -math.atan2(x, z) + 2.0 * math.pi * turns
                el = math.atan2(y, math.hypot(x, z))
                seen = measure(az, el)
                if seen is not None:
                    samples.append([az, el, seen[0], seen[1], status])
        previous = (azimuth, elevation, range_)
    return samples


def main():
    for line in sys.stdin:
        try:
            answer = {"samples": drive(json.loads(line)["drive"])}
        except (ValueError, KeyError, TypeError) as fault:
            answer = {"error": f"cannot drive this: {fault}"}
        print(json.dumps(answer), flush=True)


if __name__ == "__main__":
    main()
