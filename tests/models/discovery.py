# SPDX-License-Identifier: GPL-2.0-or-later
"""The discovery of daylight-saving time: from a list of changes to the decision."""

import collections
import dataclasses
import re

from tests.models.find_time import Finder
from tests.models.local_times import file_zone, year_start
from tests.models.zone_dump import MONTHS
from tests.models.zone_files import ZONES, read_file

# What is held of the list.
LINES = 8
LINE_BYTES = 255

NORTHERN = b"--------location in Northern and in dst time \r\n"
SOUTHERN = b"location in Southern and in dst time "

HALF = "weekday month day hour minute second year"
Half = collections.namedtuple("Half", HALF)
# In the order in which a line is read; %d and %s, each with what must stand before it.
READ = [("", "name")]
for start, half_name in (("", "ut "), (" UT =", "local ")):
    for item in HALF.split():
        before = ":" if item in ("minute", "second") else start if item == "weekday" else ""
        READ.append((before, half_name + item))
READ += [("", "abbreviation"), (" isdst=", "flag"), (" gmtoff=", "offset")]
WORDS = re.compile(r"name|.*weekday|.*month|abbreviation")


def read_line(line, items):
    """Changes the items that the line has, up to the first that it hasn't; returns how
    many it has."""
    at = 0
    for number, (before, item) in enumerate(READ):
        # A blank stands for any number of them.
        pattern = "".join(r"\s*" if c == " " else re.escape(c) for c in before)
        pattern += r"\s*(\S+)" if WORDS.fullmatch(item) else r"\s*([-+]?\d+)"
        found = re.compile(pattern).match(line, at)
        if not found:
            return number
        items[item] = found[1] if WORDS.fullmatch(item) else int(found[1])
        at = found.end()
    return len(READ)


# Both times were read.
ENOUGH = 1 + 2 * len(HALF.split())


def lines_of(dump):
    """What is held of a file: long lines are several."""
    held = []
    for line in dump.splitlines(keepends=True):
        held += [line[i:i + LINE_BYTES] for i in range(0, len(line), LINE_BYTES)]
    return held[:LINES]


# The rule leaves open with which daylight flag a bound is read.  Decided here: the
# conversion says (-1), and where the process's zone skips the bound it is standard
# time (0).
FLAGS_TRIED = (-1, 0)
NO_INSTANT = -1


def instant_of(half, finder):
    month = MONTHS.index(half.month[:3]) if half.month[:3] in MONTHS else 12
    for dst in FLAGS_TRIED:
        instant = finder.instant(half.year, month, *half[2:6], dst)
        if instant is not None:
            return instant
    return NO_INSTANT


def bounds(lines, finder):
    """(U0, L0), (U1, L1), ... of lines 2 to 5; None when none of them is a change."""
    items = dict.fromkeys((item for _, item in READ), 0)
    for item in items:
        if WORDS.fullmatch(item):
            items[item] = ""
    read, found = 0, []
    for line in (lines + [""] * LINES)[2:6]:
        read = max(read, read_line(line, items))
        found.append([])
        for name in ("ut ", "local "):
            half = Half(*(items[name + item] for item in HALF.split()))
            found[-1].append(instant_of(half, finder))
    return found if read >= ENOUGH else None


def mentions_first(lines, year):
    """Whether line 2 is the first change of the year, by the digits in the lines."""
    text = str(year)
    return not (text in lines[0] or len(lines) == 1 or text in lines[1] or
                (len(lines) > 2 and text not in lines[2]))


def decide(found, now):
    (u0, l0), (_, l1), (u2, _), _ = found
    if l0 > l1:
        return (0, b"") if u0 <= now <= u2 else (1, SOUTHERN)
    return (1, NORTHERN) if u0 < now < u2 else (0, b"")


def types_of(name, zone):
    """(offset, dst) of all types and of those that transitions use: first the rule's,
    which comes after the table."""
    types, transitions, _ = read_file(ZONES / name)
    plain = [(offset, dst) for offset, dst, _, _ in types]
    used = [plain[kind] for _, kind in reversed(transitions)]
    # A rule's two, as they are in force in some far year.
    rule = {zone.look(year_start(2500) + day * 86400)[:2] for day in range(366)}
    if len(rule) == 2:
        rule = sorted(rule, key=lambda kind: kind[1])
        plain += rule
        used = rule + used
    return plain, list(dict.fromkeys(used))


def finder_of(name):
    zone = file_zone(name)
    return Finder(zone, *types_of(name, zone))


@dataclasses.dataclass
class Verdict:
    """What a list of a year says; bounds are None without a change in the year."""

    lines: list
    found: list

    @property
    def bounds(self):
        return (self.found[0][0], self.found[2][0]) if self.found else None

    def result(self, now):
        return decide(self.found, now)[0] if self.found else 0

    def output(self, now):
        return shown_of(self.lines) + (decide(self.found, now)[1] if self.found else b"")


def shown_of(lines):
    """What is printed of the lines that are looked at."""
    return b"".join(f"acDstDump[{number}]: {line}\r\n".encode() for number, line in enumerate(lines))


def judge(dump, year, finder):
    """What a list says, read as local times of the process's own zone."""
    lines = lines_of(dump.decode())
    return Verdict(lines, bounds(lines, finder) if lines and mentions_first(lines, year) else None)
