# SPDX-License-Identifier: GPL-2.0-or-later
"""The zone dump: a walk and a bisection, step by step, through a zone's local times."""

import collections

from tests.models.local_times import HIGHEST, LOWEST, UTC, fields_of, file_zone, rule_zone, year_start
from tests.models.zone_files import ZONES

# dump is None when there is no file.
Answer = collections.namedtuple("Answer", "result dump output errors slept")

DAY = 86400
STEP = DAY // 2
# From here on a step would leave the 64 bits.
LAST_STEP = HIGHEST - STEP

# A name and the blanks after it are cut to this.
LONGEST_NAME_TEXT = 255

DAYS = ("Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun")
MONTHS = ("Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec")


def time_text(found):
    if found is None:
        return "NULL"
    here, year, second = fields_of(found[0], found[4])
    return (f"{DAYS[here.weekday()]} {MONTHS[here.month - 1]}{here.day:3d} "
            f"{here.hour:02d}:{here.minute:02d}:{second:02d} {year}")


def differ(early, late, distance):
    """Whether local time changed between two conversions."""
    if early is None or late is None:
        return early is not late
    return late[0] - early[0] != distance or late[1:3] != early[1:3]


def changes(zone, low, high):
    """The first seconds after a change: a walk in steps of 12 hours."""
    convert = zone.convert
    t = max(low, LOWEST + DAY)
    here = convert(t)
    while t < high:
        newt = min(t + STEP, high) if t < LAST_STEP else high
        there = convert(newt)
        if differ(here, there, newt - t):
            while newt - t >= 2:
                middle = t + (newt - t) // 2
                found = convert(middle)
                if differ(here, found, middle - t):
                    newt, there = middle, found
                else:
                    t, here = middle, found
            yield newt
        t, here = newt, there


def reason_to_warn(abbreviation):
    if not all(c.isascii() and c.isalnum() or c in "-+" for c in abbreviation):
        return "has characters other than ASCII alphanumerics, '-' or '+'"
    if len(abbreviation) < 3:
        return "has fewer than 3 characters"
    if len(abbreviation) > 6:
        return "has more than 6 characters"
    return None


def failure(name, reason):
    """In a zone's place: what the system says of a zone that does not exist."""
    return f"{name}: {reason}\n"


class Model:
    """Keeps, as the dump does, whether there was a warning."""

    def __init__(self):
        self.warned = False

    def name_text(self, name):
        return f"{name:{self.width}}  "[:LONGEST_NAME_TEXT]

    def line(self, name, text, found):
        self.lines.append(text)
        if found is None or not found[2] or self.warned:
            return
        reason = reason_to_warn(found[2])
        if reason:
            self.errors += f'(null): warning: zone "{name}" abbreviation "{found[2]}" {reason}\n'
            self.warned = True

    def verbose(self, name, zone, t):
        found = zone.convert(t)
        ut = UTC.convert(t)
        text = self.name_text(name) + (str(t) if ut is None else time_text(ut) + " UT")
        text += " = " + time_text(found)
        if found is not None:
            text += f" {found[2]}" if found[2] else ""
            text += f" isdst={found[1]} gmtoff={found[3]}"
        self.line(name, text, found)

    def plain(self, name, zone, now):
        found = zone.convert(now)
        text = self.name_text(name) + time_text(found)
        if found is not None and found[2]:
            text += f" {found[2]}"
        self.line(name, text, found)

    def run(self, zones, span=None, now=None):
        """zones  (name, zone or failure); span  the first seconds, or None for `now` only"""
        self.lines, self.errors = [], ""
        self.width = max((len(name) for name, _ in zones), default=0)
        result = 0
        for name, zone in zones:
            if isinstance(zone, str):
                self.errors += zone
                result = 1
                break
            if span is None:
                self.plain(name, zone, now)
                continue
            self.warned = False
            found = [LOWEST, LOWEST + DAY]
            for change in changes(zone, *span):
                found += [change - 1, change]
            for t in found + [HIGHEST - DAY, HIGHEST]:
                self.verbose(name, zone, t)
        dump = "".join(line + "\n" for line in self.lines).encode() if self.lines else None
        return Answer(result, dump, b"", self.errors.encode(), 0)


def zone_of(name):
    """The zone of a file, or of a TZ string."""
    return file_zone(name) if (ZONES / name).is_file() else rule_zone(name)


def dump_text(names, low, high):
    """What is listed of zones for the years from `low` to `high`."""
    zones = [(name, zone_of(name)) for name in names]
    return Model().run(zones, (year_start(low), year_start(high))).dump


LONDON_2020 = b"""\
Europe/London  -9223372036854775808 = NULL
Europe/London  -9223372036854689408 = NULL
Europe/London  Sun Mar 29 00:59:59 2020 UT = Sun Mar 29 00:59:59 2020 GMT isdst=0 gmtoff=0
Europe/London  Sun Mar 29 01:00:00 2020 UT = Sun Mar 29 02:00:00 2020 BST isdst=1 gmtoff=3600
Europe/London  Sun Oct 25 00:59:59 2020 UT = Sun Oct 25 01:59:59 2020 BST isdst=1 gmtoff=3600
Europe/London  Sun Oct 25 01:00:00 2020 UT = Sun Oct 25 01:00:00 2020 GMT isdst=0 gmtoff=0
Europe/London  9223372036854689407 = NULL
Europe/London  9223372036854775807 = NULL
"""


