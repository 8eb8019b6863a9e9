#!/usr/bin/env python3
"""Which sources can be compiled as one file that includes them all.

What a source keeps to itself, in an unnamed namespace, as a constant or as a macro, it may name as it
likes. So two sources share a file only where no word of the one, the project's headers that it
includes among them, is a private name of the other: neither can change what the other means.

usage: scripts/together.py MOST SOURCE...   MOST: how many sources a file has at most
Prints a line a source, "GROUP SOURCE", with the number of its group; a source that stays alone has none.
"""

import functools
import os
import re
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
# Where a source looks for the project's headers, beside its own folder.
FOLDERS = [os.path.join(ROOT, name) for name in ("", "include", "src", "tests/support", "tools/mfx")]
DECLARED = re.compile(
    r"^(?:(?:enum class|class|struct|enum|using) (\w+)\b(?!::)|.*?\b(\w+)\s*(?:\(|=|\{|\[|;))")
PARAMETERS = re.compile(r"^template <(?:[^<>]|<[^<>]*>)*> ?")
# What stands where a name would. A test has its name in the parentheses, another in each source.
NO_NAME = re.compile(r"(TYPED_)?TEST(_[FP]|_SUITE)?|RC_GTEST_PROP|INSTANTIATE_TEST_SUITE_P|"
                     r"static_assert|return|class|struct|bool|operator")
# Beyond those: constants, of which a line may declare several, static functions, macros, and the types
# in functions.
ALSO_INTERNAL = re.compile(r"^(?:static|constexpr|const) [^(]*?\b(\w+)\s*(?:=|\{|\[|;)|"
                           r", (k[A-Z]\w*) = |"
                           r"^static [^(]*?\b(\w+)\(|"
                           r"^\s*#\s*define (\w+)|"
                           r"^ +(?:using|struct|class|enum class) (\w+) (?:=|\{)")
NAMESPACE = re.compile(r"^namespace ([\w:]+) \{", re.MULTILINE)
INCLUDE = re.compile(r'^\s*#\s*include [<"]([^>"]+)[>"]', re.MULTILINE)
# What a source says at its outermost level about names that stand elsewhere.
USING = re.compile(r"^using (namespace )?([^;]*);", re.MULTILINE)
# What is no word of a source: comments, texts, members of what stands before them, and what belongs to
# others.
ASIDE = re.compile(r'//[^\n]*|"(?:[^"\\\n]|\\.)*"|(?:\.|->)\s*\w+|'
                   r"\b(?:std|Eigen|nlohmann|testing)::\w+")
WORD = re.compile(r"\b[A-Za-z_]\w*")


@functools.cache
def text_of(path):
    with open(path, encoding="utf-8") as source:
        return source.read()


def private_names(path):
    """What a source declares at the outermost level of its unnamed namespaces, and its main."""
    names = set()
    inside = False
    for line in text_of(path).splitlines(keepends=True):
        if line.startswith("namespace {"):
            inside = True
        elif line.startswith("}  // namespace\n"):
            inside = False
        elif line.startswith("int main("):
            names.add("main")
        elif inside and line[:1].isalpha() and not line.startswith("using "):
            match = DECLARED.match(PARAMETERS.sub("", line))
            names.update(name for name in (match.groups() if match else ()) if name)
    return {name for name in names if not NO_NAME.fullmatch(name)}


def internal_names(path):
    """All names that mean something in this source only."""
    found = (ALSO_INTERNAL.findall(line) for line in text_of(path).splitlines())
    return private_names(path) | {name for rows in found for names in rows for name in names if name}


@functools.cache
def header_at(name, folder):
    """The project's header that a source in a folder includes by a name, or None."""
    for place in (folder, *FOLDERS):
        path = os.path.normpath(os.path.join(place, name))
        if path.startswith(ROOT + os.sep) and os.path.isfile(path):
            return path
    return None


@functools.cache
def headers_of(path):
    """The project's headers that a file includes itself."""
    found = (header_at(name, os.path.dirname(path)) for name in INCLUDE.findall(text_of(path)))
    return frozenset(header for header in found if header)


def all_headers(path):
    """The project's headers that a source includes, in however many steps."""
    reached, waiting = set(), [path]
    while waiting:
        more = headers_of(waiting.pop()) - reached
        reached |= more
        waiting.extend(more)
    return reached


@functools.cache
def own_words(path):
    return frozenset(WORD.findall(ASIDE.sub(" ", text_of(path))))


def last_of(name):
    return name.rpartition("::")[2]


class Group:
    """Sources that share a file, at first one."""

    def __init__(self, path):
        self.paths = [path]
        text = text_of(path)
        # The private names by the namespace that can see them, the words of headers by theirs.
        self.names = {space: internal_names(path) for space in NAMESPACE.findall(text)[:1] or [""]}
        self.words = set(own_words(path))
        self.header_words = {}
        for header in all_headers(path):
            for space in NAMESPACE.findall(text_of(header)) or [""]:
                self.header_words.setdefault(space, set()).update(own_words(header))
        self.spaces = {*NAMESPACE.findall(text), *self.header_words}
        said = USING.findall(text)
        self.opened = {name for opens, name in said if opens}
        self.aliases = {last_of(name.partition(" =")[0]): name
                        for opens, name in said if not opens}

    def spares(self, other):
        """Whether what this one names changes nothing that the other means."""
        for space, names in self.names.items():
            seen = [words for inner, words in other.header_words.items()
                    if (inner + "::").startswith(space + "::") or not space]
            words = other.words.union(*seen)
            if not names.isdisjoint(words):
                return False
            for name, said in self.aliases.items():
                if other.aliases.get(name, "" if "=" in said and name in words else said) != said:
                    return False
        # A namespace inside another hides one of the same name outside.
        known = {last_of(space) for space in other.spaces} & other.words
        if any(last_of(space) in known for space in self.spaces - other.spaces):
            return False
        return self.opened == other.opened

    def add(self, other):
        self.paths += other.paths
        self.words |= other.words
        self.aliases |= other.aliases
        self.spaces |= other.spaces
        for mine, more in ((self.names, other.names), (self.header_words, other.header_words)):
            for space, words in more.items():
                mine[space] = mine.get(space, set()) | words


def groups_of(paths, most):
    """The sources in groups of at most `most`, the first that has a place for a source taking it."""
    groups = []
    for source in map(Group, sorted(paths)):
        for group in groups:
            if len(group.paths) < most and group.spares(source) and source.spares(group):
                group.add(source)
                break
        else:
            groups.append(source)
    return [group.paths for group in groups]


def main():
    for number, paths in enumerate(groups_of(sys.argv[2:], int(sys.argv[1]))):
        if len(paths) > 1:
            for path in paths:
                print(number, path)


if __name__ == "__main__":
    main()
