# SPDX-License-Identifier: GPL-2.0-or-later
"""Whether a zone is in daylight-saving time, judged by its list of changes."""
from __future__ import annotations

import pytest

from lab import Shim
from lab.bench import Bench
from lab.exported import DUMP, ZONES, calls, content
from tests.models.discovery import NORTHERN, SOUTHERN, Verdict, finder_of, judge, lines_of, shown_of
from tests.models.local_times import HIGHEST, LOWEST, instant
from tests.models.zone_dump import dump_text

EMPTY = b"\r\nThe location where you need to get daylight saving time is empty.\r\n"
JANUARY, JULY = instant(2020, 1, 15), instant(2020, 7, 15)


def summer_of(year: int) -> int:
    """Years before the first are no dates of Python's."""
    return JULY - round((2020 - year) * 365.2425) * 86400


def ask(shim: Shim, year: int, now: int, location: str) -> tuple[int, bytes, bytes]:
    return shim.call("systemGetDstCfg", year, now, location)


def check(shim: Shim, verdict: Verdict, year: int, now: int, location: str) -> None:
    assert ask(shim, year, now, location) == (verdict.result(now), verdict.output(now), b""), now


def check_bounds(shim: Shim, verdict: Verdict, year: int, location: str) -> None:
    """At, one second before and after each bound, and far from both."""
    assert verdict.bounds is not None
    nearby = [bound + second for bound in verdict.bounds for second in (-1, 0, 1)]
    for now in (*nearby, instant(year), sum(verdict.bounds) // 2, instant(year + 1), LOWEST, HIGHEST):
        check(shim, verdict, year, now, location)


def test_north(bench: Bench) -> None:
    shim = calls(bench)
    start, end = instant(2020, 3, 29, 0, 59, 59), instant(2020, 10, 25, 0, 59, 59)
    shown = shown_of(lines_of(dump_text(["Europe/London"], 2020, 2021).decode()))
    for now, result in (
        (JANUARY, 0), (start - 1, 0), (start, 0), (start + 1, 1), (JULY, 1), (end - 1, 1), (end, 0), (end + 1, 0),
    ):
        assert ask(shim, 2020, now, "Europe/London") == (result, shown + NORTHERN * result, b""), now


def test_south(bench: Bench) -> None:
    shim = calls(bench)
    start, end = instant(2020, 4, 4, 15, 59, 59), instant(2020, 10, 3, 15, 59, 59)
    shown = shown_of(lines_of(dump_text(["Australia/Sydney"], 2020, 2021).decode()))
    for now, result in (
        (JANUARY, 1), (start - 1, 1), (start, 0), (start + 1, 0), (JULY, 0), (end - 1, 0), (end, 0), (end + 1, 1),
    ):
        assert ask(shim, 2020, now, "Australia/Sydney") == (result, shown + SOUTHERN * result, b""), now


@pytest.mark.parametrize("process_zone", ["Etc/UTC", "Europe/Paris", "America/New_York", "Australia/Sydney"])
def test_bounds_are_the_process_zone_s_own(bench: Bench, process_zone: str) -> None:
    """The times of the list count as local times, wherever the device stands."""
    shim = calls(bench)
    shim.call("set_system_timezone_by_path", f"{ZONES}/{process_zone}")
    for location, year, southern in (
        ("Europe/London", 2020, False),
        ("America/New_York", 2021, False),
        ("America/St_Johns", 2020, False),
        ("Australia/Sydney", 2021, True),
        ("Australia/Lord_Howe", 2024, True),
        ("America/Santiago", 2018, True),
        ("Pacific/Auckland", 2023, True),
        # Winter time is the exception there; by the clock it is like anywhere in the north.
        ("Europe/Dublin", 2020, False),
    ):
        verdict = judge(dump_text([location], year, year + 1), year, finder_of(process_zone))
        assert verdict.southern is southern, location
        check_bounds(shim, verdict, year, location)


def test_zones_without_changes(bench: Bench) -> None:
    shim = calls(bench)
    for location in ("UTC0", "Asia/Tokyo", "Africa/Nairobi", "<+0530>-5:30"):
        for now in (JANUARY, JULY):
            answer = ask(shim, 2020, now, location)
            assert answer[0] == 0 and answer[2] == b""
            assert answer[1].count(b"acDstDump[") == 4
            assert answer[1].endswith(b"acDstDump[3]: %s  9223372036854775807 = NULL\n\r\n" % location.encode())


def test_year_2036(bench: Bench) -> None:
    """Never in daylight-saving time: the number of the lowest instant holds these digits."""
    shim = calls(bench)
    for location in ("Europe/London", "Australia/Sydney"):
        verdict = judge(dump_text([location], 2036, 2037), 2036, finder_of("Etc/UTC"))
        assert len(verdict.lines) == 8 and verdict.bounds is None
        for now in (instant(2036, 1, 15), instant(2036, 7, 15)):
            check(shim, verdict, 2036, now, location)
    for year in (2035, 2037):
        assert ask(shim, year, instant(year, 7, 15), "Europe/London")[0] == 1


def test_years_at_the_ends(bench: Bench) -> None:
    """A year is looked for as it is written: a short one is found in numbers, and in the zone's name."""
    shim = calls(bench)
    north, south = "AAA0BBB,M3.5.0/1,M10.5.0", "AAA0BBB,M10.1.0,M4.1.0"
    for location, now, message in ((north, instant(9999, 7, 15), NORTHERN), (south, instant(9999, 1, 15), SOUTHERN)):
        result, shown, _ = ask(shim, 9999, now, location)
        assert result == 1
        assert shown.endswith(message) and shown.count(b"acDstDump[") == 8
    for year in (0, 7, 9, 10, 36, 47, 580, 2036, 4689, 5477, 9223, 9408):
        result, shown, error = ask(shim, year, summer_of(year), north)
        assert (result, error) == (0, b""), year
        assert shown.count(b"acDstDump[") == 8
    # These are in the lines of their changes only.
    for year in (101, 1000, 1234):
        result, shown, _ = ask(shim, year, summer_of(year), north)
        assert result == 1 and shown.endswith(NORTHERN), year


def test_other_years(bench: Bench) -> None:
    shim = calls(bench)
    bench.world.path(DUMP).write_bytes(b"untouched")
    for year in (-1, -2020, 10000, 20200, 2**31 - 1, -(2**31)):
        result, shown, error = ask(shim, year, JULY, "Europe/London")
        assert (result, error) == (-1, b"")
        assert str(year).encode() in shown and shown.endswith(b"\r\n")
    assert content(bench.world, DUMP) == b"untouched"
    assert shim.events("sleep") == []


def test_no_location(bench: Bench) -> None:
    shim = calls(bench)
    bench.world.path(DUMP).write_bytes(b"untouched")
    assert shim.call("systemGetDstCfg", 2020, JULY, "") == (-1, EMPTY, b"")
    assert shim.call("systemGetDstCfg", 2020, JULY, None).result == -1
    assert content(bench.world, DUMP) == b"untouched"
    assert shim.events("sleep") == []


def test_unknown_location(bench: Bench) -> None:
    """What the last list said does not count."""
    shim = calls(bench)
    assert ask(shim, 2020, JULY, "Europe/London")[0] == 1
    assert ask(shim, 2020, JULY, "Europe/Pariss") == (0, b"", b"Europe/Pariss: No such file or directory\n")
    assert content(bench.world, DUMP) is None


def test_one_change_in_the_year(bench: Bench) -> None:
    """The line after it does not parse: its month is unknown, all else is still the first change's."""
    shim = calls(bench)
    for location, year, southern in (("America/Caracas", 2016, False), ("Asia/Pyongyang", 2015, True)):
        dumped = dump_text([location], year, year + 1)
        assert len(dumped.splitlines()) == 6
        verdict = judge(dumped, year, finder_of("Etc/UTC"))
        assert verdict.southern is southern
        assert verdict.bounds is not None and instant(year + 1) <= verdict.bounds[1] < instant(year + 1, 2)
        check_bounds(shim, verdict, year, location)


def test_many_changes_in_the_year(bench: Bench) -> None:
    """Eight lines are looked at, and the first two changes of them."""
    shim = calls(bench)
    dumped = dump_text(["Africa/Casablanca"], 2012, 2013)
    assert len(dumped.splitlines()) == 12
    verdict = judge(dumped, 2012, finder_of("Etc/UTC"))
    assert len(verdict.lines) == 8
    check_bounds(shim, verdict, 2012, "Africa/Casablanca")
    assert content(bench.world, DUMP) == dumped
    # Between the third and the fourth it is summer again, but not to us.
    assert ask(shim, 2012, instant(2012, 9, 15), "Africa/Casablanca")[0] == 0


def test_very_long_location(bench: Bench) -> None:
    """Its lines are longer than what is read at a time."""
    shim = calls(bench)
    location = f"{ZONES}/" + "./" * 200 + "Europe/London"
    result, shown, error = ask(shim, 2020, JULY, location)
    assert (result, error) == (0, b"")
    dumped = content(bench.world, DUMP)
    assert dumped is not None and len(dumped.splitlines()) == 8
    verdict = judge(dumped, 2020, finder_of("Etc/UTC"))
    assert (result, shown) == (verdict.result(JULY), verdict.output(JULY))
    assert ask(shim, 2020, JULY, "x" * 20000)[0] == 0


def test_order_of_the_steps(bench: Bench) -> None:
    """The list is read a tenth of a second after it was written."""
    shim = calls(bench)
    ask(shim, 2020, JULY, "UTC0")
    events = [event for event in shim.events("unlink", "open", "sleep") if event.data.get("path", DUMP) == DUMP]
    assert [event.name for event in events] == ["unlink", *["open"] * 4, "sleep", "open"]
    assert [event["writes"] for event in events if event.name == "open"] == [True] * 4 + [False]
    assert events[5]["seconds"] == 0.1


def test_list_that_cannot_be_written_or_read(bench: Bench) -> None:
    shim = calls(bench)
    lost = b'********zdump:fopen("/tmp/dstconfig", "cw") error..!'
    shim.fail("open", "EROFS")
    assert ask(shim, 2020, JULY, "Europe/London") == (0, lost * 8, b"")
    # Written, but not to be read again.
    shim.fail("open", "EACCES", times=1, after="sleep")
    assert ask(shim, 2020, JULY, "Europe/London") == (0, b"", b"")


@pytest.mark.parametrize("held", [1, 2, 3])
def test_list_that_is_cut_short(bench: Bench, held: int) -> None:
    """Two lines are enough to look for a change in, but there is none."""
    shim = calls(bench)
    shim.fail("open", "ENOSPC", times=8 - held, after=held)
    result, shown, _ = ask(shim, 2020, JULY, "Europe/London")
    assert shown.count(b"acDstDump[") == held
    if held < 3:
        assert result == 0


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
