# SPDX-License-Identifier: GPL-2.0-or-later
"""The list of a zone's changes in /tmp/dstconfig, also where it cannot be made, or not whole.

All other zones, years, options and failures: tests/differential/zone_dump/python_dump.py.
"""
from __future__ import annotations

from lab import Called
from lab.bench import Bench
from lab.exported import DUMP, calls, content, years
from tests.models.local_times import instant, year_start
from tests.models.zone_dump import LONDON_2020, changes, dump_text, zone_of

DONE = Called(0)
CANNOT_OPEN = b'********zdump:fopen("/tmp/dstconfig", "cw") error..!'

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


def test_oracle_agrees_with_the_lists_above() -> None:
    assert dump_text(["Europe/London"], 2020, 2021) == LONDON_2020
    assert dump_text(["Australia/Sydney"], 2021, 2022) == SYDNEY_2021
    assert dump_text(["UTC0"], 2020, 2021) == EXTREMES
    assert len([*changes(zone_of("Africa/Casablanca"), year_start(2012), year_start(2013))]) == 4


def test_lines_that_are_lost(bench: Bench) -> None:
    """The others are there, in order."""
    shim = calls(bench)
    lines = LONDON_2020.splitlines(keepends=True)
    for call in ("open", "write"):
        for after, times in ((0, 1), (3, 2), (7, 1)):
            shim.fail(call, "ENOSPC", times, after)
            assert years(shim, "2020,2021", "Europe/London") == (0, CANNOT_OPEN * times, b"")
            assert content(bench.world, DUMP) == b"".join(lines[:after] + lines[after + times :])
