# SPDX-License-Identifier: GPL-2.0-or-later
"""The power fails between two steps: what is left behind, and the next start with it."""
from __future__ import annotations

import signal

import pytest

from lab import BASE_CONFIG, Called, Daemon, Shim
from lab.bench import PRIMARY, SECONDARY, Bench, configured
from lab.exported import DUMP, PROFILE, TZ_FILE, ZONES, calls, content, link
from tests.models.local_times import instant
from tests.models.zone_dump import dump_text

OLD, NEW = "UTC+5:30", "UTC-8:0"
JULY = instant(2020, 7, 15)
OLD_PROFILE, NEW_PROFILE = b"umask 022\nexport TZ=UTC+5:30\n", b"umask 022\nexport TZ=UTC-8:0\n"
TOKYO, PARIS = f"{ZONES}/Asia/Tokyo", f"{ZONES}/Europe/Paris"


def start(bench: Bench, config: str = BASE_CONFIG) -> tuple[Daemon, Shim]:
    daemon = bench.daemon(config, calls=1, profile_commands=1)
    assert daemon.shim is not None
    return daemon, daemon.shim


def dies(daemon: Daemon) -> None:
    assert daemon.wait() == -signal.SIGKILL


def step(when: str) -> dict[str, str]:
    """A point between two steps: "before write", "after system 2"."""
    side, name = when.split(" ", 1)
    return {side: name}


@pytest.mark.parametrize(
    ("when", "text", "profile"),
    [
        ("before open", OLD.encode(), OLD_PROFILE),
        ("after open", OLD.encode(), OLD_PROFILE),
        ("before write", OLD.encode(), OLD_PROFILE),
        ("after write", b"UTC-8:00", OLD_PROFILE),  # the longer text's tail stays
        ("after close", b"UTC-8:00", OLD_PROFILE),
        ("after setenv", b"UTC-8:00", OLD_PROFILE),
        ("before system", b"UTC-8:00", OLD_PROFILE),
        ("after system_done", b"UTC-8:00", NEW_PROFILE),
        ("before system 2", b"UTC-8:00", NEW_PROFILE),
        ("after system_done 2", b"UTC-8:00", NEW_PROFILE),
    ],
)
def test_zone_by_offset(bench: Bench, when: str, text: bytes, profile: bytes) -> None:
    bench.world.path(TZ_FILE).write_text(OLD)
    bench.world.path(PROFILE).write_bytes(OLD_PROFILE)
    daemon, shim = start(bench)
    shim.cut_power(**step(when))
    shim.ask("set_system_timezone", "8")
    dies(daemon)
    assert (content(bench.world, TZ_FILE), content(bench.world, PROFILE)) == (text, profile)
    # What is remembered of an offset ends with the process; setting it again does all of it.
    shim = calls(bench)
    assert shim.call("get_system_timezone").result == [0, 0, 0]
    assert shim.call("set_system_timezone", "8") == Called(0)
    assert (content(bench.world, TZ_FILE), content(bench.world, PROFILE)) == (b"UTC-8:00", NEW_PROFILE)


@pytest.mark.parametrize(("when", "text"), [("before open", None), ("after open", b""), ("after write", NEW.encode())])
def test_first_zone_by_offset(bench: Bench, when: str, text: bytes | None) -> None:
    daemon, shim = start(bench)
    shim.cut_power(**step(when))
    shim.ask("set_system_timezone", "8")
    dies(daemon)
    assert (content(bench.world, TZ_FILE), content(bench.world, PROFILE)) == (text, None)
    shim = calls(bench)
    assert shim.call("set_system_timezone", "8") == Called(0)
    assert content(bench.world, TZ_FILE) == NEW.encode()


@pytest.mark.parametrize(
    ("when", "left", "local"),
    [
        ("before unlink", TOKYO, "2020-07-15 09:00:00 JST 0 32400"),
        ("after unlink", None, "2020-07-15 00:00:00 GMT 0 0"),
        ("before symlink", None, "2020-07-15 00:00:00 GMT 0 0"),
        ("after symlink", PARIS, "2020-07-15 02:00:00 CEST 1 7200"),
    ],
)
def test_zone_by_path(bench: Bench, when: str, left: str | None, local: str) -> None:
    bench.world.path("/etc/localtime").unlink()
    bench.world.path("/etc/localtime").symlink_to(TOKYO)
    daemon, shim = start(bench)
    shim.cut_power(**step(when))
    shim.ask("set_system_timezone_by_path", PARIS)
    dies(daemon)
    assert link(bench.world) == left
    shim = calls(bench)
    assert shim.call("localtime_r", JULY).result == local
    assert shim.call("set_system_timezone_by_path", PARIS) == Called(0)
    assert link(bench.world) == PARIS
    assert shim.call("localtime_r", JULY).result == "2020-07-15 02:00:00 CEST 1 7200"


@pytest.mark.parametrize("when", ["before unlink", "after unlink", "before symlink", "after symlink"])
def test_zone_command(bench: Bench, when: str) -> None:
    """The configuration brings the last zone that was saved back, whatever is left."""
    config = configured(PRIMARY, SECONDARY) + " timezone continent Asia location Tokyo\n"
    daemon, shim = start(bench, config)
    session = bench.vty(daemon)  # the configuration is read by then
    assert link(bench.world) == TOKYO
    shim.cut_power(**step(when))
    session.send(b"timezone continent Europe location Paris\n")
    dies(daemon)
    assert link(bench.world) == {"before unlink": TOKYO, "after symlink": PARIS}.get(when)
    daemon, shim = start(bench, config)
    shown = bench.vty(daemon).command("show timezone")
    assert link(bench.world) == TOKYO
    assert shown == b"Current system time zone : Asia-Tokyo GMT+0900\r\r\n"
    assert shim.call("localtime_r", JULY).result == "2020-07-15 09:00:00 JST 0 32400"


@pytest.mark.parametrize("when", ["before unlink", "after unlink"])
def test_no_zone_command(bench: Bench, when: str) -> None:
    daemon, shim = start(bench)
    session = bench.vty(daemon)
    shim.cut_power(**step(when))
    session.send(b"no timezone\n")
    dies(daemon)
    assert link(bench.world) == (f"{ZONES}/Etc/UTC" if when == "before unlink" else None)
    daemon, shim = start(bench)
    session = bench.vty(daemon)
    # "No zone" is not kept.
    assert session.command("show timezone") == b"Current system time zone : Europe-London GMT+0000\r\r\n"
    assert session.command("no timezone") == b""
    assert link(bench.world) is None


@pytest.mark.parametrize(
    ("when", "lines"),
    [("before unlink", None), ("after unlink", 0), ("after write", 1), ("after open 4", 3), ("after close 8", 8)],
)
def test_list_of_changes(bench: Bench, when: str, lines: int | None) -> None:
    whole = dump_text(["Europe/London"], 2020, 2021)
    bench.world.path(DUMP).write_bytes(b"old\n")
    daemon, shim = start(bench)
    shim.cut_power(**step(when))
    shim.ask("systemGetDstCfg", 2020, JULY, "Europe/London")
    dies(daemon)
    left = content(bench.world, DUMP) or b""
    assert left == (b"old\n" if lines is None else b"".join(whole.splitlines(keepends=True)[:lines]))
    shim = calls(bench)
    assert shim.call("systemGetDstCfg", 2020, JULY, "Europe/London").result == 1
    assert content(bench.world, DUMP) == whole
