# SPDX-License-Identifier: GPL-2.0-or-later
"""Zones set by an offset from UTC: which texts, what they mean, what is remembered."""
from __future__ import annotations

import pytest

from lab import Called, Shim
from lab.bench import Bench
from lab.exported import TZ_FILE, calls, content, profile_commands

OLD_FORM = Called(-1, b"\r\nerror time zone format\r\n")
OLD_HOUR = Called(-1, b"\r\nerror time zone format h\r\n")
OLD_MINUTE = Called(-1, b"\r\nerror time zone format m\r\n")
NEW_NULL = Called(-2, b"\r\nWrong time zone format:NULL!\r\n")
NEW_LENGTH = Called(-2, b"\r\nWrong time zone format: too long or too short!\r\n")
NEW_RANGE = Called(
    -2,
    b"\r\nWrong time zone format: hour should between -12 and +12, minute should between 00 and 60!\r\n",
)
NEW_SIGN = Called(-2, b"\r\nWrong time zone format: Should start with '-' or '+'!\r\n")

# Text, what is exported, [east, hour, minute], the number carried along.
OLD_FORMAT = [
    ("8", "UTC-8:0", [1, 8, 0], 0),
    ("+8", "UTC-8:0", [1, 8, 0], 0),
    ("08", "UTC-8:0", [1, 8, 0], 0),
    ("8:30", "UTC-8:30", [1, 8, 30], 0),
    ("8:5", "UTC-8:5", [1, 8, 5], 0),
    ("8:", "UTC-8:0", [1, 8, 0], 0),
    ("8:0-2", "UTC-8:0", [1, 8, 0], 2),
    ("8-2", "UTC-8:0", [1, 8, 0], 2),
    ("8-12", "UTC-8:0", [1, 8, 0], 12),
    ("-5", "UTC+5:0", [0, 5, 0], 0),
    ("-5:30", "UTC+5:30", [0, 5, 30], 0),
    ("-5:0-3", "UTC+5:0", [0, 5, 0], 3),
    ("-5-10", "UTC+5:0", [0, 5, 0], 10),
    ("12", "UTC-12:0", [1, 12, 0], 0),
    ("-12", "UTC+12:0", [0, 12, 0], 0),
    ("12:59", "UTC-12:59", [1, 12, 59], 0),
    ("-12:59", "UTC+12:59", [0, 12, 59], 0),
    ("0", "UTC-0:0", [1, 0, 0], 0),
    ("-0", "UTC+0:0", [0, 0, 0], 0),
    # What does not begin with a number reads as 0.
    ("", "UTC-0:0", [1, 0, 0], 0),
    ("-", "UTC+0:0", [0, 0, 0], 0),
    ("zulu", "UTC-0:0", [1, 0, 0], 0),
    # Nobody looks at what follows a number.
    ("8:5:70", "UTC-8:5", [1, 8, 5], 0),
    ("8h30m", "UTC-8:0", [1, 8, 0], 0),
]

OLD_ERRORS = [
    (OLD_FORM, ["8:00-10", "1234567", "-12:590", "x" * 100]),
    (OLD_HOUR, ["13", "-13", "13:00", "-99", "999999", "-99999", "24:-1"]),
    (OLD_MINUTE, ["5:60", "-5:60", "5:-1", "-5:-59", "5:999", "5:99-1"]),
]

NEW_FORMAT = [
    ("+0800", "UTC-08:00", [1, 8, 0], 0),
    ("-0530", "UTC+05:30", [0, 5, 30], 0),
    ("+0800x3", "UTC-08:00", [1, 8, 0], 3),
    ("+0800-1", "UTC-08:00", [1, 8, 0], 1),
    ("-0800;9", "UTC+08:00", [0, 8, 0], 9),
    ("+0845x", "UTC-08:45", [1, 8, 45], 0),
    ("+0800xy", "UTC-08:00", [1, 8, 0], 0),
    ("+0000", "UTC-00:00", [1, 0, 0], 0),
    ("-0000", "UTC+00:00", [0, 0, 0], 0),
    ("+1200", "UTC-12:00", [1, 12, 0], 0),
    ("-1200", "UTC+12:00", [0, 12, 0], 0),
    ("+1260", "UTC-12:60", [1, 12, 60], 0),
    ("-0060", "UTC+00:60", [0, 0, 60], 0),
]

NEW_ERRORS = [
    (NEW_NULL, [None]),
    (NEW_LENGTH, ["", "+", "+080", "+0800x34", "+" * 300]),
    (NEW_RANGE, ["+1261", "+1300", "-1300", "-1261", "08000", "+08-1", "+0099-1"]),
    (NEW_SIGN, ["00800", "01200x1", " 0800", "x0800", "12:00"]),
]


def exported(shim: Shim, since: int) -> list[str]:
    return [event["command"] for event in shim.events("system")[since:]]


@pytest.mark.parametrize(
    ("function", "rows"), [("set_system_timezone", OLD_FORMAT), ("set_system_timezone_new", NEW_FORMAT)]
)
def test_accepted_texts(bench: Bench, function: str, rows: list[tuple[str, str, list[int], int]]) -> None:
    shim = calls(bench)
    for text, zone, offset, number in rows:
        before = len(shim.events("system"))
        bench.world.path(TZ_FILE).unlink(missing_ok=True)
        assert shim.call(function, text) == (0, b"", b""), text
        assert content(bench.world, TZ_FILE) == zone.encode(), text
        assert shim.call("getenv", "TZ").result == zone, text
        assert exported(shim, before) == profile_commands(zone), text
        assert shim.call("get_system_timezone").result == offset, text
        assert shim.call("get_timezone_east").result == offset[0], text
        assert shim.call("get_timezone_offset").result == number, text


@pytest.mark.parametrize(
    ("function", "refusals"), [("set_system_timezone", OLD_ERRORS), ("set_system_timezone_new", NEW_ERRORS)]
)
def test_refused_texts(bench: Bench, function: str, refusals: list[tuple[Called, list[str]]]) -> None:
    shim = calls(bench)
    before = len(shim.events("open", "write", "setenv", "system"))
    for answer, texts in refusals:
        for text in texts:
            assert shim.call(function, text) == answer, text
    assert len(shim.events("open", "write", "setenv", "system")) == before
    assert content(bench.world, TZ_FILE) is None
    assert shim.call("getenv", "TZ").result is None
    assert shim.call("get_system_timezone").result[1:] == [0, 0]


def test_nothing_is_set_at_first(bench: Bench) -> None:
    shim = calls(bench)
    assert shim.call("get_system_timezone").result == [0, 0, 0]
    assert shim.call("get_timezone_east").result == 0
    assert shim.call("get_timezone_offset").result == 0


def test_null_text_of_the_old_form(bench: Bench) -> None:
    shim = calls(bench)
    shim.call("set_timezone_east", 1)
    assert shim.call("set_system_timezone", None) == (-1, b"", b"")
    assert shim.call("get_timezone_east").result == 1


def test_side_is_stored_before_the_minutes_are_read(bench: Bench) -> None:
    shim = calls(bench)
    assert shim.call("set_system_timezone", "-7:5-4") == (0, b"", b"")
    for text, east in (("5:60", 1), ("-5:60", 0), ("5:60-9", 1)):
        assert shim.call("set_system_timezone", text) == OLD_MINUTE
        assert shim.call("get_system_timezone").result == [east, 7, 5]
        assert shim.call("get_timezone_offset").result == 4
    # Hours and length are looked at earlier still.
    for text in ("-13", "-1234567"):
        shim.call("set_system_timezone", text)
        assert shim.call("get_timezone_east").result == 1


@pytest.mark.parametrize(
    ("function", "text", "offset", "number"),
    [("set_system_timezone", "-5:0-3", [0, 5, 0], 3), ("set_system_timezone_new", "-0500x3", [1, 8, 15], 2)],
)
def test_zone_that_cannot_be_exported(
    bench: Bench, function: str, text: str, offset: list[int], number: int
) -> None:
    """Success all the same; only the old form remembers what it was given."""
    shim = calls(bench)
    shim.call("set_system_timezone_new", "+0815-2")
    bench.world.path(TZ_FILE).unlink()
    bench.world.path(TZ_FILE).mkdir()
    assert shim.call(function, text) == (0, b"", b"sys_TZ: Is a directory\n")
    assert shim.call("get_system_timezone").result == offset
    assert shim.call("get_timezone_offset").result == number
    assert shim.call("getenv", "TZ").result == "UTC-08:15"


def test_digits_are_taken_as_typed(bench: Bench) -> None:
    """What passes for a number but is none is left to the check of what is exported."""
    shim = calls(bench)
    shim.call("set_system_timezone_new", "+0330")
    for text, named in (
        ("+ 800", "blanks"), ("+;l00", ";"), ("+$(00", "$"), ("+08`0", "`"), ("-080\n", "control characters"),
    ):
        message = f"\r\nThe format of time zone is invalid! It can't contain {named}\r\n".encode()
        assert shim.call("set_system_timezone_new", text) == (0, message, b""), text
    assert shim.call("get_system_timezone").result == [1, 3, 30]
    assert content(bench.world, TZ_FILE) == b"UTC-03:30"
    assert len(shim.events("system")) == 2


def test_number_carried_along(bench: Bench) -> None:
    shim = calls(bench)
    for number in (10, 0, 7):
        assert shim.call("set_timezone_offset", number) == (0, b"", b"")
        assert shim.call("get_timezone_offset").result == number
    for number in (11, 12, -1, 2**31, 2**32 - 1):
        assert shim.call("set_timezone_offset", number) == (-2, b"Error:set time zone offset.\r\n", b"")
        assert shim.call("get_timezone_offset").result == 7


def test_side_by_itself(bench: Bench) -> None:
    shim = calls(bench)
    for number in (1, 0, -1, 2, 0, 2**31 - 1, -(2**31)):
        assert shim.call("set_timezone_east", number) == (0, b"", b"")
        assert shim.call("get_timezone_east").result == int(number != 0)
        assert shim.call("get_system_timezone").result == [int(number != 0), 0, 0]
