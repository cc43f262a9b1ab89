# SPDX-License-Identifier: GPL-2.0-or-later
"""Hundreds of sessions and thousands of commands: nothing is lost, nothing is kept."""
from __future__ import annotations

import random
import re
import time
from contextlib import ExitStack

import pytest

from lab import BASE_CONFIG, TIME_FACTOR, Daemon, Shim, Vty, wait_for
from lab.bench import PRIMARY, SECONDARY, START, Bench
from lab.database import rows
from lab.gauges import FLAT, descriptors, measured, memory, resting_descriptors, rounds
from lab.servers.ntp_server import truthful
from lab.servers.packet import timestamp
from lab.steps import made, restless, stored

GREETING = re.compile(rb"Password: $")
EACH = 60  # sessions of a sort: 300 in all


def idle(session: Vty) -> None:
    """Connected, and silent."""


def half_open(session: Vty) -> None:
    session.send(b"lab\nena")


def long_line(session: Vty) -> None:
    session.send(b"lab\nenable\nconfigure terminal\nntp\nntp server " + b"x" * 10000 + b"\nshow ntp")


def binary(session: Vty) -> None:
    session.send(b"lab\n" + random.randbytes(2000) + b"\n")


def slow_reader(session: Vty) -> None:
    """Asks for much and never reads it."""
    session.send(b"lab\nterminal length 0\nenable\nconfigure terminal\n" + b"list\n" * 20)


def crowd(daemon: Daemon) -> None:
    """All sorts at once; somebody else works as if alone; then all go away in any order."""
    with ExitStack() as stack:
        sessions: list[Vty] = []
        for sort in (idle, half_open, long_line, binary, slow_reader):
            for _ in range(EACH):
                session = stack.enter_context(daemon.connect())
                sessions.append(session)
                session.read_until(GREETING)  # the queue of those not yet let in is short
                sort(session)
        with daemon.vty() as other:
            for _ in range(20):
                assert other.command("show ntp") == b"NTP protcol is disable!\r\r\n"
        random.shuffle(sessions)
        for session in sessions:
            session.close()


@pytest.mark.plain_build
def test_crowd(bench: Bench) -> None:
    """Memory for a crowd is kept for the next one, and that is all.

    How the sorts meet in the heap is up to chance, so it takes some crowds to find
    the most that is wanted.  2 MB more is less than 2 kB for each session after
    that; what a session holds is more than 8 kB.
    """
    daemon = bench.daemon(shim=False)
    resting, alone = resting_descriptors(daemon), memory(daemon)

    def crowds(count: int) -> int:
        for _ in range(count):
            crowd(daemon)
            wait_for("the end of the crowd", lambda: descriptors(daemon) == resting, 30)
        return memory(daemon)

    first = crowds(5)
    for _ in rounds(1):
        last = crowds(4)
    measured("crowds", alone_kB=alone, first_kB=first, last_kB=last)
    assert last - first <= 2048
    assert daemon.stderr() == b""


def test_output_nobody_reads(bench: Bench) -> None:
    """A session that never reads is not waited for: not by others, not by the client."""
    bench.server(answer=truthful(timestamp(START)))
    daemon = bench.polling(PRIMARY, clock_frozen=START)
    assert daemon.shim is not None
    with daemon.connect() as session:
        slow_reader(session)
        session.send(b"list\n" * 2000)
        with daemon.vty() as other:
            assert other.command("show ntp").startswith(b"NTP server is")
            other.command("ntp enable")
        daemon.shim.wait_events("flush", 2)


def come_to_rest(shim: Shim) -> None:
    """Waits until the client has stepped the clock for the last command and sleeps since then."""

    def resting() -> bool:
        last = shim.events(thread="ntpClient")[-1]
        # A late answer of the other server takes a moment off the week.
        return last.data.get("timeout", 0) > 600000 and time.monotonic() - last.real > 0.3 * TIME_FACTOR

    wait_for("a last step", resting, 30)


def crowded(bench: Bench) -> tuple[Daemon, Shim, list[Vty]]:
    """A daemon with four operators, and two servers that answer."""
    for address in (PRIMARY, SECONDARY):
        bench.server(address, restless)
    daemon = bench.daemon(BASE_CONFIG, clock_frozen=START)
    assert daemon.shim is not None
    return daemon, daemon.shim, [bench.vty(daemon) for _ in range(4)]


@pytest.mark.plain_build
def test_ten_thousand_changes(bench: Bench) -> None:
    """NTP on and off and other servers, by four operators, while two servers answer: one row for each step."""
    daemon, shim, operators = crowded(bench)
    lines = [
        f"ntp server {PRIMARY} {SECONDARY}", "ntp enable", f"ntp server {SECONDARY}", "ntp enable", "show ntp json",
        "ntp disable", f"ntp server {PRIMARY} {PRIMARY}", "ntp enable", "no second ntp server2", "ntp enable",
    ]

    def work(count: int) -> None:
        for number in range(count):
            operators[number % 4].command(lines[number % len(lines)])

    def settled() -> int:
        operators[0].command(f"ntp server {PRIMARY} {SECONDARY}")
        operators[0].command("ntp enable")
        come_to_rest(shim)
        return memory(daemon)

    start = time.monotonic()
    work(2000)
    first, opened = settled(), resting_descriptors(daemon)
    for _ in rounds(1):
        work(8000)
    last = settled()
    took = time.monotonic() - start
    assert last - first <= FLAT // 2
    assert resting_descriptors(daemon) == opened
    assert b"Could not send NTP signal" not in daemon.stdout()
    steps = made(shim)
    assert len(steps) >= 20
    # Besides the statistics lines there is what an answer prints that finds the secondary taken away.
    lines = daemon.stdout().replace(b"ntp get host by name failed\n", b"").splitlines()
    assert len(lines) == len(steps)
    assert stored(bench.world) == steps
    assert rows(bench.world, "SELECT count(*) FROM change_log") == [(len(steps),)]
    assert rows(bench.world, "PRAGMA integrity_check") == [("ok",)]
    measured("changes", commands_per_s=10000 / took, steps=len(steps), grown_kB=last - first)


def test_operators_against_answers(bench: Bench) -> None:
    """A shorter one for the sanitizers: changes and steps at the same time."""
    _, shim, operators = crowded(bench)
    for number in range(300):
        for line in (f"ntp server {PRIMARY} {SECONDARY}", "ntp enable", "show ntp", f"ntp server {SECONDARY}"):
            operators[number % 4].command(line)
    operators[0].command("ntp enable")
    come_to_rest(shim)
    assert stored(bench.world) == made(shim)
