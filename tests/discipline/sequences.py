# SPDX-License-Identifier: GPL-2.0-or-later
"""Sequences of samples for the frequency discipline.

A sequence is a list of commands: ("add", time, offset, error bar, frequency) and
("debug", flag).  Each kind is a function of a random.Random, in KINDS.
"""

import math

from tests.discipline.oracle import INT_MAX, INT_MIN, LIMIT, Discipline

ALLOWANCE = 800.0


def add(time, offset, error_bar, frequency):
    return ("add", int(time) & 0xFFFFFFFF, float(offset), float(error_bar), int(frequency))


def length(random):
    return random.choice((16, 17, random.randint(18, 40), random.randint(33, 60)))


def times(random, count, start=None):
    """Poll times as a client has them: about even."""
    now = random.randrange(1 << 31) if start is None else start
    interval = random.choice((1, 16, 64, 64, 256, 600, 1024, 4096))
    for _ in range(count):
        yield now
        now += max(1, interval + random.randint(-interval // 8, interval // 8))


def network(random, jitter):
    """An offset's error and its error bar, which mostly covers it."""
    delay = abs(random.gauss(0, jitter)) + (random.random() < 0.05) * random.uniform(0, 20 * jitter)
    error = random.uniform(-1, 1) * delay / 2
    return error, ALLOWANCE + delay / 2 * random.choice((1, 1, 1, 1.5)) + jitter / 10


# --- a clock and a network -----------------------------------------------------

def physical(random, start=None, steps=False):
    """A clock that is fast or slow, read over a network, its frequency set anew
    now and then."""
    crystal = random.gauss(0, 30)  # parts per million; fast is positive
    frequency = random.choice((0, random.randint(-3000000, 3000000)))
    jitter = random.choice((5, 50, 300, 2000))
    wander = random.choice((0, 0, 0.001, 0.02))
    offset = random.gauss(0, random.choice((10, 1000, 100000)))
    set_again = random.choice((0, 0, 0.1, 1))
    sequence = []
    before = None
    for now in times(random, length(random), start):
        elapsed = 0 if before is None else now - before
        before = now
        crystal += random.gauss(0, wander) * math.sqrt(elapsed)
        offset -= (crystal + frequency / 65536) * elapsed  # server minus client
        if steps and random.random() < 0.04:
            offset += random.gauss(0, 20000)
        error, error_bar = network(random, jitter)
        sequence.append(add(now, offset + error, error_bar, frequency))
        if random.random() < set_again:
            frequency = int((-crystal + random.gauss(0, 0.5)) * 65536)
    return sequence


def stepped(random):
    return physical(random, steps=True)


def wrapped(random):
    """The count of seconds wraps around within the sequence."""
    return physical(random, start=(1 << 32) - random.randint(1, 20000))


def steered(random):
    """The proposed frequency is the next one in force."""
    estimator = Discipline()
    crystal = random.gauss(0, 20)
    jitter = random.choice((20, 200, 1500))
    offset = random.gauss(0, 500)
    frequency = int(random.gauss(-crystal, 5) * 65536)
    sequence = []
    before = None
    for now in times(random, length(random)):
        elapsed = 0 if before is None else now - before
        before = now
        offset -= (crystal + frequency / 65536) * elapsed
        error, error_bar = network(random, jitter)
        sequence.append(add(now, offset + error, error_bar, frequency))
        frequency = estimator.contemplate_data(*sequence[-1][1:])
    return sequence


# --- shapes --------------------------------------------------------------------

def scattered(random):
    """Anything within some scale; one line seldom passes all of it."""
    scale = 10 ** random.uniform(-2, 7)
    bars = scale * 10 ** random.uniform(-1, 1.5)
    spread = random.choice((0, 1000, 10**6, 10**7))
    return [add(now, random.uniform(-scale, scale), ALLOWANCE + random.uniform(0, bars),
                random.randint(-spread, spread))
            for now in times(random, length(random))]


def lattice(random):
    """Small whole numbers: many slopes are equal to the last bit."""
    step = random.choice((1, 8, 64))
    height = random.choice((2, 4, 16))
    now = random.randrange(1 << 31)
    sequence = []
    for _ in range(length(random)):
        now += step * random.randint(1, 2)
        sequence.append(add(now, step * random.randint(-height, height),
                            ALLOWANCE + step * random.randint(1, 3 * height),
                            random.choice((0, 0, 0, 65536))))
    return sequence


def straight(random):
    """All on one line, with even bars: every slope is equal."""
    slope = random.choice((0, 1, -1, 0.5, random.uniform(-100, 100)))
    bar = ALLOWANCE + random.choice((0, 1, 1024))
    step = random.choice((1, 64))
    start = random.randrange(1 << 20)
    return [add(start + i * step, slope * i * step, bar, 0) for i in range(length(random))]


def curved(random):
    """A parabola: a hull of fifteen segments on one side and of one on the other."""
    bend = random.choice((-1, 1)) * 10 ** random.uniform(-6, -1)
    step = random.choice((16, 64, 600))
    tilt = random.uniform(-100, 100)
    depth = abs(bend) * (7.5 * step) ** 2
    bar = ALLOWANCE + depth * random.uniform(0.3, 4)
    start = random.randrange(1 << 20)
    count = length(random)
    return [add(start + i * step, bend * (step * (i - count + 8)) ** 2 + tilt * step * i, bar,
                random.choice((0, 0, 0, 5))) for i in range(count)]


def wedge(random):
    """A narrow waist among wide intervals: both crossing lines by one corner."""
    step = random.choice((16, 64, 600))
    waist = random.randint(0, 15)
    opening = 10 ** random.uniform(-2, 1.5)
    tilt = random.uniform(-20, 20)
    side = random.choice((-1, 0, 1))
    start = random.randrange(1 << 20)
    sequence = []
    for i in range(16):
        half = opening * step * abs(i - waist) + random.uniform(0, 5)
        sequence.append(add(start + i * step, tilt * step * i + side * half * 0.9,
                            ALLOWANCE + half, 0))
    return sequence


def steep(random):
    """Slopes around the 500 parts per million at which the hulls begin."""
    slope = random.choice((-1, 1)) * random.uniform(480, 520)
    return [add(now, slope * (now & 0xFFFFF) + random.uniform(-50, 50),
                ALLOWANCE + random.uniform(50, 3000), random.randint(-100000, 100000))
            for now in times(random, length(random), random.randrange(1 << 19))]


def near_limit(random):
    """Frequencies about the limit, where a correction leads beyond it."""
    side = random.choice((-1, 1))
    frequency = side * (LIMIT + random.randint(-2000000, 2000000))
    slope = side * random.uniform(-30, 60)
    return [add(now, slope * (now & 0xFFFFF) + random.uniform(-50, 50),
                ALLOWANCE + random.uniform(50, 1000), frequency)
            for now in times(random, length(random), random.randrange(1 << 19))]


def tight(random):
    """Error bars about the allowance: negative ones too, and no consistent line."""
    slope = random.uniform(-5, 5)
    return [add(now, slope * (now & 0xFFFFF) + random.uniform(-20, 20),
                ALLOWANCE + random.uniform(-30, 30), 0)
            for now in times(random, length(random), random.randrange(1 << 19))]


def short(random):
    """Too few to evaluate."""
    return scattered(random)[:random.randint(1, 15)]


# --- bad input -----------------------------------------------------------------

DOUBLES = (math.nan, math.inf, -math.inf, 1.7976931348623157e308, -1.7976931348623157e308, 1e200,
           -1e200, 5e-324, 0.0, -0.0, 1e18, -1e18)
BARS = DOUBLES + (800.0, -800.0, 799.0, -1e6)
INTS = (INT_MIN, INT_MIN + 1, INT_MAX, INT_MAX - 1, 0, -1, 1, LIMIT + 1, -LIMIT - 1)
UNSIGNED = (0, 1, (1 << 31) - 1, 1 << 31, (1 << 32) - 1)


def bad(random):
    """A good sequence spoilt in some fields."""
    sequence = random.choice((physical, straight, lattice, scattered))(random)
    rate = random.choice((0.02, 0.1, 0.6))
    fields = random.sample(range(1, 5), random.randint(1, 4))
    values = {1: UNSIGNED, 2: DOUBLES, 3: BARS, 4: INTS}
    spoilt = []
    for sample in sequence:
        sample = list(sample)
        for field in fields:
            if random.random() < rate:
                sample[field] = random.choice(values[field])
        spoilt.append(tuple(sample))
    return spoilt


def same_times(random):
    """Times that stand still or go back."""
    sequence = random.choice((physical, lattice, straight))(random)
    now = sequence[0][1]
    result = []
    for _, time, *others in sequence:
        now = random.choice((now, now, time, (now - random.randint(1, 100)) & 0xFFFFFFFF))
        result.append(("add", now, *others))
    return result


def far_frequencies(random):
    """Frequencies, differences of frequencies and results that no int holds."""
    usual = random.choice((INT_MIN, INT_MAX))
    rate = random.choice((0, 0, 0.05, 1))
    reach = 10 ** random.uniform(3, 9)
    return [add(now, random.uniform(-reach, reach) / 2, reach,
                random.choice(INTS) if random.random() < rate else usual)
            for now in times(random, length(random))]


def huge(random):
    """Offsets and error bars beyond any clock."""
    scale = 10 ** random.uniform(8, 307)
    return [add(now, random.uniform(-scale, scale), scale, 0)
            for now in times(random, length(random))]


def far_away(random):
    """Usual slopes, far from no offset."""
    far = random.choice((-1, 1)) * 10 ** random.uniform(4, 15)
    return [add(now, far + random.uniform(-1, 1) * abs(far) * 1e-6,
                ALLOWANCE + abs(far) * 1e-6, random.choice((INT_MAX, INT_MIN, 0)) if i == 0 else 0)
            for i, now in enumerate(times(random, length(random)))]


KINDS = {kind.__name__: kind for kind in (
    physical, stepped, wrapped, steered, scattered, lattice, straight, curved, wedge, steep,
    near_limit, tight, short, bad, same_times, far_frequencies, huge, far_away)}


def with_debug(random, sequence):
    """The flag off, on, or switched in between."""
    way = random.randrange(4)
    if way < 2:
        return [("debug", way)] + sequence
    switched = []
    for command in sequence:
        if random.random() < 0.3:
            switched.append(("debug", random.randrange(2)))
        switched.append(command)
    return switched


def sequences(random, count):
    """(kind, sequence), all kinds in turn."""
    names = list(KINDS)
    for i in range(count):
        name = names[i % len(names)]
        yield name, with_debug(random, KINDS[name](random))
