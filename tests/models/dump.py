# SPDX-License-Identifier: GPL-2.0-or-later
"""What a zone dump has to say, worked out with Python's own zones."""
from __future__ import annotations

import functools
from datetime import datetime, timedelta, timezone
from typing import Sequence
from zoneinfo import ZoneInfo

LOWEST, HIGHEST = -(2**63), 2**63 - 1
DAY = 86400
EPOCH = datetime(1970, 1, 1, tzinfo=timezone.utc)

_DAYS = ("Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun")
_MONTHS = ("Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec")

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


def instant(year: int, month: int = 1, day: int = 1, *clock: int) -> int:
    return int((datetime(year, month, day, *clock, tzinfo=timezone.utc) - EPOCH).total_seconds())


def _text(time: datetime) -> str:
    day, month = _DAYS[time.weekday()], _MONTHS[time.month - 1]
    return f"{day} {month}{time.day:3d} {time:%H:%M:%S} {time.year}"


class Zone:
    """A zone by name; "UTC0" too."""

    def __init__(self, name: str) -> None:
        self.name = name
        self._info = timezone.utc if name == "UTC0" else ZoneInfo(name)

    def local(self, at: int) -> datetime:
        return (EPOCH + timedelta(seconds=at)).astimezone(self._info)

    def kind(self, at: int) -> tuple[timedelta | None, bool, str | None]:
        """What tells one stretch of local time from another."""
        local = self.local(at)
        return local.utcoffset(), bool(local.dst()), local.tzname()

    def changes(self, low: int, high: int) -> list[int]:
        """First instants of a new kind of local time, found by looking every 12 hours."""
        found = []
        at = low
        while at < high:
            step = min(at + DAY // 2, high)
            if self.kind(step) == self.kind(at):
                at = step
                continue
            below, above = at, step
            while above - below > 1:
                middle = (below + above) // 2
                if self.kind(middle) == self.kind(at):
                    below = middle
                else:
                    above = middle
            found.append(above)
            at = above
        return found

    def line(self, at: int, width: int = 0) -> str:
        local = self.local(at)
        offset = local.utcoffset()
        assert offset is not None
        return (
            f"{self.name:{width}}  {_text(EPOCH + timedelta(seconds=at))} UT = {_text(local)} {local.tzname()}"
            f" isdst={int(bool(local.dst()))} gmtoff={int(offset.total_seconds())}\n"
        )

    def extremes(self, ends: Sequence[int], width: int = 0) -> list[str]:
        return [f"{self.name:{width}}  {at} = NULL\n" for at in ends]


@functools.cache
def dump(name: str, low: int, high: int, width: int = 1) -> tuple[str, ...]:
    """The lines of a zone for the years from `low` to `high`."""
    zone = Zone(name)
    lines = zone.extremes((LOWEST, LOWEST + DAY), width)
    for change in zone.changes(instant(low), instant(high)):
        lines += [zone.line(change - 1, width), zone.line(change, width)]
    return (*lines, *zone.extremes((HIGHEST - DAY, HIGHEST), width))


def dump_text(names: Sequence[str], low: int, high: int) -> bytes:
    width = max(map(len, names))
    return "".join(line for name in names for line in dump(name, low, high, width)).encode()
