# SPDX-License-Identifier: GPL-2.0-or-later
"""The discovery of daylight-saving time against a model: from the list's text to the
decision, for many zones, years and instants, in several zones of the process.

python3 -m tests.differential.zone_dump.python_discovery PROGRAM [--full | --share N] [--seed N]

PROGRAM is zone_dump_run.
"""

import collections
import pathlib
import sys
import tempfile

from tests.differential.zone_dump.program import ProgramRun
from tests.differential.zone_dump.python_dump import NO_FILE, RULES, failure, leap_zones
from tests.models.discovery import NORTHERN, SOUTHERN, decide, finder_of, judge
from tests.models.local_times import HIGHEST, LOWEST, MadeZone, fields_of, file_zone, rule_zone, year_start
from tests.models.zone_dump import Answer, Model
from tests.models.zone_files import ZONES, contents_of, transitions_of, zone_files

WAITED = 100000000
EMPTY = b"\r\nThe location where you need to get daylight saving time is empty.\r\n"

# The Azores skip the hour at which, in UTC, their own changes come.
PROCESS_ZONES = ("UTC", "Atlantic/Azores", "Europe/Paris", "Australia/Sydney",
                 "America/New_York", "Asia/Kolkata", "Australia/Lord_Howe", "Europe/Dublin",
                 "Africa/Casablanca", "America/Santiago")

class Discoveries(ProgramRun):
    def __init__(self, arguments):
        super().__init__(arguments)
        self.model = Model()
        self.finders = {}
        self.set_process_zone("UTC")
        self.results = collections.Counter()

    def set_process_zone(self, name, finder=None):
        if name not in self.finders:
            self.finders[name] = finder or finder_of(name)
        self.process = name
        self.program.tell("tz", name)

    def expected(self, year, location, zone):
        """The answer without a decision, and what the list says."""
        listed = self.model.run([(location, zone)], (year_start(year), year_start(year + 1)))
        return (listed._replace(result=0, slept=WAITED),
                judge(listed.dump or b"", year, self.finders[self.process]))

    def instants(self, year, found):
        middles = [year_start(year) + day * 86400 + 43200 for day in (14, 196)]
        if found is None:
            return middles
        chosen = [bound + by for bound in {*found[0], *found[1], *found[2]} for by in (-1, 0, 1)]
        if not self.full:
            chosen = [found[i][0] + by for i in (0, 2) for by in (-1, 0, 1)]
        chosen += [LOWEST, HIGHEST, self.random.randint(year_start(year), year_start(year + 1))]
        return middles + chosen

    def compare(self, year, location, zone):
        plain, verdict = self.expected(year, location, zone)
        instants = [now for now in self.instants(year, verdict.found) if LOWEST <= now <= HIGHEST]
        answers = self.program.ask_all([("dst", year, now, location) for now in instants])
        for now, answer in zip(instants, answers):
            wanted = plain._replace(result=verdict.result(now), output=verdict.output(now))
            if verdict.found:
                self.results[decide(verdict.found, now)[1]] += 1
            self.same(f"TZ={self.process} {location} {year} {now}", answer, wanted)


def compare_files(run, zones):
    """Every zone, with the process in that zone and in another one."""
    for name, zone in run.zones(zones).items():
        processes = [name] + run.random.sample(PROCESS_ZONES, run.amount(1, len(PROCESS_ZONES)))
        for process in processes:
            run.set_process_zone(process)
            years = [run.random.randint(1970, 2037)]
            if run.full:
                years = run.random.sample(range(1970, 2038), 12) + [run.random.randint(1850, 2200)]
            for year in years:
                run.compare(year, name, zone)
        if name not in PROCESS_ZONES:
            del run.finders[name]


def compare_years(run, zones):
    """Some zones over all years, also those whose digits stand in the lowest instants."""
    for name in ("Europe/London", "Australia/Sydney", "America/New_York"):
        run.set_process_zone(run.random.choice(PROCESS_ZONES))
        for year in [*range(2033, 2040), *run.some(range(1, 9999), 60)]:
            run.compare(year, name, zones[name])
    for year in (1, 9, 10, 22, 77, 100, 585, 1970, 2036, 4775, 5477, 6854, 8547, 9223, 9998, 9999):
        run.compare(year, "AAA5BBB,M3.2.0,M11.1.0", rule_zone("AAA5BBB,M3.2.0,M11.1.0"))


def compare_rules(run):
    for rule in RULES:
        for _ in range(run.amount(1, 20)):
            run.set_process_zone(run.random.choice(PROCESS_ZONES))
            run.compare(run.random.randint(1970, 2037), rule, rule_zone(rule))


def compare_odd_locations(run):
    """Lists that are hard to read."""
    run.set_process_zone("Europe/Paris")
    # No line to parse: a blank in the name; lines longer than what is read at once.
    rules = ["<A B>3<CDE>,M3.2.0,M11.1.0", "<A B C>3<D E F>,M10.2.0,M3.1.0"]
    for length in run.some(range(150, 250), 10):
        rules.append(f"<{'A' * length}>3<BCD>,M3.2.0,M11.1.0")
        rules.append(f"<{'A' * length}>3<BCD>,M10.2.0,M3.1.0")
    for rule in rules:
        for year in (2020, run.random.randint(1970, 2037)):
            run.compare(year, rule, rule_zone(rule))
    with tempfile.TemporaryDirectory(dir="/var/tmp") as folder:
        def write(name, zone):
            path = pathlib.Path(folder) / name
            path.write_bytes(zone.data())
            return str(path)

        starts = [year_start(2020) + day * 86400 for day in (90, 200, 300, 310)]
        for abbreviations in (("STD", "DST"), ("", ""), ("S T", "D T"), ("", "DST"), ("STD", "")):
            types = [(3600, 0, abbreviations[0]), (7200, 1, abbreviations[1])]
            for count in range(1, 5):
                for first in (0, 1):
                    zone = MadeZone(types, [(when, (i + first) % 2)
                                            for i, when in enumerate(starts[:count])])
                    run.compare(2020, write("zone", zone), zone)
            # The year stands in every line.
            zone = MadeZone(types, [(starts[0], 1), (starts[2], 0)])
            run.compare(2020, write("in 2020", zone), zone)
            run.compare(2020, write("in2020", zone), zone)
            run.compare(2020, write("in 20", zone), zone)
        # At the year's first second, and at the next one's.
        for when in (year_start(2020), year_start(2020) + 1, year_start(2021), year_start(2021) + 1):
            zone = MadeZone(types, [(when, 1)])
            run.compare(2020, write("zone", zone), zone)


def compare_near_changes(run, zones):
    """Bounds that read like the hours which a change of the process's zone repeats or
    skips."""
    with tempfile.TemporaryDirectory(dir="/var/tmp") as folder:
        path = pathlib.Path(folder) / "zone"
        for name in run.some(list(zones), 150):
            times = [when for when in transitions_of(contents_of(ZONES / name))
                     if year_start(1950) < when < year_start(2038)]
            if not times:
                continue
            run.set_process_zone(name)
            for when in run.some(times, 2, 10):
                reads = sorted(when + zones[name].look(when + by)[0] for by in (-1, 0))
                change = run.random.randint(reads[0] - 600, reads[1] + 600)
                other = change + run.random.choice((-1, 1)) * run.random.randint(1, 150) * 86400
                types = [(run.random.randint(-4, 4) * 1800, dst, "AAA") for dst in (0, 1)]
                first = run.random.randint(0, 1)
                zone = MadeZone(types, [(moment, (first + i) % 2)
                                        for i, moment in enumerate(sorted((change, other)))])
                path.write_bytes(zone.data())
                run.compare(fields_of(change, 0)[1], str(path), zone)
        # 01:00:00 comes twice on the first day of 2019, both times by standard time.
        run.set_process_zone("Africa/Sao_Tome")
        zone = MadeZone([(0, 0, "AAA"), (3600, 1, "BBB")],
                        [(year_start(2019) + 3601, 1), (year_start(2019) + 300 * 86400, 0)])
        path.write_bytes(zone.data())
        run.compare(2019, str(path), zone)


def compare_failures(run):
    for name in ("No/Where", "/no/such/zone"):
        run.compare(2020, name, failure(name, NO_FILE))
    london = file_zone("Europe/London")
    run.compare(2020, "Europe/London", london)
    last = run.model.run([("Europe/London", london)], (year_start(2020), year_start(2021))).dump
    for year in (2020, -5):
        run.same("empty location", run.program.ask("dst", year, 0, ""),
                 Answer(-1, last, EMPTY, b"", 0))
    for year in (-1, -2020, 10000, 2147483647, -2147483648):
        answer = run.program.ask("dst", year, 0, "Europe/London")
        if not answer.output:
            run.fail(f"no message for the year {year}")
        run.same(f"year {year}", answer, Answer(-1, last, answer.output, b"", 0))
    # The list can't be written, hence not be read.
    run.program.tell("folder", 1)
    message = b'********zdump:fopen("/tmp/dstconfig", "cw") error..!' * last.count(b"\n")
    run.same("folder", run.program.ask("dst", 2020, 1594000000, "Europe/London"),
             Answer(0, None, message, b"", WAITED))
    run.program.tell("folder", 0)


def compare_leap_zones(run):
    zones = leap_zones()
    for name in run.some(list(zones), 20):
        run.set_process_zone(run.random.choice(PROCESS_ZONES))
        for year in (run.random.randint(1970, 2037), run.random.choice((1972, 1990, 2005, 2016))):
            run.compare(year, name, zones[name])


def main():
    run = Discoveries(sys.argv[1:])
    zones = {name: file_zone(name) for name in zone_files()}
    if len(zones) < 250:
        run.fail(f"only {len(zones)} zone files")
    compare_files(run, zones)
    compare_years(run, zones)
    compare_rules(run)
    compare_odd_locations(run)
    compare_near_changes(run, zones)
    compare_failures(run)
    compare_leap_zones(run)
    for message in (b"", NORTHERN, SOUTHERN):
        if run.results[message] == 0:
            run.fail(f"never decided: {message}")
    return run.end((), f"{len(zones)} zone files")


if __name__ == "__main__":
    sys.exit(main())
