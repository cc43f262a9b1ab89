# SPDX-License-Identifier: GPL-2.0-or-later
"""Zones set by an offset from UTC, as the rest of the system sees them.

Which texts are accepted and what is remembered of them: tests/unit/timezone/zone_by_offset_test.cpp.
"""
from __future__ import annotations

import pytest

from lab.bench import Bench
from lab.exported import TZ_FILE, calls, content, profile_commands


@pytest.mark.parametrize(
    ("function", "text", "zone"),
    [("set_system_timezone", "-5:3-3", "UTC+5:3"), ("set_system_timezone_new", "-0503x3", "UTC+05:03")],
)
def test_exported(bench: Bench, function: str, text: str, zone: str) -> None:
    shim = calls(bench)
    assert shim.call("get_system_timezone").result == [0, 0, 0]
    assert shim.call(function, text) == (0, b"", b"")
    assert content(bench.world, TZ_FILE) == zone.encode()
    assert shim.call("getenv", "TZ").result == zone
    assert [event["command"] for event in shim.events("system")] == profile_commands(zone)
    assert shim.call("get_system_timezone").result == [0, 5, 3]
    assert shim.call("get_timezone_offset").result == 3


@pytest.mark.parametrize(
    ("function", "text", "result"),
    [("set_system_timezone", "-13", -1), ("set_system_timezone", "5:60", -1), ("set_system_timezone_new", "+1300", -2)],
)
def test_refused(bench: Bench, function: str, text: str, result: int) -> None:
    """Nothing is opened, written or run."""
    shim = calls(bench)
    touching = ("open", "write", "setenv", "system")
    before = len(shim.events(*touching))
    assert shim.call(function, text).result == result
    assert len(shim.events(*touching)) == before
    assert shim.call("getenv", "TZ").result is None


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
