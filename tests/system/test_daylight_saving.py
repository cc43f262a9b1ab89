# SPDX-License-Identifier: GPL-2.0-or-later
"""Whether a zone is in daylight-saving time, judged by its list of changes.

All other zones, years and instants: tests/differential/zone_dump/python_discovery.py.
"""
from __future__ import annotations

import pytest

from lab import Shim
from lab.bench import Bench
from lab.exported import DUMP, ZONES, calls, content
from tests.models.discovery import NORTHERN, SOUTHERN, finder_of, judge, lines_of, shown_of
from tests.models.local_times import instant
from tests.models.zone_dump import dump_text

EMPTY = b"\r\nThe location where you need to get daylight saving time is empty.\r\n"
JANUARY, JULY = instant(2020, 1, 15), instant(2020, 7, 15)


def ask(shim: Shim, year: int, now: int, location: str) -> tuple[int, bytes, bytes]:
    return shim.call("systemGetDstCfg", year, now, location)


@pytest.mark.parametrize(
    ("location", "message", "start", "end"),
    [
        ("Europe/London", NORTHERN, instant(2020, 3, 29, 0, 59, 59), instant(2020, 10, 25, 0, 59, 59)),
        ("Australia/Sydney", SOUTHERN, instant(2020, 10, 3, 15, 59, 59), instant(2020, 4, 4, 15, 59, 59)),
    ],
)
def test_bounds_are_standard_time(bench: Bench, location: str, message: bytes, start: int, end: int) -> None:
    shim = calls(bench)
    shown = shown_of(lines_of(dump_text([location], 2020, 2021).decode()))
    for now, result in ((start, 0), (start + 1, 1), (end - 1, 1), (end, 0), (JANUARY, start > end), (JULY, start < end)):
        assert ask(shim, 2020, now, location) == (result, shown + message * result, b""), now


@pytest.mark.parametrize(("location", "year"), [("Europe/London", 2020), ("Australia/Sydney", 2021)])
def test_bounds_are_the_process_zone_s_own(bench: Bench, location: str, year: int) -> None:
    """The times of the list count as local times, wherever the device stands."""
    shim = calls(bench)
    shim.call("set_system_timezone_by_path", f"{ZONES}/America/New_York")
    verdict = judge(dump_text([location], year, year + 1), year, finder_of("America/New_York"))
    assert verdict.bounds is not None
    for now in [bound + second for bound in verdict.bounds for second in (-1, 0, 1)]:
        assert ask(shim, year, now, location) == (verdict.result(now), verdict.output(now), b""), now


def test_no_location(bench: Bench) -> None:
    shim = calls(bench)
    bench.world.path(DUMP).write_bytes(b"untouched")
    assert shim.call("systemGetDstCfg", 2020, JULY, "") == (-1, EMPTY, b"")
    assert shim.call("systemGetDstCfg", 2020, JULY, None).result == -1
    assert content(bench.world, DUMP) == b"untouched"
    assert shim.events("sleep") == []


def test_order_of_the_steps(bench: Bench) -> None:
    """The list is read a tenth of a second after it was written."""
    shim = calls(bench)
    ask(shim, 2020, JULY, "UTC0")
    events = [event for event in shim.events("unlink", "open", "sleep") if event.data.get("path", DUMP) == DUMP]
    assert [event.name for event in events] == ["unlink", *["open"] * 4, "sleep", "open"]
    assert [event["writes"] for event in events if event.name == "open"] == [True] * 4 + [False]
    assert events[5]["seconds"] == 0.1


def test_nothing_else_changes(bench: Bench) -> None:
    daemon = bench.daemon(calls=1)
    assert daemon.shim is not None
    shim = daemon.shim
    session = bench.vty(daemon)
    before = [session.command(line) for line in ("show timezone", "do show running-config")]
    assert ask(shim, 2020, JULY, "Europe/London")[0] == 1
    assert shim.call("get_is_using_dst").result == 0
    assert shim.call("localtime_r", JULY).result == "2020-07-15 00:00:00 UTC 0 0"
    assert [session.command(line) for line in ("show timezone", "do show running-config")] == before
