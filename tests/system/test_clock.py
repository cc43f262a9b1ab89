# SPDX-License-Identifier: GPL-2.0-or-later
"""What a good answer does, in which order, and what happens when part of it fails."""
from __future__ import annotations

import struct

import pytest

from lab import Daemon, Event, wait_for
from lab.bench import PRIMARY, SECONDARY, START, Bench
from lab.servers.ntp_server import Answer, truthful
from lab.servers.packet import UNIX_EPOCH, Packet, answer_to, timestamp

SEQUENCE = ("cli_log", "settimeofday", "system", "diff_time", "adjtimex", "flush")


def done(daemon: Daemon, *names: str) -> list[Event]:
    """The device's calls, once the client waits again after the first of them."""
    assert daemon.shim is not None
    shim = daemon.shim

    def probe() -> list[Event] | None:
        events = shim.events(thread="ntpClient")
        starts = [i for i, event in enumerate(events) if event.name == "cli_log"]
        waits = [i for i, event in enumerate(events) if event.name == "select"]
        return events if starts and waits and waits[-1] > starts[-1] else None

    found = wait_for("the wait after an answer", probe)
    return [event for event in found if event.name in (names or SEQUENCE)]


def next_wait(daemon: Daemon) -> float:
    return done(daemon, "select")[-1]["timeout"]


def intervals(elapsed_us: float, stall_us: float) -> Answer:
    """An answer with these intervals, to a client whose clock stands at START."""

    def ticks(us: float) -> int:
        return round(us * 2**32 / 1e6)

    now = timestamp(START)
    earlier = (now[0] - 1, 2**32 - ticks(elapsed_us)) if elapsed_us else now
    return lambda _: [Packet(originate=earlier, receive=now, transmit=(now[0], ticks(stall_us)))]


def test_order_of_the_calls(bench: Bench) -> None:
    bench.server(answer=truthful(timestamp(START + 5)))
    daemon = bench.polling(PRIMARY, clock_frozen=START)
    assert tuple(event.name for event in done(daemon)) == SEQUENCE
    assert [event["command"] for event in done(daemon, "system")] == ["hwclock -w"]
    assert [event["modes"] for event in done(daemon, "adjtimex")] == [0]
    assert next_wait(daemon) == 604800


def test_change_log(bench: Bench) -> None:
    server = bench.server(answer=truthful(timestamp(START + 5)))
    daemon = bench.polling(PRIMARY, clock_frozen=f"{START}.5")
    logged = done(daemon, "cli_log")[0]
    assert logged["text"] == "change by ntp."
    record = bytes.fromhex(logged["record"])
    assert record[:28] == struct.pack("=H", 62) + bytes(26)
    assert record[28:32] == struct.pack("=I", 2)
    # The rest is still the request's.
    assert record[32:] == server.requests[0].data[32:]
    assert record[40:44] == struct.pack(">I", START + UNIX_EPOCH)


@pytest.mark.parametrize("step", [0, 1, 3600, -3600, 86400 * 365 * 40, -86400 * 365 * 40])
def test_size_of_the_step(bench: Bench, step: int) -> None:
    bench.server(answer=truthful(timestamp(START + step)))
    daemon = bench.polling(PRIMARY, clock_frozen=START)
    assert [event["sec"] for event in done(daemon, "settimeofday")] == [START + step]
    stored = done(daemon, "diff_time")[0]
    assert (stored["diff"], stored["area"], stored["id"]) == (step, 4, 1)


def test_step_counts_whole_seconds(bench: Bench) -> None:
    bench.server(answer=truthful(timestamp(START + 2, 0x1999999A)))  # .1 s
    daemon = bench.polling(PRIMARY, clock_frozen=f"{START}.9")
    assert [event["diff"] for event in done(daemon, "diff_time")] == [2]


def test_running_clock(bench: Bench) -> None:
    """The step is what the clock showed after less what it showed before."""
    bench.server(answer=truthful(timestamp(START, 2**31)))
    daemon = bench.polling(PRIMARY, clock_offset=-1000)
    set_, stored = done(daemon, "settimeofday", "diff_time")
    assert stored["diff"] - (START - set_["before"]) in (0, -1)  # a second may turn between


def test_hardware_clock_may_fail(bench: Bench) -> None:
    bench.server(answer=truthful(timestamp(START)))
    daemon = bench.polling(PRIMARY, system_result=256)
    assert tuple(event.name for event in done(daemon)) == SEQUENCE
    assert next_wait(daemon) == 604800
    assert daemon.stderr() == b""


def test_clock_that_cannot_be_set(bench: Bench) -> None:
    bench.server(answer=truthful(timestamp(START)))
    daemon = bench.polling(PRIMARY, settimeofday_errno=1)
    assert [event.name for event in done(daemon)] == ["cli_log", "settimeofday"]
    assert next_wait(daemon) == 300
    assert daemon.stderr() == b"\nsettimeofday: Operation not permitted\n"
    assert daemon.stdout() == b""


def test_clock_that_cannot_be_set_changes_the_server(bench: Bench) -> None:
    bench.server(answer=truthful(timestamp(START)))
    second = bench.server(SECONDARY)
    daemon = bench.polling(PRIMARY, SECONDARY, settimeofday_errno=1)
    assert next_wait(daemon) == 300
    assert daemon.shim is not None
    daemon.shim.skip()
    second.wait_requests(1)


def test_kernel_clock_that_cannot_be_read(bench: Bench) -> None:
    """The one failure that ends the daemon."""
    bench.server(answer=truthful(timestamp(START)))
    daemon = bench.polling(PRIMARY, adjtimex_errno=14, ready=False)
    assert daemon.wait() == 1
    assert daemon.stderr() == b"adjtimex: Bad address\n"
    assert daemon.stdout() == b""
    assert daemon.shim is not None
    names = [event.name for event in daemon.shim.events(*SEQUENCE) if event.name != "flush"]
    assert names == list(SEQUENCE[:-1])


@pytest.mark.parametrize(
    ("elapsed", "stall", "wait"),
    [
        (0, 0, 604800),
        (0, 0.9, 604800),  # -0.9 us counts as 0
        (0, 1.5, 300),  # -1
        (0, 2.5, 10),  # -2 and nothing else
        (0, 3.5, 300),  # -3
        (1000, 1002.5, 10),
        (1000, 500000, 300),
        (500000, 400000, 604800),
    ],
)
def test_stall_longer_than_the_round_trip(bench: Bench, elapsed: float, stall: float, wait: float) -> None:
    bench.server(answer=intervals(elapsed, stall))
    daemon = bench.polling(PRIMARY, clock_frozen=START)
    # Whatever the verdict, the clock is set and the line printed.
    assert tuple(event.name for event in done(daemon)) == SEQUENCE
    assert daemon.stdout().count(b"\n") == 1
    assert next_wait(daemon) == wait


@pytest.mark.parametrize(("stall", "wait"), [(2.5, 10), (5000, 300)])
def test_stall_changes_the_server(bench: Bench, stall: float, wait: float) -> None:
    bench.server(answer=intervals(0, stall))
    second = bench.server(SECONDARY)
    daemon = bench.polling(PRIMARY, SECONDARY, clock_frozen=START)
    assert next_wait(daemon) == wait
    assert daemon.shim is not None
    daemon.shim.skip()
    second.wait_requests(1)


def test_answer_to_a_request_is_measured(bench: Bench) -> None:
    """Elapsed is the client's own measure: from its request to the arrival."""
    bench.server(answer=lambda request: [answer_to(request.data, timestamp(START))])
    daemon = bench.polling(PRIMARY, clock_offset=0)
    done(daemon)
    elapsed, stall = (float(field) for field in daemon.stdout().split()[2:4])
    assert 0 < elapsed < 5e6
    assert stall == 0
