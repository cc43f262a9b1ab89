# SPDX-License-Identifier: GPL-2.0-or-later
"""Compiled zone files: the machine's, and some of one's own."""

import pathlib
import re

ZONES = pathlib.Path("/usr/share/zoneinfo")

# Characters that the engine keeps in an abbreviation.
ODD_CHARACTER = re.compile(r"[^a-zA-Z0-9 :+\-._]")


def clean(abbreviation):
    return ODD_CHARACTER.sub("_", abbreviation)[:16]


def contents_of(path):
    try:
        data = path.read_bytes()
    except OSError:
        return b""
    return data if data[:4] == b"TZif" else b""


def zone_files():
    """Names by distinct contents, without those that count leap seconds."""
    seen = {}
    for path in sorted(ZONES.rglob("*")):
        name = str(path.relative_to(ZONES))
        if path.is_file() and not path.is_symlink() and not name.startswith("right/"):
            data = contents_of(path)
            if data and data not in seen.values():
                seen[name] = data
    return seen


def block(types, transitions, names):
    """A version-2 file with only a 64-bit block of weight."""
    def header(times, kinds, characters):
        return b"TZif2" + bytes(15) + b"".join(
            n.to_bytes(4, "big") for n in (0, 0, 0, times, kinds, characters))
    data = header(0, 1, 1) + bytes(6) + b"\0" + header(len(transitions), len(types), len(names))
    data += b"".join(when.to_bytes(8, "big", signed=True) for when, _ in transitions)
    data += bytes(kind for _, kind in transitions)
    data += b"".join(offset.to_bytes(4, "big", signed=True) + bytes((dst, index))
                     for offset, dst, index in types)
    return data + names + b"\n\n"


def rule_file(rule):
    """A file whose footer says everything, for zoneinfo to read a TZ string."""
    return block([(0, 0, 0)], [], b"UTC\0")[:-1] + rule.encode() + b"\n"


def transitions_of(data):
    """The 64-bit transition times of a file."""
    def header(at):
        return [int.from_bytes(data[at + 20 + 4 * i:at + 24 + 4 * i], "big") for i in range(6)]
    isut, isstd, leaps, times, types, characters = header(0)
    second = 44 + times * 5 + types * 6 + characters + leaps * 8 + isstd + isut
    times = header(second)[3]
    start = second + 44
    return [int.from_bytes(data[start + 8 * i:start + 8 * i + 8], "big", signed=True)
            for i in range(times)]


def read_file(path):
    """Types (offset, dst, abbreviation, by UT or not), transitions and leap seconds of
    the 64-bit block."""
    data = path.read_bytes()

    def number(at, size):
        return int.from_bytes(data[at:at + size], "big", signed=True)

    def counts(at):
        return [number(at + 20 + 4 * i, 4) for i in range(6)]

    isut, isstd, leaps, times, kinds, characters = counts(0)
    at = 44 + times * 5 + kinds * 6 + characters + leaps * 8 + isstd + isut
    isut, isstd, leaps, times, kinds, characters = counts(at)
    at += 44
    transitions = [(number(at + 8 * i, 8), data[at + 8 * times + i]) for i in range(times)]
    at += 9 * times
    names = data[at + 6 * kinds:at + 6 * kinds + characters]
    ut_at = at + 6 * kinds + characters + 12 * leaps + isstd
    types = []
    for i in range(kinds):
        start = data[at + 6 * i + 5]
        name = names[start:names.index(b"\0", start)].decode()
        types.append((number(at + 6 * i, 4), data[at + 6 * i + 4], clean(name),
                      isut and data[ut_at + i]))
    at += 6 * kinds + characters
    return types, transitions, [(number(at + 12 * i, 8), number(at + 12 * i + 8, 4))
                                for i in range(leaps)]
