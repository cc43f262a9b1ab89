# SPDX-License-Identifier: GPL-2.0-or-later
"""A TZ text on its way to the system: /etc/TZ, the environment, the login profile."""
from __future__ import annotations

import stat
import string
from pathlib import Path

import pytest

from lab import Called
from lab.bench import Bench
from lab.exported import PROFILE, TZ_FILE, calls, content, profile_commands

ACCEPTED = Called(0)
# All that a TZ text by an offset is made of, and names of zone files less their "/".
HARMLESS = string.ascii_letters + string.digits + "+-:,._"
STEPS = ("open", "write", "close", "setenv", "system")


def invalid(named: str) -> Called:
    return Called(-2, f"\r\nThe format of time zone is invalid! It can't contain {named}\r\n".encode())


def test_order_of_the_steps(bench: Bench) -> None:
    shim = calls(bench)
    before = len(shim.events(*STEPS))
    assert shim.call("sync_sys_timezone", "UTC-8") == ACCEPTED
    events = shim.events(*STEPS)[before:]
    assert [event.name for event in events] == ["open", "write", "close", "setenv", "system", "system"]
    assert all(event["path"] == TZ_FILE for event in events[:3])
    assert (events[1]["text"], events[1]["size"]) == ("UTC-8", 5)
    assert events[3]["value"] == "UTC-8"
    assert [event["command"] for event in events[4:]] == profile_commands("UTC-8")
    # A command runs in the new zone already.
    assert all(event["tz"] == "UTC-8" for event in events[4:])


def test_local_time_follows_at_once(bench: Bench) -> None:
    shim = calls(bench)
    assert shim.call("localtime_r", 0).result == "1970-01-01 00:00:00 UTC 0 0"
    for text, local in (
        ("UTC-8:30", "1970-01-01 08:30:00 UTC 0 30600"),
        ("UTC+12", "1969-12-31 12:00:00 UTC 0 -43200"),
        ("CET-1CEST,M3.5.0,M10.5.0", "1970-01-01 01:00:00 CET 0 3600"),
        # No zone that the system knows.
        ("nowhere", "1970-01-01 00:00:00 GMT 0 0"),
        ("UTC0", "1970-01-01 00:00:00 UTC 0 0"),
    ):
        assert shim.call("sync_sys_timezone", text) == ACCEPTED
        assert shim.call("getenv", "TZ").result == text
        assert shim.call("localtime_r", 0).result == local


def test_new_file(bench: Bench) -> None:
    daemon = bench.daemon(calls=1)
    assert daemon.shim is not None
    daemon.shim.call("sync_sys_timezone", "UTC-3")
    file = bench.world.path(TZ_FILE)
    assert file.read_bytes() == b"UTC-3"
    mask = Path(f"/proc/{daemon.pid}/status").read_text().split("Umask:")[1].split()[0]
    assert stat.S_IMODE(file.stat().st_mode) == 0o777 & ~int(mask, 8)
    assert [event["mode"] for event in daemon.shim.events("open") if event["path"] == TZ_FILE] == [0o777]


@pytest.mark.parametrize("old", [b"", b"X", b"UTC-3", b"a longer text\nwith a second line\n"])
def test_file_is_written_over(bench: Bench, old: bytes) -> None:
    """Whatever is longer keeps its tail, and the file its mode."""
    file = bench.world.path(TZ_FILE)
    file.write_bytes(old)
    file.chmod(0o604)
    shim = calls(bench)
    for text in ("UTC-12:30", "UTC-8"):
        assert shim.call("sync_sys_timezone", text) == ACCEPTED
        old = text.encode() + old[len(text) :]
        assert file.read_bytes() == old
    assert stat.S_IMODE(file.stat().st_mode) == 0o604


def test_file_that_cannot_be_opened(bench: Bench) -> None:
    bench.world.path(TZ_FILE).mkdir()
    shim = calls(bench)
    assert shim.call("sync_sys_timezone", "UTC-8") == (-14, b"", b"sys_TZ: Is a directory\n")
    assert shim.call("getenv", "TZ").result is None
    assert shim.events("setenv", "system") == []
    assert content(bench.world, PROFILE) is None


@pytest.mark.parametrize(
    ("error", "reason"), [("EROFS", "Read-only file system"), ("ENOSPC", "No space left on device")]
)
def test_file_that_may_not_be_opened(bench: Bench, error: str, reason: str) -> None:
    shim = calls(bench)
    shim.fail("open", error, times=1)
    assert shim.call("sync_sys_timezone", "UTC-8") == (-14, b"", f"sys_TZ: {reason}\n".encode())
    assert shim.call("sync_sys_timezone", "UTC-8") == ACCEPTED


def test_null_text(bench: Bench) -> None:
    shim = calls(bench)
    assert shim.call("sync_sys_timezone", None) == (-27, b"error: timezone not set\r\n", b"")
    assert shim.events("setenv", "system") == []
    assert content(bench.world, TZ_FILE) is None


def test_every_character(bench: Bench) -> None:
    """What is not known to be harmless never comes near a shell."""
    shim = calls(bench)
    known = {" ": "blanks", **{chr(n): "control characters" for n in (*range(1, 32), 127)}}
    refused = 0
    for number in range(1, 256):
        character = chr(number)
        text = b"UTC" + bytes([number]) + b"1"
        if character in HARMLESS:
            continue
        named = known.get(character, character if number < 127 else "characters other than ASCII")
        assert shim.call("sync_sys_timezone", text) == invalid(named), text
        refused += 1
    assert refused == 255 - len(HARMLESS)
    assert shim.call("sync_sys_timezone", HARMLESS[:52]) == ACCEPTED
    assert shim.call("sync_sys_timezone", HARMLESS[52:]) == ACCEPTED
    assert content(bench.world, PROFILE) == f"export TZ={HARMLESS[52:]}\n".encode()
    assert len(shim.events("system")) == 4


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


def test_longest_text(bench: Bench) -> None:
    shim = calls(bench)
    longest = "A" * 59
    assert shim.call("sync_sys_timezone", longest) == ACCEPTED
    for length in (60, 61, 255, 256, 257, 4096, 30000):
        answer = shim.call("sync_sys_timezone", "B" * length)
        assert (answer.result, answer.stderr) == (-2, b"")
        assert answer.stdout.startswith(b"\r\n") and answer.stdout.endswith(b"\r\n")
    assert [event["command"] for event in shim.events("system")] == profile_commands(longest)
    assert shim.call("getenv", "TZ").result == longest
    assert content(bench.world, TZ_FILE) == longest.encode()
    assert content(bench.world, PROFILE) == f"export TZ={longest}\n".encode()


def test_empty_text(bench: Bench) -> None:
    shim = calls(bench)
    assert shim.call("sync_sys_timezone", "") == ACCEPTED
    assert shim.call("getenv", "TZ").result == ""
    assert content(bench.world, TZ_FILE) == b""


@pytest.mark.parametrize(
    ("before", "after"),
    [
        (None, b"export TZ=UTC-8\n"),
        (b"", b"export TZ=UTC-8\n"),
        (b"PATH=/bin\n", b"PATH=/bin\nexport TZ=UTC-8\n"),
        (b"export TZ=UTC+5:0\n", b"export TZ=UTC-8\n"),
        (b"a\n  export TZ=x; y=z # why\nb\n", b"a\nexport TZ=UTC-8\nb\n"),
        (b"export TZ=1\na\nexport TZ=2\n", b"export TZ=UTC-8\na\nexport TZ=UTC-8\n"),
        (b"export TZONE=1\n", b"export TZONE=1\nexport TZ=UTC-8\n"),
        # The word alone is taken for a line that is there to be replaced.
        (b"# TZ is set elsewhere\n", b"# TZ is set elsewhere\n"),
    ],
)
def test_login_profile(bench: Bench, before: bytes | None, after: bytes) -> None:
    if before is not None:
        bench.world.path(PROFILE).write_bytes(before)
    shim = calls(bench)
    for _ in range(2):  # the second time there is nothing to do
        assert shim.call("sync_sys_timezone", "UTC-8") == ACCEPTED
        assert content(bench.world, PROFILE) == after


def test_profile_follows_every_change(bench: Bench) -> None:
    bench.world.path(PROFILE).write_bytes(b"umask 022\n")
    shim = calls(bench)
    for hours in range(-12, 13):
        assert shim.call("set_system_timezone", str(hours)) == ACCEPTED
        text = f"UTC+{-hours}:0" if hours < 0 else f"UTC-{hours}:0"
        assert content(bench.world, PROFILE) == f"umask 022\nexport TZ={text}\n".encode()


@pytest.mark.parametrize(
    "settings", [{"system_result": 256}, {"system_errno": 12}, {"write_errno": 28}, {"close_errno": 5}]
)
def test_what_may_fail(bench: Bench, settings: dict[str, int]) -> None:
    """Once /etc/TZ is open, the rest is done as well as it can be."""
    shim = calls(bench)
    shim.set(profile_commands=0, **settings)
    answer = shim.call("sync_sys_timezone", "UTC-8")
    assert (answer.result, answer.stdout) == (0, b"")
    assert [event["command"] for event in shim.events("system")] == profile_commands("UTC-8")
    assert shim.call("localtime_r", 0).result == "1970-01-01 08:00:00 UTC 0 28800"
