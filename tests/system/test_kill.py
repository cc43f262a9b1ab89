# SPDX-License-Identifier: GPL-2.0-or-later
"""The daemon is killed while it steps the clock: what was stored stays, and the next start works."""
from __future__ import annotations

import random
import signal
import time

import pytest

from lab import Daemon, Shim, wait_for
from lab.bench import CALM, FAST, PRIMARY, START, Bench
from lab.database import DATABASE, rows
from lab.gauges import measured, rounds
from lab.servers.ntp_server import truthful
from lab.servers.packet import timestamp
from lab.steps import restless, stored

# The ends of one run's life that are chosen; the others come at random.
POINTS = [
    "before socket", "after bind", "after lookup", "before sendto", "after sendto", "before recvfrom",
    "after recvfrom", "after cli_log", "before settimeofday", "after settimeofday", "before system", "after system",
    "after system_done", "after diff_time", "after diff_time_done", "before adjtimex", "after adjtimex", "after flush",
]


class Ledger:
    """What has to be in the database after each of many runs."""

    def __init__(self, bench: Bench) -> None:
        self._bench = bench
        self.kept: list[int] = []
        self.unanswered = 0  # rows that were stored, but the daemon was killed before it knew

    def check(self, shim: Shim) -> None:
        """All that the run was told is stored is there, in order and once; one more may be."""
        started = [event["diff"] for event in shim.events("diff_time")]
        done = shim.events("diff_time_done")
        assert [event["result"] for event in done] == [0] * len(done)
        assert len(started) - len(done) in (0, 1)
        found = stored(self._bench.world)
        sure = self.kept + started[: len(done)]
        assert found in (sure, self.kept + started)
        self.unanswered += len(found) - len(sure)
        self.kept = found
        assert rows(self._bench.world, "PRAGMA integrity_check") == [("ok",)]


def stepping(bench: Bench) -> tuple[Daemon, Shim]:
    """A daemon that steps its clock again and again."""
    daemon = bench.polling(PRIMARY, clock_frozen=START, scale=FAST, ready=False, skip=10**6)
    assert daemon.shim is not None
    return daemon, daemon.shim


def works_again(bench: Bench, ledger: Ledger) -> None:
    daemon, shim = stepping(bench)
    shim.wait_events("flush", 3)
    assert daemon.running
    daemon.kill()
    ledger.check(shim)


@pytest.mark.plain_build
def test_killed_at_random(bench: Bench) -> None:
    bench.server(answer=restless)
    ledger = Ledger(bench)
    runs = 0
    for _ in rounds(75):
        daemon, shim = stepping(bench)
        shim.wait_events("settimeofday")
        time.sleep(random.uniform(0, 0.03))
        daemon.kill()
        assert daemon.status == -signal.SIGKILL
        ledger.check(shim)
        runs += 1
    works_again(bench, ledger)
    assert len(ledger.kept) >= runs // 2
    measured("kills at random", runs=runs, rows=len(ledger.kept), stored_unknown_to_the_daemon=ledger.unanswered)


@pytest.mark.plain_build
def test_killed_while_the_database_is_made(bench: Bench) -> None:
    """Whatever is left of a new file, the next start makes a whole one of it."""
    bench.server(answer=restless)
    for _ in rounds(20):
        for ending in ("", "-wal", "-shm"):
            bench.world.path(DATABASE + ending).unlink(missing_ok=True)
        daemon, _ = stepping(bench)
        wait_for("the file", bench.world.path(DATABASE).exists)
        time.sleep(random.uniform(0, 0.004))
        daemon.kill()
        ledger = Ledger(bench)
        ledger.kept = stored(bench.world)
        assert rows(bench.world, "PRAGMA integrity_check") == [("ok",)]
        works_again(bench, ledger)


@pytest.mark.parametrize("point", POINTS)
def test_killed_at(bench: Bench, point: str) -> None:
    """Before or after a call of the second step: the first is kept, and the second if it was stored."""
    bench.server(answer=restless)
    ledger = Ledger(bench)
    # Of look-ups there are two in an exchange: for the request and for the answer.
    number = {"socket": 1, "bind": 1, "lookup": 3}.get(point.split()[1], 2)
    side, call = point.split()
    daemon = bench.polling(PRIMARY, clock_frozen=START, scale=CALM, ready=False, skip=10**6,
                           **{f"kill_{side}": f"{call} {number}"})
    assert daemon.shim is not None
    assert daemon.wait() == -signal.SIGKILL
    ledger.check(daemon.shim)
    names = [event.name for event in daemon.shim.events("diff_time", "diff_time_done")]
    late = call in ("diff_time_done", "adjtimex", "flush")
    before = 0 if call in ("socket", "bind") else 1
    assert names == ["diff_time", "diff_time_done"] * (before + late) + ["diff_time"] * (call == "diff_time")
    assert ledger.unanswered == 0
    works_again(bench, ledger)


def test_clock_that_was_set_but_not_recorded(bench: Bench) -> None:
    """The step itself is lost to the record: the next run finds the clock right and records 0."""
    bench.server(answer=truthful(timestamp(START + 77)))
    daemon = bench.polling(PRIMARY, clock_frozen=START, ready=False, kill_after="settimeofday")
    assert daemon.wait() == -signal.SIGKILL
    assert stored(bench.world) == []
    # The order in the change log tells of it: an entry, and no step.
    assert rows(bench.world, "SELECT count(*) FROM change_log") == [(1,)]
    daemon = bench.polling(PRIMARY, clock_frozen=START + 77)
    assert daemon.shim is not None
    daemon.shim.wait_events("diff_time_done")
    assert stored(bench.world) == [0]
