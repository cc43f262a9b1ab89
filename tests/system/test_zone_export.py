# SPDX-License-Identifier: GPL-2.0-or-later
"""A TZ text on its way to the system: /etc/TZ, the environment, the login profile.

Which texts, and what becomes of the files: tests/unit/timezone/system_timezone_test.cpp; failing
calls: tests/system/faults.
"""
from __future__ import annotations

import stat
from pathlib import Path

import pytest

from lab.bench import Bench
from lab.exported import PROFILE, TZ_FILE, calls, content, profile_commands

STEPS = ("open", "write", "close", "setenv", "system")


def test_order_of_the_steps(bench: Bench) -> None:
    shim = calls(bench)
    before = len(shim.events(*STEPS))
    assert shim.call("sync_sys_timezone", "UTC-8") == (0, b"", b"")
    events = shim.events(*STEPS)[before:]
    assert [event.name for event in events] == ["open", "write", "close", "setenv", "system", "system"]
    assert all(event["path"] == TZ_FILE for event in events[:3])
    assert (events[1]["text"], events[1]["size"]) == ("UTC-8", 5)
    assert events[3]["value"] == "UTC-8"
    assert [event["command"] for event in events[4:]] == profile_commands("UTC-8")
    # A command runs in the new zone already.
    assert all(event["tz"] == "UTC-8" for event in events[4:])


def test_new_file(bench: Bench) -> None:
    daemon = bench.daemon(calls=1)
    assert daemon.shim is not None
    daemon.shim.call("sync_sys_timezone", "UTC-3")
    file = bench.world.path(TZ_FILE)
    assert file.read_bytes() == b"UTC-3"
    mask = Path(f"/proc/{daemon.pid}/status").read_text().split("Umask:")[1].split()[0]
    assert stat.S_IMODE(file.stat().st_mode) == 0o777 & ~int(mask, 8)
    assert [event["mode"] for event in daemon.shim.events("open") if event["path"] == TZ_FILE] == [0o777]


@pytest.mark.parametrize(
    "text",
    [
        "UTC-8;touch /tmp/x", "UTC$(touch${IFS}/tmp/x)", "`touch\t/tmp/x`", "UTC-8' /etc/profile; touch /tmp/x; '",
        'UTC"; touch /tmp/x; "', "UTC-8\ntouch /tmp/x", "UTC|touch", "UTC&touch", "UTC/g;e touch", "a\\1", "UTC>x",
    ],
)
def test_commands_in_disguise(bench: Bench, text: str) -> None:
    shim = calls(bench)
    answer = shim.call("sync_sys_timezone", text)
    assert answer.result == -2
    assert answer.stdout.startswith(b"\r\nThe format of time zone is invalid! It can't contain ")
    assert shim.events("setenv", "system") == []
    assert content(bench.world, TZ_FILE) is content(bench.world, PROFILE) is None
    assert not bench.world.path("/tmp/x").exists()
