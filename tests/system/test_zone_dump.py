# SPDX-License-Identifier: GPL-2.0-or-later
"""The list of a zone's changes in /tmp/dstconfig."""
from __future__ import annotations

import shutil

from lab import Called
from lab.bench import Bench
from lab.exported import DUMP, ZONES, calls, content, years
from tests.models.local_times import instant, year_start
from tests.models.zone_dump import LONDON_2020, changes, dump_text, zone_of

DONE = Called(0)

SYDNEY_2021 = b"""\
Australia/Sydney  -9223372036854775808 = NULL
Australia/Sydney  -9223372036854689408 = NULL
Australia/Sydney  Sat Apr  3 15:59:59 2021 UT = Sun Apr  4 02:59:59 2021 AEDT isdst=1 gmtoff=39600
Australia/Sydney  Sat Apr  3 16:00:00 2021 UT = Sun Apr  4 02:00:00 2021 AEST isdst=0 gmtoff=36000
Australia/Sydney  Sat Oct  2 15:59:59 2021 UT = Sun Oct  3 01:59:59 2021 AEST isdst=0 gmtoff=36000
Australia/Sydney  Sat Oct  2 16:00:00 2021 UT = Sun Oct  3 03:00:00 2021 AEDT isdst=1 gmtoff=39600
Australia/Sydney  9223372036854689407 = NULL
Australia/Sydney  9223372036854775807 = NULL
"""
EXTREMES = b"""\
UTC0  -9223372036854775808 = NULL
UTC0  -9223372036854689408 = NULL
UTC0  9223372036854689407 = NULL
UTC0  9223372036854775807 = NULL
"""


def test_known_zones(bench: Bench) -> None:
    shim = calls(bench)
    for cut_off, zone, lines in (
        ("2020,2021", "Europe/London", LONDON_2020),
        ("2021,2022", "Australia/Sydney", SYDNEY_2021),
        ("2020,2021", "UTC0", EXTREMES),
        ("2021,2020", "UTC0", EXTREMES),
    ):
        assert years(shim, cut_off, zone) == DONE
        assert content(bench.world, DUMP) == lines
    # A rule does as well as a name.
    rule = "GMT0BST,M3.5.0/1,M10.5.0"
    assert years(shim, "2020,2021", rule) == DONE
    assert content(bench.world, DUMP) == LONDON_2020.replace(b"Europe/London", rule.encode())


def test_zones_of_the_world(bench: Bench) -> None:
    """Several in one list; odd offsets, offsets with seconds, a skipped day, many changes among them."""
    shim = calls(bench)
    for zones, low, high in (
        (["Africa/Casablanca", "Australia/Lord_Howe", "America/St_Johns", "Pacific/Apia"], 2008, 2040),
        (["Europe/Dublin", "Asia/Pyongyang", "Asia/Kathmandu", "UTC0", "Antarctica/Troll"], 1980, 2020),
        (["Europe/Amsterdam", "America/New_York"], 1883, 1950),
        (["Europe/Paris"], 2020, 2150),
    ):
        assert years(shim, f"{low},{high}", *zones) == DONE
        assert content(bench.world, DUMP) == dump_text(zones, low, high)


def test_bounds_are_first_seconds_of_years(bench: Bench) -> None:
    """A change at midnight of the new year, in UTC, belongs to the year before as well."""
    shim = calls(bench)
    zone = "AAA0BBB0,0/0,J180/0"
    assert years(shim, "2020,2021", zone) == DONE
    days = [line.split()[1:6] for line in (content(bench.world, DUMP) or b"").decode().splitlines()[2:-2]]
    assert days == [
        ["Sun", "Jun", "28", "23:59:59", "2020"], ["Mon", "Jun", "29", "00:00:00", "2020"],
        ["Thu", "Dec", "31", "23:59:59", "2020"], ["Fri", "Jan", "1", "00:00:00", "2021"],
    ]


def test_other_forms_of_years(bench: Bench) -> None:
    shim = calls(bench)
    for one, other in (("2021", "-500,2021"), (None, "-500,2500")):
        answers = []
        for cut_off in (one, other):
            assert years(shim, cut_off, "Europe/London") == DONE
            answers.append(content(bench.world, DUMP))
        assert answers[0] == answers[1]
        assert answers[0] is not None and len(answers[0]) >= len(LONDON_2020)
    # Without "-c" the years are not looked at.
    assert shim.call("zdump_main", "zdump", "", "x", "-v", "Europe/London") == DONE
    assert content(bench.world, DUMP) == answers[0]


def test_early_years(bench: Bench) -> None:
    """Year 0 and before, and a year of a single digit."""
    shim = calls(bench)
    assert years(shim, "-1,8", "AAA0BBB-1,J60/0,J300/0") == DONE
    lines = (content(bench.world, DUMP) or b"").decode().splitlines()[2:-2]
    # A rule alone is as good for the distant past as for the future.
    assert [line.split(" UT")[0].split()[-1] for line in lines] == [str(n) for n in range(-1, 8) for _ in range(4)]


def test_a_second_run_begins_anew(bench: Bench) -> None:
    bench.world.path(DUMP).write_bytes(b"something else\n" * 100)
    shim = calls(bench)
    for _ in range(2):
        assert years(shim, "2020,2021", "Europe/London") == DONE
        assert content(bench.world, DUMP) == LONDON_2020


def test_plain_lines(bench: Bench) -> None:
    shim = calls(bench, clock_frozen=instant(2020, 7, 15))
    expected = (
        b"Europe/London  Wed Jul 15 01:00:00 2020 BST\n"
        b"UTC0           Wed Jul 15 00:00:00 2020 UTC\n"
        b"Asia/Kolkata   Wed Jul 15 05:30:00 2020 IST\n"
    )
    for options in (("", "", ""), ("-c", "junk", "x"), (None, None, None), ("-v", "-v", "-c")):
        assert shim.call("zdump_main", "zdump", *options, "Europe/London", "UTC0", "Asia/Kolkata") == DONE
        assert content(bench.world, DUMP) == expected


def test_no_zone_at_all(bench: Bench) -> None:
    shim = calls(bench)
    for options in (("-c", "2020,2021", "-v"), ("", "", "")):
        bench.world.path(DUMP).write_bytes(b"old")
        assert shim.call("zdump_main", "zdump", *options) == DONE
        assert content(bench.world, DUMP) is None


def test_process_zone_is_left_alone(bench: Bench) -> None:
    shim = calls(bench)
    shim.call("set_system_timezone", "-5:30")
    before = shim.call("localtime_r", 0)
    assert years(shim, None, "Europe/London", "Asia/Tokyo") == DONE
    assert shim.call("localtime_r", 0) == before
    assert shim.call("getenv", "TZ").result == "UTC+5:30"
    # Nor does it take part.
    assert years(shim, "2020,2021", "Europe/London") == DONE
    assert content(bench.world, DUMP) == LONDON_2020


def test_zone_files_elsewhere(bench: Bench) -> None:
    """An absolute path is a zone, too; its name, however long, is cut in the list."""
    shim = calls(bench)
    shutil.copyfile(f"{ZONES}/Europe/London", bench.world.path("/tmp/london"))
    assert years(shim, "2020,2021", "/tmp/london") == DONE
    assert content(bench.world, DUMP) == LONDON_2020.replace(b"Europe/London", b"/tmp/london")
    path = "/tmp/" + "./" * 150 + "london"
    assert years(shim, "2020,2021", path) == DONE
    lines = (content(bench.world, DUMP) or b"").splitlines()
    assert len(lines) == 8
    assert all(line.startswith(path[:250].encode()) and b" = " in line for line in lines)


def test_oracle_agrees_with_the_lists_above() -> None:
    assert dump_text(["Europe/London"], 2020, 2021) == LONDON_2020
    assert dump_text(["Australia/Sydney"], 2021, 2022) == SYDNEY_2021
    assert dump_text(["UTC0"], 2020, 2021) == EXTREMES
    assert len([*changes(zone_of("Africa/Casablanca"), year_start(2012), year_start(2013))]) == 4
