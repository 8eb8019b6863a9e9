#!/usr/bin/env python3
"""Static analysis with clang-tidy of every source of the library, the rooms around it and mfx.

Most of the time of an analysis goes into what a source includes. So sources of which none changes what
another means (scripts/together.py) are analysed as one file that includes them, where their options
agree but for what they define and where they look for headers; where something is found in such a file,
or it does not compile, its sources are analysed one by one with their own options, and that counts.

usage: scripts/analyse.py BUILD   BUILD: a configured and built folder of clang++, build/asan
"""

import concurrent.futures
import json
import os
import re
import shlex
import subprocess
import sys

import together

MOST_IN_ONE = 64
ROOMS = re.compile(r" -o (CMakeFiles/mfx_objects\.dir|sim|host|report|uncertainty|inspection|tools)/")
# A file that CMake made of several sources, and what it holds.
UNITY = re.compile(r"/Unity/unity_\w+\.cxx$")
INCLUDED = re.compile(r'^#include "(.*)"', re.MULTILINE)


def sources_of(entry):
    """An entry of a compilation database as entries of single sources."""
    if not UNITY.search(entry["file"]):
        return [entry]
    with open(entry["file"], encoding="utf-8") as file:
        paths = INCLUDED.findall(file.read())
    return [entry | {"file": path, "command": entry["command"].replace(entry["file"], path)}
            for path in paths]


def options_of(entry):
    """The options of an entry as two sets: what it defines and where it looks, and all others.

    How far it is optimised is nothing to an analysis, and a precompiled header only spares time.
    """
    added, others = set(), set()
    words = iter(shlex.split(entry["command"].partition(" -o ")[0]))
    for word in words:
        if word == "-isystem":
            added.add((word, next(words)))
        elif word[:2] in ("-D", "-I"):
            added.add((word,))
        elif word[:2] != "-O" and "pch" not in word and word not in ("-Xclang", "-include"):
            others.add(word)
    return added, others


def definitions(added):
    """The macros that options define, each with its value."""
    return dict(words[0][2:].partition("=")[::2] for words in added if words[0].startswith("-D"))


def agree(group, added, others):
    """Whether a source with these options can be analysed with those of a group."""
    ours, theirs = definitions(added), definitions(group["added"])
    contradicted = any(theirs.get(name, value) != value for name, value in ours.items())
    return others == group["others"] and not contradicted


def groups_of(entries):
    """Entries of a compilation database, together where they can be one file."""
    groups = []
    for entry in entries:
        added, others = options_of(entry)
        source = together.Group(entry["file"])
        for group in groups:
            has_place = len(group["entries"]) < MOST_IN_ONE and agree(group, added, others)
            if has_place and group["names"].spares(source) and source.spares(group["names"]):
                group["names"].add(source)
                break
        else:
            group = {"entries": [], "names": source, "added": set(), "others": others}
            groups.append(group)
        group["entries"].append(entry)
        group["added"] |= added
    return groups


def command_for(group, file):
    """The command of a group's first entry with another source, and with what the others add."""
    first = group["entries"][0]
    words = [file if word == first["file"] else word for word in shlex.split(first["command"])]
    more = sorted(group["added"] - options_of(first)[0])
    # A name of one source shadows nothing in another; within each, the sanitized build has looked.
    return words[:1] + [word for option in more for word in option] + words[1:] + ["-Wno-shadow"]


def analyse(folder, sources):
    """clang-tidy on one file: whether it is sound, and what it says."""
    run = subprocess.run(["clang-tidy", "--quiet", "-p", folder, *sources],
                         stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, check=False)
    said = run.stdout + (run.stderr if "rror" in run.stderr else "")
    return run.returncode == 0, said


def main():
    build = os.path.abspath(sys.argv[1])
    work = os.path.join(build, "analysis")
    os.makedirs(work, exist_ok=True)
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as file:
        entries = [entry for listed in json.load(file) for entry in sources_of(listed)
                   if ROOMS.search(entry["command"]) and "cmake_pch" not in entry["file"]
                   and not entry["file"].startswith(build)]
    # Each source by itself, and below the files that hold several.
    database = list(entries)
    tasks = []
    # The largest first: at the end no core waits for another.
    groups = sorted(groups_of(entries), key=lambda group: -len(group["entries"]))
    for number, group in enumerate(groups):
        files = [entry["file"] for entry in group["entries"]]
        joined = os.path.join(work, f"sources_{number}.cpp")
        with open(joined, "w", encoding="utf-8") as file:
            file.writelines(f'#include "{name}"\n' for name in files)
        database.append({"directory": group["entries"][0]["directory"], "file": joined,
                         "arguments": command_for(group, joined)})
        tasks.append((joined, files))
    with open(os.path.join(work, "compile_commands.json"), "w", encoding="utf-8") as file:
        json.dump(database, file)

    def carry_out(task):
        joined, files = task
        sound, said = analyse(work, [joined])
        if sound:
            return sound, said
        results = [analyse(work, [name]) for name in files]
        return all(result[0] for result in results), "".join(result[1] for result in results)

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        results = list(pool.map(carry_out, tasks))
    for sound, said in results:
        if not sound:
            print(said)
    print(f"analyse: {len(entries)} sources in {len(tasks)} files, "
          f"{sum(1 for sound, _ in results if not sound)} of them with findings")
    return 0 if all(sound for sound, _ in results) else 1


if __name__ == "__main__":
    sys.exit(main())
