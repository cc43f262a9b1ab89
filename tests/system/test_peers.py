# SPDX-License-Identifier: GPL-2.0-or-later
"""Against real servers of others: does it set the clock right?"""
from __future__ import annotations

import time
from typing import Callable

import pytest

from lab import Daemon, Peer, World, chrony, ntpsec
from lab.bench import PRIMARY, SECONDARY, Bench
from lab.database import rows

YEARS = 86400 * 365
BOTH = pytest.mark.parametrize("kind", [chrony, ntpsec])


def set_right(daemon: Daemon, count: int = 1) -> None:
    """The daemon has set its clock to within a second of the machine's."""
    assert daemon.shim is not None
    steps = daemon.shim.wait_events("settimeofday", count, 30)
    seen = time.time() - time.monotonic()
    for step in steps:
        assert abs(step["sec"] + step["usec"] / 1e6 - (step.real + seen)) < 1


@BOTH
@pytest.mark.parametrize("years", [-12, 5])
def test_clock_years_off(bench: Bench, kind: Callable[[World, str], Peer], years: int) -> None:
    bench.peer(kind, PRIMARY)
    daemon = bench.polling("ntp1.lab", clock_offset=years * YEARS)
    set_right(daemon)
    daemon.wait_stdout(b"\n")
    fields = daemon.stdout().split()
    assert len(fields) == 7
    elapsed, stall, skew = (float(field) for field in fields[2:5])
    assert 0 <= stall < elapsed < 2e6
    assert abs(skew + years * YEARS * 1e6) < 1e6
    ((diff,),) = rows(bench.world, "SELECT diff FROM clock_step")
    assert abs(diff + years * YEARS) <= 1


@BOTH
def test_failover_to_a_living_server(bench: Bench, kind: Callable[[World, str], Peer]) -> None:
    bench.peer(kind, SECONDARY)
    daemon = bench.polling(PRIMARY, SECONDARY, clock_offset=-YEARS, scale=0.02)
    set_right(daemon)
    assert daemon.shim is not None
    sent = daemon.shim.events("sendto")
    assert [event["address"] for event in sent] == [PRIMARY] * 3 + [SECONDARY]
    # The next in a week's time.
    daemon.shim.wait_events("select", when=lambda event: event["timeout"] == 604800)


def test_two_kinds_agree(bench: Bench) -> None:
    bench.peer(chrony, PRIMARY)
    bench.peer(ntpsec, SECONDARY)
    daemon = bench.polling(PRIMARY, SECONDARY, clock_offset=-YEARS)
    set_right(daemon)
    session = bench.vty(daemon)
    session.command("ntp server ntp2.lab ntp1.lab")
    session.command("ntp enable")
    set_right(daemon, 2)
    daemon.wait_stdout(b"\n")
    assert daemon.shim is not None
    assert abs(daemon.shim.wait_events("diff_time", 2)[1]["diff"]) <= 1
