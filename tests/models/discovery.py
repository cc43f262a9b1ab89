# SPDX-License-Identifier: GPL-2.0-or-later
"""What daylight-saving discovery has to say of a list of changes."""
from __future__ import annotations

import re
from dataclasses import dataclass, field
from datetime import datetime, timedelta, timezone
from zoneinfo import ZoneInfo

NORTHERN = b"--------location in Northern and in dst time \r\n"
SOUTHERN = b"location in Southern and in dst time "

_EPOCH = datetime(1970, 1, 1, tzinfo=timezone.utc)
_MONTHS = ("Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec")
# The parts of a line up to the local year, in the order they are read; one that is
# not there leaves itself and all after it as they were.
_WORD, _NUMBER, _CLOCK = r"\s*(\S+)", r"\s*([-+]?\d+)", r":\s*([-+]?\d+)"
_HALF = (_WORD, _WORD, _NUMBER, _NUMBER, _CLOCK, _CLOCK, _NUMBER)
_LINE = (_WORD, *_HALF, r"\s*UT\s*=()", *_HALF)


@dataclass
class Fields:
    texts: list[str] = field(default_factory=lambda: ["0"] * len(_LINE))

    def read(self, line: str) -> None:
        at = 0
        for index, part in enumerate(_LINE):
            found = re.compile(part).match(line, at)
            if not found:
                return
            self.texts[index] = found[1]
            at = found.end()

    def instants(self, zone: ZoneInfo) -> tuple[int, int]:
        bound, twin = (self._instant(self.texts[1:8], zone, fold) for fold in (0, 1))
        assert bound == twin, "the process's zone has this time twice or not at all: choose another case"
        return bound, self._instant(self.texts[9:16], zone, 0)

    @staticmethod
    def _instant(half: list[str], zone: ZoneInfo, fold: int) -> int:
        _, name, *numbers = half
        day, hour, minute, second, year = map(int, numbers)
        month = _MONTHS.index(name[:3]) if name[:3] in _MONTHS else 12
        first = datetime(year + month // 12, month % 12 + 1, 1)
        wall = first + timedelta(days=day - 1, hours=hour, minutes=minute, seconds=second)
        return int((wall.replace(tzinfo=zone, fold=fold) - _EPOCH).total_seconds())


@dataclass(frozen=True)
class Verdict:
    """The lines that are looked at; bounds and side are None without a change in the year."""

    lines: list[bytes]
    bounds: tuple[int, int] | None = None
    southern: bool | None = None

    def result(self, now: int) -> int:
        if self.bounds is None:
            return 0
        first, second = self.bounds
        return int(not first <= now <= second if self.southern else first < now < second)

    def output(self, now: int) -> bytes:
        shown = b"".join(b"acDstDump[%d]: %s\r\n" % each for each in enumerate(self.lines))
        if self.result(now) == 0:
            return shown
        return shown + (SOUTHERN if self.southern else NORTHERN)


def judge(dumped: bytes, year: int, process_zone: str) -> Verdict:
    """What the list of a year says, read as local times of the process's own zone."""
    lines: list[bytes] = []
    for line in dumped.splitlines(keepends=True):
        lines += [line[at : at + 255] for at in range(0, len(line), 255)]
    lines = lines[:8]
    mark = b"%d" % year
    if len(lines) < 3 or mark in lines[0] or mark in lines[1] or mark not in lines[2]:
        return Verdict(lines)
    fields = Fields()
    read = []
    for line in lines[2:6]:
        fields.read(line.decode())
        read.append(fields.instants(ZoneInfo(process_zone)))
    (start, local_before), (_, local_after), (end, _), _ = read
    return Verdict(lines, (start, end), local_before > local_after)
