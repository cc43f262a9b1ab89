# SPDX-License-Identifier: GPL-2.0-or-later
"""The instant at which a zone's clock reads so and so, step by step: of two instants
that read alike, the bisection's path chooses."""

from datetime import datetime

from tests.models.local_times import EPOCH, HIGHEST, LOWEST

DAY = 86400


def half(number):
    """Towards zero, as C divides."""
    return abs(number) // 2 * (1 if number >= 0 else -1)


def clock_of(year, month, day, hour, minute):
    """The seconds of a reading whose month (from 0) and the rest may be out of range."""
    year += month // 12
    cycles, rest = divmod(year - 2000, 400)
    days = (datetime(2000 + rest, month % 12 + 1, 1) - EPOCH).days + cycles * 146097 + day - 1
    return days * DAY + hour * 3600 + minute * 60


class Finder:
    """types  (offset, dst) of the zone, in order; used  those of its transitions, the
    latest first"""

    def __init__(self, zone, types=(), used=()):
        self.zone = zone
        self.types = types
        self.used = used
        self.converted = {}

    def convert(self, t):
        # The first probes are always the same.
        if t not in self.converted:
            if len(self.converted) > 100000:
                self.converted.clear()
            self.converted[t] = self.zone.convert(t)
        return self.converted[t]

    def narrow(self, clock):
        low, high = LOWEST, HIGHEST
        while True:
            middle = max(low, min(half(low) + half(high), high))
            found = self.convert(middle)
            if found is not None and found[0] == clock:
                return middle
            late = middle > 0 if found is None else found[0] > clock
            if low == high:
                return None
            if middle == low:
                middle += 1
                low += 1
            elif middle == high:
                middle -= 1
                high -= 1
            if low > high:
                return None
            if late:
                high = middle
            else:
                low = middle

    def reads(self, t, clock, dst):
        """The conversion, when it reads like the clock and has the flag."""
        if not LOWEST <= t <= HIGHEST:
            return None
        found = self.convert(t)
        return found if found is not None and found[:2] == (clock, dst) else None

    def other_flag(self, t, clock, dst):
        for offset, flag in reversed(self.types):
            for other, other_flag in reversed(self.types):
                if flag == dst != other_flag and self.reads(t + other - offset, clock, dst):
                    return t + other - offset
        return None

    def search(self, minute_clock, second, dst, *, carry):
        if carry:
            over, second = divmod(second, 60)
            minute_clock += over * 60
        aside = 0
        if not 0 <= second <= 59:
            base = 59 if minute_clock < 0 else 0
            aside, second = second - base, base
        clock = minute_clock + second
        t = self.narrow(clock)
        if t is None:
            return None
        # An offset of 0 was given.
        _, flag, _, offset, _ = self.convert(t)
        other = self.reads(t + offset, clock, flag)
        if offset and abs(offset) <= DAY and other and other[3] == 0:
            t += offset
        if dst >= 0 and dst != flag:
            t = self.other_flag(t, clock, dst)
        return None if t is None else t + aside

    def search_both(self, minute_clock, second, dst):
        t = self.search(minute_clock, second, dst, carry=False)
        return self.search(minute_clock, second, dst, carry=True) if t is None else t

    def find(self, minute_clock, second, dst):
        t = self.search_both(minute_clock, second, dst)
        if t is not None or dst < 0:
            return t
        for offset, flag in self.used:
            for other, other_flag in self.used:
                if flag == dst != other_flag:
                    t = self.search_both(minute_clock, second + other - offset, 1 - dst)
                    if t is not None:
                        return t
        return None

    def instant(self, year, month, day, hour, minute, second, dst):
        """None when there is none.  dst: the flag, -1 for either."""
        return self.find(clock_of(year, month, day, hour, minute), second, dst)
