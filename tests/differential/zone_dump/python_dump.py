# SPDX-License-Identifier: GPL-2.0-or-later
"""The zone dump against a model that walks and bisects step by step, with local times
from zoneinfo: the whole file, the messages and the result.

python3 -m tests.differential.zone_dump.python_dump PROGRAM [--full | --share N] [--seed N]

PROGRAM is zone_dump_run.
"""

import pathlib
import re
import sys
import tempfile

from tests.differential.zone_dump.program import ProgramRun
from tests.models.local_times import (FIRST_CLOCK, HIGHEST, LAST_CLOCK, LOWEST, UTC, Fixed, LeapZone, MadeZone,
                                      as_zoneinfo_reads, file_zone, rule_zone, year_start)
from tests.models.zone_dump import DAY, STEP, Answer, Model, failure
from tests.models.zone_files import ZONES, contents_of, rule_file, zone_files

# Where zoneinfo differs for a reason; each must occur.
BEFORE_TABLE = "before the first transition"
ZERO_BASED = "zero-based days"
#  Its flag is whether the clock is put forward, not what the zone says.
SAME_OFFSET = "daylight-saving time at the standard offset"

NO_FILE = "No such file or directory"

# TZ strings.  None changes within a day of the new year: zoneinfo goes by the rules
# of the year in UTC.
RULES = [
    "UTC0",
    "<+03>-3",
    "<-0330>3:30",
    "AAA-14:59:59",
    "AAA5BBB,M3.2.0,M11.1.0",
    "AAA5BBB4;M3.2.0,M11.1.0",
    "AAA-1BBB,M3.5.0,M10.5.0/3",
    "AAA-10BBB,M10.1.0,M4.1.0/3",
    "AAA-10:30BBB-11,M10.1.0,M4.1.0",
    "AAA3BBB,M3.5.0/-1,M10.5.0/25",
    "AAA2BBB,M3.4.4/50,M10.4.4/50",
    "AAA4BBB,J60/0,J300/24",
    "AAA4BBB,59/0,300/24",
    "AAA-12BBB,M1.2.1/0,M12.4.0/24",
    # daylight-saving time in winter, an hour back
    "IST-1GMT0,M10.5.0,M3.5.0/1",
    "AAA-1BBB0,M4.1.0,M9.1.0",
    # at the standard offset: only flag and abbreviation change
    "AAA3BBB3,M3.2.0,M11.1.0",
    # the same abbreviation
    "AAA3AAA,M3.2.0,M11.1.0",
    # two changes within a step of the walk, and back
    "AAA3BBB,M4.1.0/2,M4.1.0/8",
    "AAA3BBB,M4.1.0/2,M4.1.0/15",
    # the changes of "posixrules"
    "AAA5BBB",
    "AAA8BBB",
    "AAA-1BBB",
    "AAA0BBB-2",
    # abbreviations to be warned of
    "X0",
    "AB3CD,M3.2.0,M11.1.0",
    "ABC3DE,M3.2.0,M11.1.0",
    "<ABCDEFG>3DEF,M3.2.0,M11.1.0",
    "ABCDEF3ABCDEFG,M3.2.0,M11.1.0",
    "<A.C>3<D F>,M3.2.0,M11.1.0",
    "<A*>3<B/*?>,M3.2.0,M11.1.0",
    "<AB_>3DEF,M3.2.0,M11.1.0",
    "ABCDEFGHIJKLMNOPQRSTUVW3BBB,M3.2.0,M11.1.0",
    "<+->3<-+->,M3.2.0,M11.1.0",
    # names longer than there is room for in a line
    f"<{'A' * 243}>3<B>,M3.2.0,M11.1.0",
    f"<{'A' * 200}>3<{'B' * 100}>,M3.2.0,M11.1.0",
]

SPANS = [
    (2020, 2021),
    (2015, 2025),
    (1900, 2100),
    (2021, 2021),
    (2022, 2021),
    (-5, 15),
    (-110, -95),
    (995, 1005),
    (2760, 2780),
    (4990, 5010),
    (9995, 10005),
    (-100005, -99995),
    (2147483640, 2147483650),
    # the ends of the calendar, of the instants, and beyond
    (-2147481750, -2147481745),
    (2147485545, 2147485550),
    (-292277022660, -292277022655),
    (292277026590, 292277026600),
    (292277026600, 400000000000),
    (-400000000000, -292277022650),
    (400000000000, -400000000000),
]


def parse_span(text):
    """What a cut-off argument asks for; None when it can't be read."""
    if text is None:
        text = "2500"
    if not re.fullmatch(r"-?\d+(,-?\d+)?", text):
        return None
    return tuple(year_start(int(year)) for year in ("-500," + text).split(",")[-2:])


class Dumps(ProgramRun):
    def __init__(self, arguments):
        super().__init__(arguments)
        self.model = Model()

    def verbose(self, zones, cut_off):
        span = parse_span(cut_off)
        expected = self.model.run(zones, span) if span else Answer(1, None, b"", b"", 0)
        names = [name for name, _ in zones]
        answer = self.program.ask("dump", "zdump", "-c", cut_off, "-v", *names)
        self.same(f"{cut_off} {names}", answer, expected)

    def years(self, zones, low, high):
        self.verbose(zones, f"{low},{high}")

    def plain(self, zones, now, *arguments):
        self.program.tell("now", now)
        names = [name for name, _ in zones]
        answer = self.program.ask("dump", *arguments, *names)
        self.same(f"{arguments} {now} {names}", answer, self.model.run(zones, now=now))


def compare_files(run, zones):
    for name, zone in run.zones(zones).items():
        run.years([(name, zone)], 2020, 2021)
    for name in run.some(list(zones), 60):
        run.years([(name, zones[name])], 2015, 2025)
    for name in run.some(list(zones), 3):
        run.years([(name, zones[name])], 1900, 2100)
    # The years that are taken without any given are many: a share of the sample may have none.
    for name in run.some(list(zones), 1, 60) if run.random.randrange(run.share) == 0 else ():
        expected = run.model.run([(name, zones[name])], parse_span(None))
        for arguments in (("-c", None), (run.random.choice(("", "-d", None)), None)):
            answer = run.program.ask("dump", "zdump", *arguments, "-v", name)
            run.same(f"{arguments} {name}", answer, expected)
    for name in run.some(list(zones), 10, 100):
        low = run.random.choice((run.random.randint(1850, 2040), run.random.randint(-500, 12000)))
        run.years([(name, zones[name])], low, low + run.random.randint(1, run.amount(5, 50)))


def compare_rules(run):
    zones = {rule: rule_zone(rule) for rule in RULES}
    for rule, zone in run.zones(zones).items():
        for low, high in SPANS if run.full else SPANS[:2] + run.random.sample(SPANS[3:], 3):
            run.years([(rule, zone)], low, high)
    for rule in run.some(RULES, 1):
        run.years([(rule, zones[rule])], 1900, 2100)
    for rule in run.some(RULES, 0, 10):
        run.verbose([(rule, zones[rule])], None)
    # The differences are there: what zoneinfo says by itself is not what is dumped.
    span = year_start(2020), year_start(2021)
    for difference, rule in ((ZERO_BASED, "AAA4BBB,59/0,300/24"),
                             (SAME_OFFSET, "AAA3BBB3,M3.2.0,M11.1.0")):
        theirs = as_zoneinfo_reads(rule_file(rule))
        run.explained[difference] += Model().run([(rule, theirs)], span) != Model().run(
            [(rule, zones[rule])], span)
    return zones


def compare_many(run, zones):
    """Several zones at once: one width, and a zone that does not exist ends it."""
    broken = [
        ("Nowhere/City", NO_FILE),
        ("AAA3BBB,M3.2.0,M11.1.0,", NO_FILE),
        ("AAA169", NO_FILE),
        (":UTC0", NO_FILE),
        ("/no/such/zone", NO_FILE),
        ("Europe", "Is a directory"),
        ("zone.tab", "Invalid argument"),
        ("../zoneinfo/Nowhere", NO_FILE),
        ("Europe/" + "x" * 256, "File name too long"),
        ("x" * 5000, "File name too long"),
        ("../../../etc/passwd", "Invalid argument"),
    ]
    broken = [(name, failure(name, reason)) for name, reason in broken]
    for _ in range(run.amount(30, 500)):
        chosen = [(name, zones[name])
                  for name in run.random.sample(list(zones), run.random.randint(0, 6))]
        if run.random.random() < 0.5:
            chosen.insert(run.random.randint(0, len(chosen)), run.random.choice(broken))
        low = run.random.randint(1900, 2100)
        run.years(chosen, low, low + run.random.randint(0, 3))
    for bad in broken:
        run.years([bad], 2020, 2021)
        run.years([("UTC0", zones["UTC0"]), bad, ("UTC0", zones["UTC0"])], 2020, 2021)
    # No bytes are named "GMT", a colon is a file's, nothing is looked for in a path.
    alike = [("", Fixed(0, 0, "GMT")), (":Europe/Paris", zones["Europe/Paris"]),
             (str(ZONES / "Asia/Tokyo"), zones["Asia/Tokyo"]),
             ("../zoneinfo/Asia/Tokyo", zones["Asia/Tokyo"])]
    run.years(alike, 1940, 1960)
    run.years(alike[:1], 2020, 2021)
    run.years([("Europe/Paris", zones["Europe/Paris"])] * 3, 2020, 2021)


def compare_cut_offs(run, zones):
    some = [("AB3CD,M3.2.0,M11.1.0", zones["AB3CD,M3.2.0,M11.1.0"]), ("UTC0", zones["UTC0"])]
    for text in ("", ",", "x", "2020,", "2020,x", ",2020", "2020x", "2020,2021x", "2020,2021,",
                 "2020,2021,2022", "2020;2021", "2020-2021", "2020,,2021", "2020.5", "0x7e4",
                 "2020,2021 x", "2020 ,2021", "-"):
        run.verbose(some, text)
    for text in ("-499", "-500", "-498", "0,1", "-1,1", "2020,2020", "0002020,02021"):
        run.verbose(some, text)


def compare_plain(run, zones, leap_zones):
    everything = {**zones, **leap_zones}
    nows = [0, -1, 1594000000, 1583000000, LOWEST, HIGHEST, FIRST_CLOCK, LAST_CLOCK, FIRST_CLOCK - 1,
            LAST_CLOCK + 1, -62135596800, -62167219201, 253402300800]
    nows += [run.random.randint(low, high) for low, high in (
        (0, 1 << 32), (0, 1 << 32), (-(1 << 40), 1 << 40), (FIRST_CLOCK, LAST_CLOCK))]
    for _ in range(run.amount(3, 30)):
        for now in nows:
            chosen = [(name, everything[name]) for name in run.random.sample(list(everything), 5)]
            chosen += [(rule, zones[rule]) for rule in run.random.sample(RULES, 3)]
            run.random.shuffle(chosen)
            arguments = run.random.choice((("zdump", "-c", "2020,2021", ""), (None, "", "x", "v"),
                                           ("zdump", "-c", "nonsense", "-V"), ("", "-v", "-v", "-")))
            run.plain(chosen, now, *arguments)
        # After a warning there is no other one until the changes were listed.
        run.years([("UTC0", zones["UTC0"])], 2020, 2021)
    run.plain([("UTC0", zones["UTC0"]), ("No/Where", failure("No/Where", NO_FILE)),
               ("X0", zones["X0"])], 0, "", "", "", "")
    run.plain([], 0, "", "", "", "")


def compare_file_in_the_way(run, zones):
    """Lines that can't be written are dropped one by one, with a message each."""
    run.program.tell("folder", 1)
    for rule in ("UTC0", "AB3CD,M3.2.0,M11.1.0"):
        expected = run.model.run([(rule, zones[rule])], parse_span("2020,2021"))
        message = b'********zdump:fopen("/tmp/dstconfig", "cw") error..!'
        expected = expected._replace(dump=None, output=message * expected.dump.count(b"\n"))
        run.same(rule, run.program.ask("dump", "", "-c", "2020,2021", "-v", rule), expected)
    run.program.tell("folder", 0)
    run.years([("UTC0", zones["UTC0"])], 2020, 2021)


def random_zone(run, leaps):
    """Changes of every kind and at every distance."""
    between = run.random.randint
    unit = 60 if leaps else 1
    types = [(between(-93600 // unit, 93600 // unit) * unit if between(0, 3) == 0
              else between(-4, 4) * 3600, between(0, 1), run.random.choice(("AAA", "BBB", "CC", "DDDDDDD")))
             for _ in range(between(1, 6))]
    transitions = []
    when = between(1577836800 - 40 * DAY, 1577836800 + 40 * DAY)
    for _ in range(between(0, 60)):
        transitions.append((when, between(0, len(types) - 1)))
        distance = run.random.choice((10, 3600, STEP - 1, 2 * STEP, 30 * DAY))
        when += run.random.choice((STEP - 1, STEP, STEP + 1, between(1, distance)))
    chosen = []
    if leaps:
        correction = 0
        when = 1577836800
        for _ in range(between(1, 12)):
            step = run.random.choice((-1, 1))
            # The last second of a minute: 60 after it, or not even 59.
            moment = when + correction + (0 if step > 0 else -1)
            correction += step
            chosen.append((moment, correction))
            when += between(30, 60) * DAY + between(0, 1439) * 60
    return MadeZone(types, transitions, chosen)


def compare_made(run):
    # Not below /tmp: the program has one of its own.
    with tempfile.TemporaryDirectory(dir="/var/tmp") as folder:
        def write(name, data):
            path = pathlib.Path(folder) / name
            path.write_bytes(data)
            return str(path)

        for number in range(run.amount(150, 20000)):
            zone = random_zone(run, number % 3 == 0)
            path = write(f"made{number % 10}", zone.data())
            low = run.random.randint(2019, 2021)
            run.years([(path, zone)], low, low + run.random.randint(1, 2))
        before = MadeZone([(7200, 1, "DST"), (3600, 0, "STD")], [(1000000000, 1)])
        path = write("before", before.data())
        run.years([(path, before)], 1990, 2010)
        run.explained[BEFORE_TABLE] += as_zoneinfo_reads(before.data()).look(0) != before.look(0)
        for data in (b"", before.data()[:43], before.data()[:-30], b"TZif" * 20):
            # Without the colon a folder's name with a digit in it can be a TZ string.
            path = ":" + write("damaged", data)
            run.years([("UTC0", UTC), (path, failure(path, "Invalid argument"))], 2020, 2021)


def leap_zones():
    names = {}
    seen = set()
    for path in sorted((ZONES / "right").rglob("*")):
        name = str(path.relative_to(ZONES / "right"))
        data = contents_of(path) if path.is_file() and not path.is_symlink() else b""
        if data and data not in seen:
            seen.add(data)
            names[f"right/{name}"] = LeapZone(name)
    return names


def compare_leap_zones(run, zones):
    for name in run.some(list(zones), 60):
        run.years([(name, zones[name])], 2015, 2025)
    for name in run.some(list(zones), 2):
        run.years([(name, zones[name])], 1900, 2100)


def main():
    run = Dumps(sys.argv[1:])
    zones = {name: file_zone(name) for name in zone_files()}
    if len(zones) < 250:
        run.fail(f"only {len(zones)} zone files")
    compare_files(run, zones)
    rules = compare_rules(run)
    everything = {**zones, **rules}
    leaps = leap_zones()
    compare_leap_zones(run, leaps)
    compare_many(run, everything)
    compare_cut_offs(run, everything)
    compare_plain(run, everything, leaps)
    compare_file_in_the_way(run, everything)
    compare_made(run)
    return run.end((BEFORE_TABLE, ZERO_BASED, SAME_OFFSET),
                   f"{len(zones)} zone files, {len(leaps)} with leap seconds, {len(rules)} rules")


if __name__ == "__main__":
    sys.exit(main())
