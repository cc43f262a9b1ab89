# SPDX-License-Identifier: GPL-2.0-or-later
"""What the lab does to the daemon's files and commands, and what it never lets through."""
from __future__ import annotations

import pytest

from lab.bench import PRIMARY, START, Bench
from lab.exported import PROFILE, ZONES, calls, content
from lab.servers.ntp_server import truthful
from lab.servers.packet import timestamp


def test_hardware_clock_is_never_set(bench: Bench) -> None:
    """Its command is written down; only those of the login profile are run."""
    bench.server(answer=truthful(timestamp(START + 5)))
    daemon = bench.polling(PRIMARY, clock_frozen=START, calls=1, profile_commands=1, system_result=512)
    assert daemon.shim is not None
    shim = daemon.shim
    assert [event["result"] for event in shim.wait_events("system_done")] == [512]
    daemon.wait_stdout(b"\n")  # the statistics line: the step is over
    assert shim.call("sync_sys_timezone", "UTC-8") == (0, b"", b"")
    assert [event["command"] for event in shim.events("system")][0] == "hwclock -w"
    assert [event["result"] for event in shim.events("system_done")][1] == 0
    assert content(bench.world, PROFILE) == b"export TZ=UTC-8\n"


def test_no_command_runs_unless_asked_for(bench: Bench) -> None:
    shim = calls(bench)
    shim.set(profile_commands=0)
    assert shim.call("sync_sys_timezone", "UTC-8") == (0, b"", b"")
    assert len(shim.events("system")) == 2
    assert content(bench.world, PROFILE) is None


def test_other_files_can_be_watched(bench: Bench) -> None:
    shim = calls(bench)
    plain = ("zdump_main", "", "", "", "", "Asia/Tokyo")
    file = f"{ZONES}/Asia/Tokyo"

    def opened() -> list[int]:
        return [event["result"] for event in shim.events("open") if event["path"] == file]

    assert shim.call(*plain) == (0, b"", b"")
    assert opened() == []
    shim.set(watch=f"{ZONES}/Asia/")
    assert shim.call(*plain) == (0, b"", b"")
    assert opened() == [0]
    shim.fail("open", "EMFILE", times=1)
    assert shim.call(*plain) == (1, b"", b"Asia/Tokyo: Too many open files\n")
    assert opened() == [0, -1]
    # What was counted is used up.
    assert shim.call(*plain) == (0, b"", b"")


def test_everything_can_be_watched(bench: Bench) -> None:
    """The fakes' own files are not among it."""
    shim = calls(bench, watch="/")
    session_file = "/etc/frr/horad.conf"
    assert shim.call("localtime_r", 0).result == "1970-01-01 00:00:00 UTC 0 0"
    paths = {event["path"] for event in shim.events("open")}
    assert session_file in paths
    assert not any(path.startswith("/tmp/shim") for path in paths)


@pytest.mark.parametrize("name", ["no_such_function", "horad"])
def test_call_of_nothing(bench: Bench, name: str) -> None:
    assert calls(bench).call(name) == ("no such function", b"", b"")


def test_calls_and_sessions_take_turns(bench: Bench) -> None:
    daemon = bench.daemon(calls=1)
    assert daemon.shim is not None
    session = bench.vty(daemon)
    for number in range(10):
        assert daemon.shim.call("set_timezone_offset", number) == (0, b"", b"")
        assert session.command("show timezone") == b"Current system time zone : Europe-London GMT+0000\r\r\n"
        assert daemon.shim.call("get_timezone_offset").result == number
