# SPDX-License-Identifier: GPL-2.0-or-later
"""The zone set by a zone file's path, for callers inside the process.

Odd paths and links: tests/unit/timezone/system_timezone_test.cpp; failing calls: tests/system/faults.
"""
from __future__ import annotations

import pytest

from lab.bench import Bench
from lab.exported import LINK, TZ_FILE, ZONES, calls, content, link

JULY = 1594771200  # 2020-07-15 00:00:00 UTC
UTC = f"{ZONES}/Etc/UTC"


def test_zone_follows_at_once(bench: Bench) -> None:
    shim = calls(bench)
    for zone, local in (
        ("Europe/Paris", "2020-07-15 02:00:00 CEST 1 7200"),
        ("America/New_York", "2020-07-14 20:00:00 EDT 1 -14400"),
        ("Australia/Sydney", "2020-07-15 10:00:00 AEST 0 36000"),
        ("Etc/UTC", "2020-07-15 00:00:00 UTC 0 0"),
    ):
        assert shim.call("set_system_timezone_by_path", f"{ZONES}/{zone}") == (0, b"", b"")
        assert link(bench.world) == f"{ZONES}/{zone}"
        assert shim.call("localtime_r", JULY).result == local
    # Nothing else is told.
    assert content(bench.world, TZ_FILE) is None
    assert shim.call("getenv", "TZ").result is None
    assert shim.events("setenv", "system") == []


@pytest.mark.parametrize("tz", ["/etc/localtime", ":/etc/localtime"])
def test_zone_that_the_environment_names_is_kept(bench: Bench, tz: str) -> None:
    bench.world.path(LINK).unlink(missing_ok=True)
    bench.world.path(LINK).symlink_to(f"{ZONES}/Asia/Tokyo")
    shim = bench.daemon(calls=1, environment={"TZ": tz}).shim
    assert shim is not None
    tokyo = shim.call("localtime_r", JULY).result
    assert tokyo == "2020-07-15 09:00:00 JST 0 32400"
    assert shim.call("set_system_timezone_by_path", f"{ZONES}/Europe/Paris") == (0, b"", b"")
    assert link(bench.world) == f"{ZONES}/Europe/Paris"
    assert shim.call("localtime_r", JULY).result == tokyo


def test_zone_commands_and_calls_share_the_zone(bench: Bench) -> None:
    daemon = bench.daemon(calls=1)
    assert daemon.shim is not None
    shim = daemon.shim
    shim.call("set_system_timezone_by_path", f"{ZONES}/Asia/Tokyo")
    # Only the commands keep the names.
    session = bench.vty(daemon)
    assert session.command("show timezone") == b"Current system time zone : Europe-London GMT+0000\r\r\n"
    session.command("no timezone")
    assert link(bench.world) is None
    # Taking the link away is not yet a reload.
    assert shim.call("localtime_r", JULY).result == "2020-07-15 09:00:00 JST 0 32400"


def test_order_of_the_steps(bench: Bench) -> None:
    shim = calls(bench)
    before = len(shim.events("unlink", "symlink", "open"))
    shim.call("set_system_timezone_by_path", f"{ZONES}/Asia/Tokyo")
    events = shim.events("unlink", "symlink", "open")[before:]
    assert [event.name for event in events] == ["unlink", "symlink", "open"]
    assert {event["path"] for event in events} == {LINK}


@pytest.mark.parametrize("path", ["/nowhere/at all", "relative/path", "$(touch /tmp/x)", "/dev/null", "/" + "x" * 2000])
def test_path_is_used_as_given(bench: Bench, path: str) -> None:
    shim = calls(bench)
    shim.call("set_system_timezone_by_path", f"{ZONES}/Asia/Tokyo")
    assert shim.call("set_system_timezone_by_path", path) == (0, b"", b"")
    assert link(bench.world) == path
    assert shim.call("localtime_r", JULY).result == "2020-07-15 00:00:00 GMT 0 0"
    assert shim.events("system") == []


def test_link_replaces_a_file(bench: Bench) -> None:
    bench.world.path(LINK).unlink()
    bench.world.path(LINK).write_bytes(b"a copy of a zone file")
    shim = calls(bench)
    assert shim.call("set_system_timezone_by_path", UTC) == (0, b"", b"")
    assert link(bench.world) == UTC


@pytest.mark.parametrize(("error", "reason"), [("EACCES", "Permission denied"), ("ENOSPC", "No space left on device")])
def test_link_that_cannot_be_made(bench: Bench, error: str, reason: str) -> None:
    """The old link is gone already; the process keeps its zone."""
    shim = calls(bench)
    shim.call("set_system_timezone_by_path", f"{ZONES}/Asia/Tokyo")
    shim.fail("symlink", error, times=1)
    answer = shim.call("set_system_timezone_by_path", f"{ZONES}/Europe/Paris")
    assert answer == (-1, b"", f"symlink err: {reason}\n".encode())
    assert link(bench.world) is None
    assert shim.call("localtime_r", JULY).result == "2020-07-15 09:00:00 JST 0 32400"


def test_nothing_to_remove(bench: Bench) -> None:
    """A link that was not there is no reason to tell of."""
    bench.world.path(LINK).unlink()
    shim = calls(bench)
    shim.fail("symlink", "ENOSPC", times=1)
    answer = shim.call("set_system_timezone_by_path", UTC)
    assert answer == (-1, b"", b"symlink err: No space left on device\n")


def test_reason_of_no_consequence(bench: Bench) -> None:
    """Nothing is said of a removal that failed when the link can be made all the same."""
    bench.world.path(LINK).unlink()
    shim = calls(bench)
    shim.fail("unlink", "EROFS", times=1)
    assert shim.call("set_system_timezone_by_path", UTC) == (0, b"", b"")
    assert link(bench.world) == UTC


def test_link_that_stays(bench: Bench) -> None:
    """`no timezone` says nothing of a link that cannot be taken away, and takes the names; a new
    zone is refused with the reason."""
    daemon = bench.daemon(calls=1)
    assert daemon.shim is not None
    daemon.shim.fail("unlink", "EROFS")
    session = bench.vty(daemon)
    assert session.command("no timezone") == b""
    assert session.command("show timezone") == b"Current system time zone : (null)-(null) (null)\r\r\n"
    assert link(bench.world) == UTC
    answer = daemon.shim.call("set_system_timezone_by_path", f"{ZONES}/Asia/Tokyo")
    reason = b"symlink err: File exists\ncannot remove /etc/localtime: Read-only file system\n"
    assert answer == (-1, b"", reason)
    assert daemon.stdout() == b""
