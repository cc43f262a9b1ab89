# SPDX-License-Identifier: GPL-2.0-or-later
"""The tables and the picture of docs/fleet.md, from simulated fleets.

python3 -m tests.fleet.document PROGRAM            writes all of them anew (some minutes)
python3 -m tests.fleet.document PROGRAM --check    status 1, and the differences, when 100,000
                                                   devices give other ones; --full: all rows

PROGRAM is fleet_run.
"""
from __future__ import annotations

import array
import difflib
import re
import subprocess
import sys
from collections.abc import Callable
from pathlib import Path

from tests.fleet.picture import Line, Panel, drawn

DOCS = Path(__file__).resolve().parents[2] / "docs"
PAGE, PICTURE = DOCS / "fleet.md", DOCS / "fleet.svg"

MINUTE, HOUR, DAY = 60, 3600, 86400
WEEK = 7 * DAY
ROUND = 4 * WEEK  # after which a device in peace is where it was: each server had three requests
FOR_EVER = 99 * WEEK

# Of all fleets.  Booting takes some devices 10 s longer than others.
CRYSTAL = 20
POWER_CUT = {"ppm": CRYSTAL, "boot": 10}
# Old: devices were started at any time, and are anywhere in their rounds.
OLD = {"ppm": CRYSTAL, "boot": ROUND}

SMALL, LARGE = 100_000, 1_000_000
SPREADS = {"none": 0, "1 min": MINUTE, "5 min": 5 * MINUTE, "1 h": HOUR}

Rows = list[list[str]]


class Record:
    """What a fleet did, second by second."""

    def __init__(self, program: str, devices: int, seconds: int, **settings: float) -> None:
        words = [str(word).replace("_", "-") for pair in settings.items() for word in pair]
        output = subprocess.run([program, "devices", str(devices), "seconds", str(seconds), *words],
                                check=True, stdout=subprocess.PIPE).stdout
        numbers = array.array("I")
        numbers.frombytes(output)
        assert len(numbers) == 3 * seconds
        self.first, self.second, self.waiting = (numbers[i * seconds:(i + 1) * seconds] for i in range(3))
        self.devices = devices

    def requests_each(self) -> float:
        return (sum(self.first) + sum(self.second)) / self.devices

    def last_set(self, since: int = 0) -> int | None:
        """Seconds until nobody waits any more; none: they still do."""
        for second in range(len(self.waiting) - 1, since - 1, -1):
            if self.waiting[second]:
                return second + 1 - since if second + 1 < len(self.waiting) else None
        return 0


def mean(counts: array.array[int]) -> float:
    return sum(counts) / len(counts)


def rate(value: float) -> str:
    """Requests a second: whole numbers are of one second, others are means."""
    return f"{value:,.0f}" if isinstance(value, int) or value >= 10 else f"{value:.2f}"


def lasting(seconds: int | None) -> str:
    if seconds is None:
        return "not in two days"
    if seconds == 0:
        return "at once"
    if seconds < 10 * MINUTE:
        return f"{seconds} s"
    return f"{seconds / MINUTE:.0f} min" if seconds < 2 * HOUR else f"{seconds / HOUR:.1f} h"


# --- the tables -----------------------------------------------------------------

def peace(program: str, devices: int) -> Rows:
    record = Record(program, devices, 2 * ROUND, **OLD)
    row = []
    for counts in (record.first[ROUND:], record.second[ROUND:]):
        row += [rate(mean(counts)), rate(max(counts))]
    return [row]


def power_cut(program: str, devices: int) -> Rows:
    rows = []
    for name, spread in SPREADS.items():
        end = HOUR + 10 * MINUTE
        record = Record(program, devices, 8 * WEEK + end, **POWER_CUT, spread=spread)
        around = {week: slice(max(0, week * WEEK - 10 * MINUTE), week * WEEK + end) for week in (0, 1, 2, 4, 8)}
        rows.append([name, *(rate(max(record.first[around[week]])) for week in (0, 1, 4, 8)),
                     rate(max(record.second[around[2]]))])
    return rows


def first_dead(program: str, devices: int) -> Rows:
    dies = ROUND + WEEK
    record = Record(program, devices, dies + ROUND, **OLD, first_dies=dies, first_returns=FOR_EVER)
    after = slice(dies, None)
    waited = mean(record.waiting[after])
    rows = [["dies in peace", rate(max(record.first[after])), rate(max(record.second[after])),
             rate(mean(record.second[after])), f"{waited:,.0f} at any time"]]
    for name, spread in SPREADS.items():
        record = Record(program, devices, 2 * HOUR, **POWER_CUT, spread=spread, first_returns=FOR_EVER)
        rows.append([f"dead at a power cut, spread: {name}", rate(max(record.first)), rate(max(record.second)),
                     "-", f"all for 150 s; the last clock is set after {lasting(record.last_set())}"])
    return rows


def both_gone(record: Record, dies: int, returns: int) -> list[str]:
    servers = (record.first, record.second)
    busiest = [rate(max(counts[dies:returns])) for counts in servers]
    later = slice(returns + WEEK - 10 * MINUTE, returns + WEEK + 20 * MINUTE)
    return [*busiest, f"{record.waiting[returns - 1]:,}",
            rate(max(max(counts[returns:returns + 10 * MINUTE]) for counts in servers)),
            lasting(record.last_set(returns) if dies == 0 else waited_out(record, returns)),
            rate(max(max(counts[later]) for counts in servers))]


def waited_out(record: Record, returns: int) -> int:
    """Seconds until those who waited are served, once the servers are back."""
    return next(second for second in range(returns, len(record.waiting)) if not record.waiting[second]) + 1 - returns


def both_dead(program: str, devices: int) -> Rows:
    dies, returns = ROUND + WEEK, ROUND + WEEK + DAY
    record = Record(program, devices, returns + WEEK + HOUR, **OLD, first_dies=dies, first_returns=returns,
                    second_dies=dies, second_returns=returns)
    rows = [["a day, in peace", *both_gone(record, dies, returns)]]
    for name, spread in SPREADS.items():
        returns = 2 * HOUR
        record = Record(program, devices, returns + WEEK + HOUR, **POWER_CUT, spread=spread,
                        first_returns=returns, second_returns=returns)
        rows.append([f"2 h, from a power cut on, spread: {name}", *both_gone(record, 0, returns)])
    return rows


def limits(program: str, devices: int) -> Rows:
    rows = []
    for limit in (10_000, 1_000, 500, 200, 100, 50, 10):
        limit *= devices // SMALL
        row = [f"{limit:,}"]
        for spread in SPREADS.values():
            record = Record(program, devices, 2 * DAY, **POWER_CUT, spread=spread, limit=limit)
            row.append(f"{lasting(record.last_set())} ({record.requests_each():.1f})")
        rows.append(row)
    return rows


def refusals(program: str, devices: int) -> Rows:
    limit = 100 * (devices // SMALL)
    rows = []
    for words, refuses in (("dropped", 0), ("answered with a refusal", 1)):
        record = Record(program, devices, 6 * HOUR, **POWER_CUT, limit=limit, refuses=refuses)
        early = slice(0, 10 * MINUTE)
        rows.append([words, f"{limit:,}", rate(mean(record.first[early]) + mean(record.second[early])),
                     f"{record.requests_each():.1f}", lasting(record.last_set())])
    return rows


def rounded_up(value: int) -> str:
    """To two digits."""
    unit = 10 ** max(0, len(str(value)) - 2)
    return f"{-(-value // unit) * unit:,}"


def provide(program: str, devices: int) -> Rows:
    row = []
    for spread, returns in ((5 * MINUTE, 0), (5 * MINUTE, HOUR), (0, HOUR)):
        record = Record(program, devices, HOUR + 10 * MINUTE, **POWER_CUT, spread=spread, first_returns=returns,
                        second_returns=returns)
        row.append(rounded_up(max(max(record.first), max(record.second))))
    return [row]


TABLES: dict[str, tuple[str, Callable[[str, int], Rows]]] = {
    "peace": ("first server: mean | busiest second | second server: mean | busiest second", peace),
    "power cut": ("spread | at the start | a week later | 4 weeks | 8 weeks | second server, 2 weeks", power_cut),
    "first dead": ("the first server | busiest second there, in vain | busiest second at the second server "
                   "| mean there | devices that wait", first_dead),
    "both dead": ("gone for | busiest second at the first | at the second | waiting at the end "
                  "| busiest second on return | last clock set after | busiest second a week later", both_dead),
    "limits": (f"limit | {' | '.join(f'spread: {name}' for name in SPREADS)}", limits),
    "refusals": ("requests above the limit are | limit | requests a second in the first 10 minutes "
                 "| requests of a device | last clock set after", refusals),
    "provide": ("start spread by 5 minutes | the same, and both servers were gone for an hour "
                "| both gone, no spread", provide),
}


def table(name: str, program: str, sizes: list[int]) -> list[str]:
    heading, made_by = TABLES[name]
    lines = [f"| devices | {heading} |", "|---" * (heading.count("|") + 2) + "|"]
    for devices in sizes:
        lines += [f"| {devices:,} | {' | '.join(row)} |" for row in made_by(program, devices)]
    return lines


def with_tables(page: str, program: str, sizes: list[int]) -> str:
    """The page with its tables made anew, each between two comments."""
    parts = re.split(r"(?m)^(<!-- table: .* -->\n)[^<]*(^<!-- end -->\n)", page)
    assert [words[len("<!-- table: "):-len(" -->\n")] for words in parts[1::3]] == list(TABLES), "tables of the page"
    for at, name in zip(range(1, len(parts), 3), TABLES):
        parts[at] += "\n" + "\n".join(table(name, program, sizes)) + "\n\n"
    return "".join(parts)


# --- the picture ----------------------------------------------------------------

def picture(program: str) -> str:
    """Of 100,000 devices."""
    def of(counts: array.array[int], begin: int, end: int, bin_: int) -> list[tuple[float, float]]:
        return [(at - begin, sum(counts[at:at + bin_]) / bin_) for at in range(begin, end, bin_)]

    cut = {name: Record(program, SMALL, 2 * HOUR, **POWER_CUT, spread=spread) for name, spread in SPREADS.items()}
    dead = Record(program, SMALL, HOUR, **POWER_CUT, spread=MINUTE, first_returns=FOR_EVER)
    dies, returns = ROUND + WEEK, ROUND + WEEK + DAY
    day = Record(program, SMALL, returns + WEEK + HOUR, **OLD, first_dies=dies, first_returns=returns,
                 second_dies=dies, second_returns=returns)
    limited = {name: Record(program, SMALL, 2 * HOUR + 1, **POWER_CUT, spread=spread, limit=100)
               for name, spread in SPREADS.items()}
    before, later = dies - DAY // 2, returns + WEEK - 5 * MINUTE
    spread_lines = list(zip(("none", "minute", "five", "hour"), SPREADS))
    return drawn("A hundred thousand devices and their servers", [
        Panel("After a power cut: requests a second at the first server, for each spread", "min", MINUTE,
              [Line(kind, name, of(cut[name].first, 0, 8 * MINUTE, 1)) for kind, name in spread_lines], log=True),
        Panel("The first server is dead at a power cut (spread 1 min): requests a second", "min", MINUTE,
              [Line("first", "first server", of(dead.first, 0, 8 * MINUTE, 1)),
               Line("second", "second server", of(dead.second, 0, 8 * MINUTE, 1))], log=True),
        Panel("Both servers are gone for a day, in peace: requests a second, means of 5 minutes", "h", HOUR,
              [Line("first", "first server", of(day.first, before, returns + DAY // 2, 5 * MINUTE)),
               Line("second", "second server", of(day.second, before, returns + DAY // 2, 5 * MINUTE))], log=True),
        Panel("A week after their return (5 min): requests a second, means of 5 s", "min", MINUTE,
              [Line("first", "first server", of(day.first, later, later + 15 * MINUTE, 5)),
               Line("second", "second server", of(day.second, later, later + 15 * MINUTE, 5))], log=True),
        Panel("A power cut and a limit of 100 requests a second: devices that wait, for each spread", "min", MINUTE,
              [Line(kind, name, of(limited[name].waiting, 0, 2 * HOUR, 30)) for kind, name in spread_lines]),
    ])


def show_differences(shown: str, made: str, name: str) -> bool:
    lines = list(difflib.unified_diff(shown.splitlines(), made.splitlines(), f"docs/{name}",
                                      "what the simulation gives", lineterm=""))
    print("\n".join(lines[:60]), end="\n" if lines else "")
    return bool(lines)


def main() -> int:
    programs = [word for word in sys.argv[1:] if not word.startswith("--")]
    options = set(sys.argv[1:]) - set(programs)
    if len(programs) != 1 or options - {"--check", "--full"}:
        print(__doc__, file=sys.stdout if "--help" in options else sys.stderr)
        return 0 if "--help" in options else 2
    page = PAGE.read_text()
    if "--check" not in options:
        PAGE.write_text(with_tables(page, programs[0], [SMALL, LARGE]))
        PICTURE.write_text(picture(programs[0]))
        return 0
    sizes = [SMALL]
    if "--full" in options:
        sizes.append(LARGE)
    else:
        page = re.sub(rf"(?m)^\| {LARGE:,} \|.*\n", "", page)
    wrong = show_differences(page, with_tables(page, programs[0], sizes), PAGE.name)
    wrong |= show_differences(PICTURE.read_text(), picture(programs[0]), PICTURE.name)
    return int(wrong)


if __name__ == "__main__":
    sys.exit(main())
