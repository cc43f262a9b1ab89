# SPDX-License-Identifier: GPL-2.0-or-later
"""The frequency discipline once more, in plain Python floats, to compare with.

Python's floats are the processor's doubles and are never fused, so every result
is the program's to the last bit.  The sign of a NaN is the processor's business:
here it prints "nan".
"""

import math

INT_MAX = 2**31 - 1
INT_MIN = -2**31
LOWER, UPPER = 0, 1
SMALLEST, LARGEST = 0, 1
SLOTS = 16
LIMIT = 16384000  # 250 parts per million


def saturated(number):
    return max(INT_MIN, min(INT_MAX, number))


def to_int(value):
    """A double to a C int: towards zero, the nearest that fits, NaN to 0."""
    if math.isnan(value):
        return 0
    if math.isinf(value):
        return INT_MAX if value > 0 else INT_MIN
    return saturated(int(value))


def as_signed(number):
    """32 bits as a signed int."""
    number &= 0xFFFFFFFF
    return number - 2**32 if number >= 2**31 else number


def divide(dividend, divisor):
    """The processor's division, by zero too."""
    if divisor != 0:
        return dividend / divisor
    if dividend == 0 or math.isnan(dividend):
        return math.nan
    return math.copysign(math.inf, dividend) * math.copysign(1.0, divisor)


class Sample:
    def __init__(self):
        self.time = 0
        self.offset = 0.0
        self.error_bar = 0.0
        self.frequency = 0
        self.bounds = [0.0, 0.0]


def next_up(i):
    return i + 1 if i < SLOTS - 1 else 0


def next_dn(i):
    return i - 1 if i > 0 else SLOTS - 1


def interpolate(p, q, x):
    return p[1] + divide((q[1] - p[1]) * (x - p[0]), q[0] - p[0])


class Discipline:
    """The estimator and its state.  What it prints is gathered in `text`."""

    def __init__(self, debug=False):
        self.debug = debug
        self.ring = [Sample() for _ in range(SLOTS)]
        self.index = 0
        self.count = 0
        self.maxseg = [(0.0, 0.0)] * (SLOTS + 1)
        self.minseg = [(0.0, 0.0)] * (SLOTS + 1)
        self.df = [0.0, 0.0]
        self.text = []

    def printed(self):
        """What was printed since the last time."""
        text = "".join(self.text)
        self.text.clear()
        return text

    def trace(self, form, *values):
        if self.debug:
            self.text.append(form % values)

    # --- the entry ------------------------------------------------------------

    def contemplate_data(self, time, offset, error_bar, frequency):
        self.trace("xontemplate %u %.1f %.1f %d\n", time, offset, error_bar, frequency)
        sample = self.ring[self.index]
        sample.time = time
        sample.offset = offset
        sample.error_bar = error_bar - 800.0
        sample.frequency = frequency
        if self.count < SLOTS:
            self.count += 1
        result = frequency
        if self.count == SLOTS:
            result = self.evaluate(frequency)
        self.index = next_up(self.index)
        return result

    def evaluate(self, frequency):
        self.place_bounds(frequency)
        mincross, last_max = self.upper_hull()
        maxcross, last_min = self.lower_hull()
        if maxcross is None or mincross is None:
            return self.inconsistent(frequency)
        upper_trimmed = self.trim_upper(mincross, maxcross, last_max)
        lower_trimmed = self.trim_lower(mincross, maxcross, last_min)
        if not (upper_trimmed and lower_trimmed):
            return self.inconsistent(frequency)
        return self.correct(mincross, maxcross, frequency)

    def inconsistent(self, frequency):
        self.text.append("# inconsistent\n")
        return frequency

    # --- bounds and hulls -----------------------------------------------------

    def place_bounds(self, frequency):
        """As if the clock had always run at the newest sample's frequency."""
        drift = 0.0
        newest = self.ring[self.index]
        slot = self.index
        for _ in range(SLOTS):
            sample = self.ring[slot]
            lower = (sample.offset - drift) - sample.error_bar
            upper = (sample.offset - drift) + sample.error_bar
            sample.bounds = [lower, upper]
            self.trace("hist %d %d %f %f %f\n", slot, as_signed(sample.time - newest.time), drift,
                       lower, upper)
            slot = next_dn(slot)
            elapsed = (sample.time - self.ring[slot].time) & 0xFFFFFFFF
            drift += float(elapsed) * float(sample.frequency - frequency) * 1.52587890625e-5

    def search(self, newest, start, a, b, direction):
        """The slot of the kept record, and the line to it."""
        begin = self.ring[start]
        kept = None
        best = 0.0
        slot = start
        while slot != newest:
            slot = next_up(slot)
            sample = self.ring[slot]
            elapsed = (sample.time - begin.time) & 0xFFFFFFFF
            slope = divide(sample.bounds[a] - begin.bounds[b], float(elapsed))
            # A first slope stands whatever it is, or NaN would keep no record.
            if (kept is None or (slope < best if direction == SMALLEST else slope >= best)):
                kept, best = slot, slope
        elapsed = (self.ring[newest].time - begin.time) & 0xFFFFFFFF
        return kept, (best, begin.bounds[b] + best * float(elapsed))

    def upper_hull(self):
        """The shallowest line that passes all intervals, and the last segment."""
        slot = next_up(self.index)
        previous = -500.0
        mincross = None
        k = 0
        while slot != self.index:
            k += 1
            reached, self.maxseg[k] = self.search(self.index, slot, UPPER, UPPER, SMALLEST)
            _, candidate = self.search(self.index, slot, LOWER, UPPER, LARGEST)
            if (previous < candidate[0] < self.maxseg[k][0]
                    and (mincross is None or candidate[0] < mincross[0])):
                mincross = candidate
            self.trace("maxseg[%d] = %f *x+ %f\n", k, *self.maxseg[k])
            previous = self.maxseg[k][0]
            slot = reached
        self.trace("mincross %f *x+ %f\n", *(mincross or (math.nan, math.nan)))
        return mincross, k

    def lower_hull(self):
        """The steepest line that passes all intervals, and the last segment."""
        slot = next_up(self.index)
        previous = 500.0
        maxcross = None
        k = 0
        while slot != self.index:
            k += 1
            reached, self.minseg[k] = self.search(self.index, slot, LOWER, LOWER, LARGEST)
            _, candidate = self.search(self.index, slot, UPPER, LOWER, SMALLEST)
            if (self.minseg[k][0] < candidate[0] < previous
                    and (maxcross is None or candidate[0] < maxcross[0])):
                maxcross = candidate
            self.trace("minseg[%d] = %f *x+ %f\n", k, *self.minseg[k])
            previous = self.minseg[k][0]
            slot = reached
        self.trace("maxcross %f *x+ %f\n", *(maxcross or (math.nan, math.nan)))
        return maxcross, k

    def trim_upper(self, mincross, maxcross, last):
        self.polygon_reset()
        self.polygon_point(mincross)
        k = 1
        while k <= last and self.maxseg[k][0] <= maxcross[0] and not mincross[0] < self.maxseg[k][0]:
            k += 1
        if not (k <= last and self.maxseg[k][0] <= maxcross[0]):
            self.trace("found maxseg vs. save_min inconsistency\n")
            return False
        self.maxseg[k - 1] = mincross
        while k <= last and self.maxseg[k][0] <= maxcross[0]:
            self.polygon_point(self.maxseg[k])
            k += 1
        self.maxseg[k] = maxcross
        self.polygon_point(maxcross)
        return True

    def trim_lower(self, mincross, maxcross, last):
        k = 1
        while k <= last and self.minseg[k][0] >= mincross[0] and not self.minseg[k][0] < maxcross[0]:
            k += 1
        found = k <= last and self.minseg[k][0] >= mincross[0]
        if found:
            self.minseg[0] = maxcross
            while k <= last and self.minseg[k][0] >= mincross[0]:
                self.polygon_point(self.minseg[k])
                k += 1
            self.minseg[k] = maxcross
        else:
            self.trace("found minseg vs. save_max inconsistency\n")
        if self.debug:
            self.polygon_point(mincross)
        return found

    # --- the correction -------------------------------------------------------

    def correct(self, mincross, maxcross, frequency):
        df, both = self.find_df(0)
        delta_f = df + self.find_df_center(mincross, maxcross, df)
        self.trace("find_df() = %e\n", df)
        delta = to_int(delta_f * 65536 + 0.5)
        self.trace("delta_f %f  delta_freq %d  bsn %d\n", delta_f, delta, both)
        computed = saturated(frequency - delta)
        self.text.append("# box [( %.3f , %.1f )  ( %.3f , %.1f )]  delta_f %.3f  computed_freq %d\n"
                         % (*mincross, *maxcross, delta_f, computed))
        return max(-LIMIT, min(LIMIT, computed))

    def polygon_reset(self):
        self.df = [20.0, 20.0]

    def polygon_point(self, segment):
        slope, value = segment
        self.trace("loop %f %f\n", slope, value)
        left = self.find_shift(-slope, value)
        right = self.find_shift(slope, -value)
        self.df = [min(self.df[0], left), min(self.df[1], right)]
        self.trace("constraint left:  %f %f \n", left, self.df[0])
        self.trace("constraint right: %f %f \n", right, self.df[1])

    def find_shift(self, x, y):
        shift = min(x - y / 600, x + 0.3 - y / 6000)
        self.trace("find_shift %f %f -> %f\n", x, y, shift)
        return max(0.0, shift)

    def find_df(self, both):
        left, right = self.df
        if left == 0:
            return (0.0 if right == 0 else -right), both
        if right == 0:
            return left, both
        return 0.0, 1

    def find_df_center(self, mincross, maxcross, d):
        (sa, ya), (sb, yb) = mincross, maxcross
        y = (ya + yb) / 2
        x = d + (sa + sb) / 2
        a = -y / 600 - x
        b = -y / 1800 - x
        if y < 0:
            r = a if a < 0 else b if b > 0 else 0.0
        else:
            r = b if b < 0 else a if a > 0 else 0.0
        if yb < -1000 or ya > 1000:
            return 0.0
        k = divide(1000.0, (yb - ya) + 1000 + (sb - sa) * 1200)
        self.trace("find_df_center %f %f\n", r, k)
        return r * k

    # --- for comparisons ------------------------------------------------------


def hexed(value):
    """A double in hexadecimal, as C's %a writes it."""
    mantissa, *exponent = float(value).hex().split("p")
    if not exponent:
        return mantissa
    return mantissa.rstrip("0").rstrip(".") + "p" + exponent[0]
