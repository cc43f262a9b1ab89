# SPDX-License-Identifier: GPL-2.0-or-later
"""Local time of any 64-bit instant, from zoneinfo where it reaches.

A zone answers look(t) with (offset, dst, abbreviation) and leap(t) with what the
leap seconds have added up to, and whether t is one.
"""

import bisect
import io
import re
from datetime import datetime, timedelta
from zoneinfo import ZoneInfo

from tests.models.zone_files import ZONES, block, clean, contents_of, read_file, rule_file, transitions_of

# Every 400 years the calendar repeats.
CYCLE = 12622780800
LOWEST, HIGHEST = -(1 << 63), (1 << 63) - 1
EPOCH = datetime(1970, 1, 1)
# What datetime reaches: the second day of year 1, the last day of year 9999.
FIRST, LAST = -62135510400, 253402214400
# The first and last local second whose year, less 1900, is a 32-bit number.
FIRST_CLOCK, LAST_CLOCK = -67768040609740800, 67768036191676799

class Zone:
    leaps = ()

    def leap(self, t):
        at = bisect.bisect_right(self.leaps, (t, 99)) - 1
        if at < 0:
            return 0, 0
        moment, correction = self.leaps[at]
        before = self.leaps[at - 1][1] if at else 0
        return correction, int(t == moment and correction > before)

    def convert(self, t):
        """(clock, dst, abbreviation, offset, leap second or not); None when the year is
        none.  The clock is the local time in seconds, as its fields count them."""
        offset, dst, abbreviation = self.look(t)
        correction, leap = self.leap(t) if self.leaps else (0, 0)
        clock = t - correction + offset
        if not FIRST_CLOCK <= clock <= LAST_CLOCK:
            return None
        return clock + leap, dst, abbreviation, offset, leap


class Fixed(Zone):
    def __init__(self, offset, dst, abbreviation):
        self.always = (offset, dst, abbreviation)

    def look(self, t):
        return self.always


UTC = Fixed(0, 0, "UTC")


class PythonZone(Zone):
    """A zone of zoneinfo.  Beyond its years the calendar repeats: before the first
    transition and with a rule all 400 years are alike."""

    def __init__(self, zone, names=None):
        self.zone = zone
        self.names = names

    def look(self, t):
        if t < FIRST:
            t += (FIRST - t + CYCLE - 1) // CYCLE * CYCLE
        elif t > LAST:
            t -= (t - LAST + CYCLE - 1) // CYCLE * CYCLE
        here = datetime.fromtimestamp(t, self.zone)
        offset = here.utcoffset()
        offset = offset.days * 86400 + offset.seconds
        if self.names:
            dst = here.tzname() == "BBB"
            return offset, int(dst), self.names[dst]
        return offset, int(here.dst() != timedelta(0)), here.tzname()


def as_zoneinfo_reads(data, names=None):
    return PythonZone(ZoneInfo.from_file(io.BytesIO(data)), names)


def file_zone(name):
    times = transitions_of(contents_of(ZONES / name))
    # The years that stand for all years before must be without a change.
    if times and times[0] < FIRST + CYCLE:
        raise ValueError(f"{name} has a transition in its first years")
    return PythonZone(ZoneInfo(name))


TEXT = re.compile(r"(<[^>]+>|[^<\-+,0-9]+)([-+]?[0-9:]+)(?:(<[^>]+>|[^<\-+,0-9]+)(.*))?")


def seconds_of(text):
    sign = -1 if text.startswith("-") else 1
    parts = [int(part) for part in text.strip("+-").split(":")]
    return sign * sum(part * unit for part, unit in zip(parts, (3600, 60, 1)))


def rule_zone(text):
    """A TZ string.  zoneinfo reads it with names that it knows, and zero-based days
    one higher: it takes them one day early."""
    standard, west, daylight, rest = TEXT.fullmatch(text).groups()
    if not daylight:
        return Fixed(-seconds_of(west), 0, clean(standard.strip("<>")))
    names = [clean(name.strip("<>")) for name in (standard, daylight)]
    if "," not in rest and ";" not in rest:
        return posixrules_zone(-seconds_of(west), -seconds_of(rest) if rest else None, names)
    rest = re.sub(r",(\d+)(?=[/,]|$)", lambda day: f",{int(day[1]) + 1}", rest.replace(";", ",", 1))
    return as_zoneinfo_reads(rule_file(f"AAA{west}BBB{rest}"), names)


def posixrules_zone(standard, daylight, names):
    """A TZ string without rules: the changes of "posixrules", as local times."""
    types, transitions, _ = read_file(ZONES / "posixrules")
    theirs = next((types[kind][0] for _, kind in transitions if not types[kind][1]), 0)
    moved = []
    for when, kind in transitions:
        offset, dst, _, is_ut = types[kind]
        moved.append((when if is_ut else when + theirs - standard, int(dst)))
        if not dst:
            theirs = offset
    kinds = [(standard, 0, names[0]),
             (standard + 3600 if daylight is None else daylight, 1, names[1])]
    return MadeZone(kinds, moved, default=0)


class MadeZone(Zone):
    """A table of one's own, for changes as close to each other as one likes.

    types  (offset, dst, abbreviation); transitions  (instant, type)
    """

    def __init__(self, types, transitions, leaps=(), default=None):
        self.types = types
        self.times = [when for when, _ in transitions]
        self.kinds = [kind for _, kind in transitions]
        self.leaps = leaps
        self.default = self.first_type() if default is None else default

    def first_type(self):
        """The type before the first transition."""
        if 0 not in self.kinds:
            return 0
        first = self.kinds[0]
        if self.types[first][1]:
            for kind in range(first - 1, -1, -1):
                if not self.types[kind][1]:
                    return kind
        return next((kind for kind, (_, dst, _) in enumerate(self.types) if not dst), 0)

    def look(self, t):
        at = bisect.bisect_right(self.times, t) - 1
        return self.types[self.default if at < 0 else self.kinds[at]]

    def data(self):
        """The file of it."""
        names = "".join(dict.fromkeys(name + "\0" for _, _, name in self.types))
        data = block([(offset, dst, names.index(name + "\0")) for offset, dst, name in self.types],
                     list(zip(self.times, self.kinds)), names.encode())
        # The second header's third number, and the records before the footer.
        second = 44 + 6 + 1
        return (data[:second + 28] + len(self.leaps).to_bytes(4, "big") + data[second + 32:-2] +
                b"".join(when.to_bytes(8, "big") + correction.to_bytes(4, "big", signed=True)
                         for when, correction in self.leaps) + b"\n\n")


class LeapZone(Zone):
    """A file that counts leap seconds, as the file of the same name that doesn't.

    Where it has no rule, nothing changes after its last transition.
    """

    def __init__(self, name):
        data = contents_of(ZONES / "right" / name)
        _, transitions, self.leaps = read_file(ZONES / "right" / name)
        self.plain = file_zone(name)
        has_rule = not data.endswith(b"\n\n")
        self.last = transitions[-1][0] if transitions and not has_rule else HIGHEST

    def look(self, t):
        t = min(t, self.last)
        return self.plain.look(t - self.leap(t)[0])


def instant(year, month=1, day=1, *clock):
    """Seconds from 1970 of a date and time in UT."""
    return (datetime(year, month, day, *clock) - EPOCH) // timedelta(seconds=1)


def year_start(year):
    """The first second of a year in UT, held within 64 bits."""
    cycles, rest = divmod(year - 2000, 400)
    start = cycles * CYCLE + (datetime(2000 + rest, 1, 1) - EPOCH) // timedelta(seconds=1)
    return max(LOWEST, min(start, HIGHEST))


def fields_of(clock, leap):
    """A clock's datetime within years that Python has, its year, and its second."""
    cycles, rest = divmod(clock - leap - year_start(2000), CYCLE)
    here = datetime(2000, 1, 1) + timedelta(seconds=rest)
    return here, here.year + 400 * cycles, here.second + leap
