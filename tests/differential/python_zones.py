# SPDX-License-Identifier: GPL-2.0-or-later
"""The time-zone engine against Python's zoneinfo, over every zone file.

python3 -m tests.differential.python_zones PROGRAM [--full | --share N] [--seed N]

PROGRAM is tz_differential: it converts what it is asked to, line by line.
"""

import pathlib
import subprocess
import sys
import tempfile
from datetime import datetime, timedelta, timezone
from zoneinfo import ZoneInfo

from tests.common.runner import Run
from tests.models.local_times import EPOCH, FIRST, LAST
from tests.models.zone_files import block, rule_file, transitions_of, zone_files

# Where zoneinfo differs for a reason; each must occur.
#  before the table: it takes the first standard type, the engine type 0 when no
#  transition uses it.  None of today's files shows this; BEFORE_TABLE is made to.
BEFORE_TABLE = "before the first transition"
#  zero-based days: it takes them one day early.
ZERO_BASED = "zero-based days"


class Zones(Run):
    def ask(self, zone, questions):
        """The program's answers, one for each question."""
        text = "".join(line + "\n" for line in [f"zone {zone}"] + questions)
        done = subprocess.run([*self.command, "--answer"], input=text, capture_output=True,
                              text=True, check=True)
        answers = done.stdout.splitlines()
        if len(answers) != len(questions):
            self.fail(f"{zone}: {len(answers)} answers to {len(questions)} questions")
        return answers

    def instants(self, data):
        count = 1000 if self.full else 120
        times = transitions_of(data)
        if not self.full:
            times = self.random.sample(times, min(len(times), 40))
        chosen = [when + distance for when in times for distance in (-2, -1, 0, 1, 2)]
        for low, high in ((0, 4102444800), (-6000000000, 30000000000), (FIRST, LAST)):
            chosen += [self.random.randint(low, high) for _ in range(count)]
        return [when for when in chosen if FIRST <= when <= LAST]

    def compare(self, name, zone, data, excuse=None):
        """A zone by its name for the engine and by its object for Python."""
        chosen = self.instants(data)
        local = [datetime.fromtimestamp(when, timezone.utc).astimezone(zone) for when in chosen]
        answers = self.ask(name, [f"local {when}" for when in chosen])
        for when, here, answer in zip(chosen, local, answers):
            self.compared += 1
            offset = int(here.utcoffset().total_seconds())
            expected = (f"{here.year} {here.month} {here.day} {here.hour} {here.minute} "
                        f"{here.second} {offset} {here.tzname()}")
            if answer == expected:
                continue
            if excuse and excuse(when):
                self.explained[BEFORE_TABLE] += 1
            else:
                self.fail(f"{name} {when}: {answer}, zoneinfo {expected}")
        if not excuse:
            self.compare_inverse(name, zone, local)

    def compare_inverse(self, name, zone, local):
        """Local times as they stand, and some that may lie in a gap."""
        naive = [here.replace(tzinfo=None, fold=0) for here in local]
        naive += [here + timedelta(seconds=self.random.randint(-5400, 5400))
                  for here in self.random.sample(naive, len(naive) // 2)]
        answers = self.ask(name, [
            f"time {here.year} {here.month} {here.day} {here.hour} {here.minute} {here.second}"
            for here in naive])
        for here, answer in zip(naive, answers):
            self.compared += 1
            expected = set()
            for fold in (0, 1):
                aware = here.replace(tzinfo=zone, fold=fold)
                moment = (here - aware.utcoffset() - EPOCH).total_seconds()
                back = datetime.fromtimestamp(moment, timezone.utc).astimezone(zone)
                if back.replace(tzinfo=None, fold=0) == here:
                    expected.add(str(int(moment)))
            if answer not in (expected or {"none"}):
                self.fail(f"{name} mktime of {here}: {answer}, zoneinfo {expected or 'none'}")


# TZ strings, with what zoneinfo has to be told where it differs.  None changes
# within a day of the new year: zoneinfo goes by the rules of the year in UTC.
RULES = [
    "<+03>-3",
    "AAA5BBB,M3.2.0,M11.1.0",
    "AAA-10BBB,M10.1.0,M4.1.0/3",
    "AAA-1BBB0,M10.5.0,M3.5.0/1",
    "AAA3BBB,M3.5.0/-1,M10.5.0/25",
    "AAA4BBB,J60/0,J300/24",
    ("AAA4BBB,59/0,300/24", "AAA4BBB,60/0,301/24"),
    "AAA-12BBB,M1.2.1/0,M12.4.0/24",
    "AAA2BBB,M3.4.4/50,M10.4.4/50",
]


def made_zone(folder, name, data):
    path = folder / name
    path.write_bytes(data)
    with open(path, "rb") as file:
        return str(path), ZoneInfo.from_file(file)


def main():
    run = Zones(sys.argv[1:])
    files = zone_files()
    if len(files) < 250:
        run.fail(f"only {len(files)} zone files")
    for name, data in run.zones(files).items():
        run.compare(name, ZoneInfo(name), data)
    with tempfile.TemporaryDirectory() as folder:
        for number, rule in enumerate(RULES):
            rule, told = rule if isinstance(rule, tuple) else (rule, rule)
            data = rule_file(told)
            _, zone = made_zone(pathlib.Path(folder), f"rule{number}", data)
            run.compare(rule, zone, data)
            if told != rule:
                _, same = made_zone(pathlib.Path(folder), f"same{number}", rule_file(rule))
                last_day = datetime(2039, 10, 28, 12, tzinfo=timezone.utc)
                if last_day.astimezone(same) != last_day.astimezone(zone).replace(tzinfo=same):
                    run.explained[ZERO_BASED] += 1
        data = block([(7200, 1, 0), (3600, 0, 4)], [(1000000000, 1)], b"DST\0STD\0")
        run.compare(*made_zone(pathlib.Path(folder), "before", data), data,
                    lambda when: when < 1000000000)
    return run.end((BEFORE_TABLE, ZERO_BASED), f"{len(files)} zone files, {len(RULES)} rules")


if __name__ == "__main__":
    sys.exit(main())
