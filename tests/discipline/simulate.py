# SPDX-License-Identifier: GPL-2.0-or-later
"""The frequency discipline in a closed loop: a simulated clock runs at what it proposes.

python3 -m tests.discipline.simulate [PROGRAM] [--seed N] [--picture FILE]

PROGRAM is discipline_run; without it the oracle takes its place.  Prints how well
each scenario converges, over several runs of it, and draws one run of some.

Signs: an offset is the server's time less the clock's (positive: the clock is
behind), a frequency is what the kernel adds to the crystal's (positive: faster).
The frequency given with a sample is the one that was in force before it.
"""

import dataclasses
import math
import random
import statistics
import subprocess
import sys

from tests.discipline.compare import written
from tests.discipline.oracle import Discipline

RUNS = 12
ERROR = 1.0  # parts per million within which a run counts as converged


@dataclasses.dataclass
class Scenario:
    name: str
    crystal: float = 0.0        # parts per million; positive: too fast
    wander: float = 0.0         # of the crystal, parts per million in an hour
    change: float = 0.0         # of the crystal, at once, half-way
    offset: float = 0.0         # at the start, microseconds
    interval: int = 64          # seconds
    polls: int = 400
    delay: float = 1000.0       # one way at least, microseconds
    queue: float = 200.0        # added one way on average, microseconds
    congestion: float = 0.0     # share of polls with a hundred times the queue one way
    liars: float = 0.0          # share of polls with an offset 20 ms wrong, unannounced
    sign: int = 1               # -1: offsets as the clock's time less the server's
    drawn: bool = False


SCENARIOS = [
    Scenario("steady crystal", 12.0, drawn=True),
    Scenario("wandering crystal", -35.0, wander=0.5, queue=500.0, interval=128, drawn=True),
    Scenario("crowded network, 8 ppm half-way", 5.0, change=8.0, queue=1000.0, congestion=0.05,
             drawn=True),
    Scenario("quiet network", 12.0, queue=20.0),
    Scenario("50 ms off at the start", 12.0, offset=50000.0),
    Scenario("200 ppm", 200.0),
    Scenario("300 ppm, out of reach", 300.0),
    Scenario("poll every 1024 s", 12.0, wander=0.1, interval=1024),
    Scenario("1 % liars", 12.0, liars=0.01),
    Scenario("delay below the allowance", 12.0, delay=100.0, queue=100.0),
    Scenario("offsets with the other sign", 12.0, sign=-1),
]


class Program:
    def __init__(self, path):
        self.process = subprocess.Popen([path, "--live"], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)

    def ask(self, *sample):
        """The proposed frequency, and whether the samples were consistent."""
        self.process.stdin.write(written(("add", *sample)) + "\n")
        self.process.stdin.flush()
        consistent = True
        for line in self.process.stdout:
            if line.startswith("# inconsistent"):
                consistent = False
            elif line.startswith("= "):
                return int(line[2:]), consistent
        raise RuntimeError("the program ended")

    def close(self):
        self.process.stdin.close()
        self.process.stdout.close()
        self.process.wait()


class Oracle:
    def __init__(self):
        self.estimator = Discipline()

    def ask(self, *sample):
        frequency = self.estimator.contemplate_data(*sample)
        return frequency, "inconsistent" not in self.estimator.printed()

    def close(self):
        pass


@dataclasses.dataclass
class Poll:
    time: int           # seconds since the start
    proposed: float     # parts per million
    needed: float       # what would make up for the crystal
    offset: float       # microseconds, true
    consistent: bool


def run(scenario, estimator, chance):
    """The polls of one run."""
    crystal = scenario.crystal
    offset = scenario.offset
    frequency = 0
    polls = []
    for number in range(scenario.polls):
        now = number * scenario.interval
        if number > 0:
            crystal += chance.gauss(0, scenario.wander) * math.sqrt(scenario.interval / 3600)
            offset -= (crystal + frequency / 65536) * scenario.interval
        if number == scenario.polls // 2:
            crystal += scenario.change
        there, back = (scenario.delay + chance.expovariate(1 / scenario.queue) for _ in range(2))
        if chance.random() < scenario.congestion:
            there += chance.expovariate(1 / (100 * scenario.queue))
        measured = offset + (there - back) / 2
        if chance.random() < scenario.liars:
            measured += 20000
        frequency, consistent = estimator.ask(1700000000 + now, scenario.sign * measured,
                                              (there + back) / 2, frequency)
        polls.append(Poll(now, frequency / 65536, -crystal, offset, consistent))
    return polls


def converged_after(polls):
    """The polls until the frequency is right and stays so; none counts as all of them."""
    wrong = [i for i, poll in enumerate(polls) if abs(poll.proposed - poll.needed) > ERROR]
    return wrong[-1] + 1 if wrong else 0


def most(values):
    """The value that 95 % do not exceed."""
    return sorted(values)[math.ceil(0.95 * len(values)) - 1]


def report(scenario, runs):
    late = [poll for polls in runs for poll in polls[len(polls) * 3 // 4:]]
    errors = [abs(poll.proposed - poll.needed) for poll in late]
    offsets = [abs(poll.offset) for poll in late]
    full = [poll for polls in runs for poll in polls[15:]]
    refused = sum(not poll.consistent for poll in full) / len(full)
    settled = statistics.median(converged_after(polls) for polls in runs)
    settled = f"{settled:.0f}" if settled < scenario.polls else "never"
    print(f"{scenario.name:32} {settled:>6} {statistics.median(errors):10.3f} {most(errors):10.3f} "
          f"{statistics.median(offsets):12.0f} {most(offsets):12.0f} {refused:9.1%}")


# --- the picture ----------------------------------------------------------------

WIDTH, PANEL, LEFT, RIGHT, TOP, GAP = 860, 190, 62, 20, 70, 58

STYLE = """
svg { font-family: sans-serif; }
.paper { fill: #ffffff; }
text { fill: #59636e; font-size: 12px; }
.title { fill: #1f2328; font-size: 14px; font-weight: 600; }
.grid { stroke: #d9dee3; stroke-width: 1; }
.needed { stroke: #c4500b; stroke-width: 2; fill: none; }
.proposed { stroke: #0b62c4; stroke-width: 1.5; fill: none; }
@media (prefers-color-scheme: dark) {
.paper { fill: #0d1117; }
text { fill: #9198a1; }
.title { fill: #e6edf3; }
.grid { stroke: #30363d; }
.needed { stroke: #ff9b57; }
.proposed { stroke: #6cb2ff; }
}
"""


def ticks(low, high, most_of_them):
    """Round numbers within a span."""
    raw = (high - low) / most_of_them
    unit = 10 ** math.floor(math.log10(raw))
    step = next(unit * times for times in (1, 2, 5, 10) if unit * times >= raw)
    first = math.ceil(low / step)
    return [round(i * step, 9) for i in range(first, math.floor(high / step) + 1)]


def text(x, y, words, **more):
    attributes = "".join(f' {name.rstrip("_").replace("_", "-")}="{value}"'
                         for name, value in more.items())
    return f'<text x="{x:.1f}" y="{y:.1f}"{attributes}>{words}</text>'


def path(points, name, clip):
    steps = "M" + "L".join(f"{x:.1f} {y:.1f}" for x, y in points)
    return f'<path class="{name}" clip-path="url(#{clip})" d="{steps}"/>'


def panel(scenario, polls, number):
    top = TOP + number * (PANEL + GAP)
    bottom = top + PANEL
    hours = polls[-1].time / 3600
    values = [value for poll in polls for value in (poll.proposed, poll.needed)]
    margin = (max(values) - min(values)) * 0.08
    low, high = min(values) - margin, max(values) + margin

    def across(hour):
        return LEFT + hour / hours * (WIDTH - LEFT - RIGHT)

    def up(value):
        return bottom - (value - low) / (high - low) * PANEL

    clip = f"panel{number}"
    parts = [f'<clipPath id="{clip}"><rect x="{LEFT}" y="{top}" width="{WIDTH - LEFT - RIGHT}" '
             f'height="{PANEL}"/></clipPath>',
             text(LEFT, top - 10, scenario.name.capitalize(), class_="title")]
    for value in ticks(low, high, 5):
        parts.append(f'<line class="grid" x1="{LEFT}" x2="{WIDTH - RIGHT}" y1="{up(value):.1f}" '
                     f'y2="{up(value):.1f}"/>')
        parts.append(text(LEFT - 8, up(value) + 4, f"{value:g}", text_anchor="end"))
    for hour in ticks(0, hours, 10):
        parts.append(text(across(hour), bottom + 18, f"{hour:g} h", text_anchor="middle"))
    # A proposal holds until the next poll.
    proposed = []
    for poll, after in zip(polls, polls[1:]):
        proposed += [(across(poll.time / 3600), up(poll.proposed)),
                     (across(after.time / 3600), up(poll.proposed))]
    parts.append(path([(across(poll.time / 3600), up(poll.needed)) for poll in polls], "needed",
                      clip))
    parts.append(path(proposed, "proposed", clip))
    return parts


def picture(drawn):
    height = TOP + len(drawn) * (PANEL + GAP) - 20
    title = "The proposed frequency and the one needed to make up for the crystal"
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" role="img" '
             f'aria-label="{title}">', f"<style>{STYLE}</style>",
             f'<rect class="paper" width="{WIDTH}" height="{height}"/>',
             text(LEFT, 26, "Frequency, parts per million", class_="title")]
    at = WIDTH - RIGHT - 185
    for name, words in (("proposed", "proposed"), ("needed", "needed")):
        parts.append(f'<line class="{name}" x1="{at}" x2="{at + 24}" y1="22" y2="22"/>')
        parts.append(text(at + 30, 26, words))
        at += 105
    for number, (scenario, polls) in enumerate(drawn):
        parts += panel(scenario, polls, number)
    return "\n".join(parts) + "\n</svg>\n"


def main():
    arguments = sys.argv[1:]

    def option(name, default):
        if name not in arguments:
            return default
        at = arguments.index(name)
        value = arguments[at + 1]
        del arguments[at:at + 2]
        return value

    seed = int(option("--seed", 1))
    file = option("--picture", None)
    print(f"seed {seed}, {RUNS} runs of each; the last quarter of the polls counts\n")
    print(f"{'':32} {'polls':>6} {'frequency error, ppm':^21} {'offset, us':^25} {'not':>9}")
    print(f"{'':32} {'needed':>6} {'median':>10} {'95 %':>10} {'median':>12} {'95 %':>12} "
          f"{'used':>9}")
    drawn = []
    for scenario in SCENARIOS:
        runs = []
        for number in range(RUNS):
            estimator = Program(arguments[0]) if arguments else Oracle()
            runs.append(run(scenario, estimator, random.Random(f"{seed} {number}")))
            estimator.close()
        report(scenario, runs)
        if scenario.drawn:
            drawn.append((scenario, runs[0]))
    if file:
        with open(file, "w", encoding="utf-8") as out:
            out.write(picture(drawn))
    return 0


if __name__ == "__main__":
    sys.exit(main())
