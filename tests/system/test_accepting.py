# SPDX-License-Identifier: GPL-2.0-or-later
"""Which datagrams the client takes for an answer."""
from __future__ import annotations

import pytest

from lab import Daemon, Event, wait_for
from lab.bench import PRIMARY, SECONDARY, START, STRANGER, Bench
from lab.servers.ntp_server import Answer, send_from
from lab.servers.packet import Packet, answer_to, timestamp, unpack, usec_of

THEN = timestamp(START + 1000)


def steps(daemon: Daemon) -> list[Event]:
    assert daemon.shim is not None
    return daemon.shim.events("settimeofday")


def wait_after(daemon: Daemon, call: str) -> float:
    """How long the client waits after the last such call."""
    assert daemon.shim is not None
    shim = daemon.shim

    def probe() -> list[Event] | None:
        events = shim.events(thread="ntpClient")
        last = max((i for i, event in enumerate(events) if event.name == call), default=len(events))
        return [event for event in events[last:] if event.name == "select"]

    return wait_for(f"a wait after {call}", probe)[0]["timeout"]


def altered(**fields: object) -> Answer:
    return lambda request: [answer_to(request.data, THEN).but(**fields)]


def padded(length: int) -> Answer:
    return lambda request: [answer_to(request.data, THEN).pack().ljust(length, b"\xa5")[:length]]


def test_sound_answer_is_used(bench: Bench) -> None:
    bench.server(answer=altered())
    daemon = bench.polling(PRIMARY, clock_frozen=START)
    assert wait_after(daemon, "flush") == 604800
    assert [(step["sec"], step["usec"]) for step in steps(daemon)] == [(START + 1000, 0)]


@pytest.mark.parametrize(
    "fields",
    [
        {"leap": 3},
        {"stratum": 0},
        {"stratum": 255},
        {"version": 1},
        {"version": 7},
        {"mode": 3},
        {"mode": 0},
        {"poll": 255, "precision": -128},
        {"originate": (0, 0)},
        {"originate": (1, 2)},
        {"reference": (0, 0), "receive": (0, 0)},
        {"root_delay": -1, "root_dispersion": -1},
    ],
    ids=str,
)
def test_other_fields_do_not_matter(bench: Bench, fields: dict[str, object]) -> None:
    bench.server(answer=altered(**fields))
    daemon = bench.polling(PRIMARY, clock_frozen=START)
    wait_after(daemon, "flush")
    assert [step["sec"] for step in steps(daemon)] == [START + 1000]


def test_other_address_is_dropped(bench: Bench) -> None:
    server = bench.server()
    stranger = bench.server(STRANGER)
    daemon = bench.polling(PRIMARY)
    request = server.wait_requests(1)[0].data
    stranger.send(answer_to(request, THEN))
    # The wait goes on from where it was.
    assert 0 < wait_after(daemon, "recvfrom") <= 30
    server.send(answer_to(request, timestamp(START + 7)))
    wait_after(daemon, "flush")
    assert [step["sec"] for step in steps(daemon)] == [START + 7]


@pytest.mark.parametrize("port", [1, 124, 40000])
def test_port_of_the_server_does_not_matter(bench: Bench, port: int) -> None:
    server = bench.server()
    daemon = bench.polling(PRIMARY)
    request = server.wait_requests(1)[0].data
    send_from(bench.world, PRIMARY, port, answer_to(request, THEN))
    wait_after(daemon, "flush")
    assert len(steps(daemon)) == 1


def test_unasked_answer_is_used(bench: Bench) -> None:
    server = bench.server()
    daemon = bench.polling(PRIMARY)
    server.wait_requests(1)
    server.send(Packet(transmit=THEN))
    wait_after(daemon, "flush")
    assert len(steps(daemon)) == 1


@pytest.mark.parametrize(("length", "shown"), [(0, 0), (1, 1), (47, 47), (1300, 1300), (1400, 1300)])
def test_bad_length_is_refused(bench: Bench, length: int, shown: int) -> None:
    bench.server(answer=padded(length))
    daemon = bench.polling(PRIMARY, unbuffered=0)
    # Flushed: a reader of the output has it before the long wait.
    assert wait_after(daemon, "flush") == 300
    assert daemon.stdout() == b"Ooops.  pack_len=%d\n" % shown
    assert steps(daemon) == []


@pytest.mark.parametrize("length", [48, 49, 1299])
def test_good_length_is_used(bench: Bench, length: int) -> None:
    bench.server(answer=padded(length))
    daemon = bench.polling(PRIMARY)
    wait_after(daemon, "flush")
    assert [step["sec"] for step in steps(daemon)] == [START + 1000]


def test_bad_length_does_not_change_the_server(bench: Bench) -> None:
    server = bench.server(answer=padded(47))
    daemon = bench.polling(PRIMARY, SECONDARY)
    assert wait_after(daemon, "recvfrom") == 300
    assert daemon.shim is not None
    daemon.shim.skip()
    server.wait_requests(2)


def test_bad_length_counts_before_the_address(bench: Bench) -> None:
    server = bench.server()
    stranger = bench.server(STRANGER)
    daemon = bench.polling(PRIMARY)
    server.wait_requests(1)
    stranger.send(b"short")
    assert wait_after(daemon, "recvfrom") == 300
    assert daemon.stdout() == b"Ooops.  pack_len=5\n"


@pytest.mark.parametrize("seconds", [0, 0xFFFFFFFF])
def test_no_transmit_time(bench: Bench, seconds: int) -> None:
    bench.server(answer=altered(transmit=(seconds, 12345)))
    daemon = bench.polling(PRIMARY)
    assert wait_after(daemon, "recvfrom") == 10
    assert daemon.shim is not None
    assert daemon.shim.events("cli_log", "settimeofday", "system") == []
    assert daemon.stdout() == b""


def test_no_transmit_time_changes_the_server(bench: Bench) -> None:
    bench.server(answer=altered(transmit=(0, 0)))
    second = bench.server(SECONDARY)
    daemon = bench.polling(PRIMARY, SECONDARY)
    second.wait_requests(1)
    assert daemon.shim is not None
    # Not after the 10 s alone: they run out, and the next pass sends.
    sent = daemon.shim.requests(2)
    assert sent[1].waited - sent[0].waited >= 10


@pytest.mark.parametrize(
    ("seconds", "unix"),
    [(1, 2085978497), (0xFFFFFFFE, 2085978494), (0x83AA7E80, 0), (0x83AA7E7F, 4294967295), (3808988800, 1600000000)],
)
def test_transmit_seconds_wrap(bench: Bench, seconds: int, unix: int) -> None:
    bench.server(answer=altered(transmit=(seconds, 0)))
    daemon = bench.polling(PRIMARY)
    wait_after(daemon, "flush")
    assert [step["sec"] for step in steps(daemon)] == [unix]


@pytest.mark.parametrize("fraction", [0, 1, 4096, 0x40000000, 0x80000000, 0xDEADBEEF, 0xFFFFFFFF])
def test_transmit_fraction_as_microseconds(bench: Bench, fraction: int) -> None:
    known = {0: 0, 0x80000000: 500000, 0xFFFFFFFF: 999999}
    bench.server(answer=altered(transmit=(THEN[0], fraction)))
    daemon = bench.polling(PRIMARY)
    wait_after(daemon, "flush")
    assert [step["usec"] for step in steps(daemon)] == [known.get(fraction, usec_of(fraction))]


def test_receive_error(bench: Bench) -> None:
    server = bench.server()
    daemon = bench.polling(PRIMARY)
    request = server.wait_requests(1)[0].data
    assert daemon.shim is not None
    daemon.shim.fail("recvfrom", "EIO", 1)
    server.send(answer_to(request, THEN))
    daemon.wait_stderr(b"recvfrom: Input/output error\n")
    server.send(answer_to(request, THEN))
    wait_after(daemon, "flush")
    assert daemon.stderr() == b"recvfrom: Input/output error\n"
    assert len(steps(daemon)) == 1


def test_name_that_stops_resolving(bench: Bench) -> None:
    """The sender is compared with what the name stands for when the answer comes."""
    server = bench.server()
    daemon = bench.polling("ntp1.lab")
    request = server.wait_requests(1)[0].data
    bench.vty(daemon).command("ntp server gone.lab")
    server.send(answer_to(request, THEN))
    daemon.wait_stdout(b"\n")
    assert 0 < wait_after(daemon, "recvfrom") <= 30
    assert daemon.stdout() == b"ntp get host by name failed\n"
    assert daemon.stderr() == b"gone.lab: Unknown host\n"
    assert steps(daemon) == []


def test_late_answer_of_the_server_before(bench: Bench) -> None:
    first, second = bench.server(), bench.server(SECONDARY)
    daemon = bench.polling(PRIMARY, SECONDARY, scale=0.02)
    request = first.wait_requests(3)[2].data
    second.wait_requests(1)
    assert unpack(request).transmit != (0, 0)
    first.send(answer_to(request, THEN))
    assert daemon.shim is not None
    daemon.shim.wait_events("recvfrom")
    second.send(answer_to(request, timestamp(START + 7)))
    wait_after(daemon, "flush")
    assert [step["sec"] for step in steps(daemon)] == [START + 7]
