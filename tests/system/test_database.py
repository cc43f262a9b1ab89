# SPDX-License-Identifier: GPL-2.0-or-later
"""Where the steps of the clock are kept, and that nothing depends on it."""
from __future__ import annotations

import subprocess

import pytest

from lab import Daemon
from lab.bench import PRIMARY, START, Bench
from lab.database import DATABASE, HOLD, rows
from lab.servers.ntp_server import truthful
from lab.servers.packet import timestamp

STEP = 1234


def step_once(bench: Bench, **options: object) -> Daemon:
    """A daemon that has just set its clock and goes on."""
    bench.server(answer=truthful(timestamp(START + STEP)))
    daemon = bench.polling(PRIMARY, clock_frozen=START, **options)
    assert daemon.shim is not None
    daemon.shim.wait_events("select", when=lambda event: event["timeout"] == 604800)
    return daemon


def test_step_is_stored(bench: Bench) -> None:
    step_once(bench)
    assert rows(bench.world, "SELECT time, diff, area, id FROM clock_step") == [(START + STEP, STEP, 4, 1)]


def test_change_is_logged(bench: Bench) -> None:
    step_once(bench)
    (logged,) = rows(bench.world, "SELECT time, kind, value, length(record), text FROM change_log")
    assert logged == (START, 62, 2, 48, "change by ntp.")


def test_steps_of_two_runs(bench: Bench) -> None:
    daemon = step_once(bench)
    daemon.kill()
    daemon = bench.polling(PRIMARY, clock_frozen=START + STEP + 1)
    assert daemon.shim is not None
    daemon.shim.wait_events("diff_time_done")
    assert rows(bench.world, "SELECT diff FROM clock_step ORDER BY seq") == [(STEP,), (-1,)]


def test_other_file(bench: Bench) -> None:
    step_once(bench, environment={"HORAD_CONFIG_DB": "/tmp/elsewhere/steps.db"})
    assert rows(bench.world, "SELECT diff FROM clock_step", "/tmp/elsewhere/steps.db") == [(STEP,)]
    assert not bench.world.path(DATABASE).exists()


def test_nothing_is_stored_before_a_step(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY)
    assert daemon.shim is not None
    daemon.shim.requests(1)
    assert rows(bench.world, "SELECT count(*) FROM clock_step") == [(0,)]


def below_a_file(bench: Bench) -> str:
    bench.world.path("/var/lib/file").write_text("no folder")
    return "/var/lib/file/config.db"


def corrupt(bench: Bench) -> str:
    bench.world.path("/var/lib/corrupt.db").write_bytes(b"no database at all" * 1000)
    return "/var/lib/corrupt.db"


def folder(bench: Bench) -> str:
    bench.world.path("/var/lib/folder.db").mkdir()
    return "/var/lib/folder.db"


@pytest.mark.parametrize("trouble", [below_a_file, corrupt, folder])
def test_useless_database(bench: Bench, trouble) -> None:
    path = trouble(bench)
    daemon = step_once(bench, environment={"HORAD_CONFIG_DB": path})
    assert daemon.shim is not None
    assert [event["result"] for event in daemon.shim.events("diff_time_done")] == [-1]
    # One line each: at start, for the log, for the step; each names the file.
    lines = daemon.stderr().splitlines()
    assert len(lines) == 3
    assert all(path.encode() in line for line in lines)
    # All the same: the clock was set and the line printed.
    assert daemon.stdout().startswith(b"44085 44800.000 ")
    assert bench.vty(daemon).command("show ntp") != b""


def test_locked_database(bench: Bench) -> None:
    path = "/var/lib/locked.db"
    holder = bench.world.spawn(
        "daemon", ["/usr/bin/python3", "-c", HOLD, path], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL
    )
    try:
        assert holder.stdout is not None
        assert holder.stdout.readline() == b"held\n"
        daemon = step_once(bench, environment={"HORAD_CONFIG_DB": path})
        assert b"locked" in daemon.stderr()
        assert daemon.shim is not None
        assert [event["result"] for event in daemon.shim.events("diff_time_done")] == [-1]
    finally:
        bench.world.end(holder)
        if holder.stdout is not None:
            holder.stdout.close()

    # Free again, the next step is stored by the same daemon.
    daemon.shim.skip()
    daemon.shim.wait_events("diff_time_done", 2)
    assert rows(bench.world, "SELECT diff FROM clock_step", path) == [(0,)]


def test_database_that_vanishes(bench: Bench) -> None:
    daemon = step_once(bench)
    for ending in ("", "-wal", "-shm"):
        bench.world.path(DATABASE + ending).unlink(missing_ok=True)
    assert daemon.shim is not None
    daemon.shim.skip()
    daemon.shim.wait_events("diff_time_done", 2)
    assert rows(bench.world, "SELECT diff FROM clock_step") == [(0,)]


def test_step_survives_a_kill(bench: Bench) -> None:
    bench.server(answer=truthful(timestamp(START + STEP)))
    daemon = bench.polling(PRIMARY, clock_frozen=START)
    assert daemon.shim is not None
    daemon.shim.wait_events("diff_time_done")
    daemon.kill()
    assert rows(bench.world, "SELECT diff FROM clock_step") == [(STEP,)]
