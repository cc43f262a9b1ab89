# SPDX-License-Identifier: GPL-2.0-or-later
"""The line on standard output that every accepted answer leaves."""
from __future__ import annotations

import pytest

from lab import Daemon, wait_for
from lab.bench import PRIMARY, START, Bench
from lab.servers.ntp_server import truthful
from lab.servers.packet import Packet, Timestamp, fraction_of, timestamp

NOW = timestamp(START)


def interval(a: Timestamp, b: Timestamp) -> float:
    """a - b in microseconds; a borrow makes it one unit of 2^-32 s less."""
    seconds = a[0] - b[0]
    fraction = a[1] - b[1]
    if fraction < 0:
        fraction = ~(b[1] - a[1]) % 2**32
        seconds -= 1
    seconds %= 2**32
    return (seconds - 2**32 if seconds >= 2**31 else seconds) * 1e6 + fraction * 0.00023283064365386963


def line(packet: Packet, arrival: Timestamp, frequency: int = 0) -> bytes:
    elapsed = interval(arrival, packet.originate)
    stall = interval(packet.transmit, packet.receive)
    skew = (interval(packet.receive, packet.originate) - interval(arrival, packet.transmit)) / 2
    return b"%d %.5d.%.3d  %8.1f %8.1f  %8.1f %8.1f %9d\n" % (
        arrival[0] // 86400,
        arrival[0] % 86400,
        arrival[1] // 4294967,
        elapsed,
        stall,
        skew,
        packet.root_dispersion * 15.2587890625,
        frequency,
    )


def printed(daemon: Daemon) -> bytes:
    wait_for("the statistics line", lambda: b"\n" in daemon.stdout())
    return daemon.stdout()


PACKETS = {
    "all the same": Packet(originate=NOW, receive=NOW, transmit=NOW),
    "ahead": Packet(originate=NOW, receive=timestamp(START + 3600), transmit=timestamp(START + 3600, 2**30)),
    "behind": Packet(originate=NOW, receive=timestamp(START - 3600, 7), transmit=timestamp(START - 3600, 2**31)),
    "borrow": Packet(
        originate=timestamp(START - 1, 2**31 + 1),
        receive=timestamp(START - 1, 0xFFFFFFFF),
        transmit=timestamp(START, 1),
    ),
    "years": Packet(originate=NOW, receive=timestamp(START + 10**9), transmit=timestamp(START + 10**9)),
    "another era": Packet(originate=NOW, receive=(5, 0), transmit=(5, 0)),
    "request of long ago": Packet(originate=(0, 0), receive=NOW, transmit=NOW),
    "dispersion": Packet(originate=NOW, receive=NOW, transmit=NOW, root_dispersion=0x00018000),
    "negative dispersion": Packet(originate=NOW, receive=NOW, transmit=NOW, root_dispersion=-12345),
}


@pytest.mark.parametrize("packet", PACKETS.values(), ids=PACKETS.keys())
def test_line(bench: Bench, packet: Packet) -> None:
    bench.server(answer=lambda _: [packet])
    # Left as it is buffered: it comes out at once all the same.
    daemon = bench.polling(PRIMARY, clock_frozen=START, unbuffered=0)
    assert printed(daemon) == line(packet, NOW)


def test_known_line(bench: Bench) -> None:
    """The reckoning above against one line written out."""
    packet = Packet(originate=NOW, receive=timestamp(START + 1), transmit=timestamp(START + 1), root_dispersion=65536)
    bench.server(answer=lambda _: [packet])
    daemon = bench.polling(PRIMARY, clock_frozen=START, adjtimex_freq=-77)
    assert printed(daemon) == b"44085 44800.000       0.0      0.0  1000000.0 1000000.0       -77\n"


@pytest.mark.parametrize("usec", [0, 1, 999, 1000, 250000, 999999])
def test_arrival(bench: Bench, usec: int) -> None:
    packet = Packet(originate=NOW, receive=NOW, transmit=NOW)
    bench.server(answer=lambda _: [packet])
    daemon = bench.polling(PRIMARY, clock_frozen=f"{START}.{usec:06}")
    assert printed(daemon) == line(packet, timestamp(START, fraction_of(usec)))


@pytest.mark.parametrize("frequency", [1, -1, 16384000, -2147483648])
def test_frequency(bench: Bench, frequency: int) -> None:
    packet = Packet(originate=NOW, receive=NOW, transmit=NOW)
    bench.server(answer=lambda _: [packet])
    daemon = bench.polling(PRIMARY, clock_frozen=START, adjtimex_freq=frequency)
    assert printed(daemon) == line(packet, NOW, frequency)


def test_first_day_of_an_era(bench: Bench) -> None:
    packet = Packet(originate=(3, 0), receive=(3, 0), transmit=(3, 0))
    bench.server(answer=lambda _: [packet])
    daemon = bench.polling(PRIMARY, clock_frozen=2085978496 + 3)
    assert printed(daemon) == b"0 00003.000       0.0      0.0       0.0      0.0         0\n"


def test_one_line_for_each_answer(bench: Bench) -> None:
    bench.server(answer=truthful(NOW))
    daemon = bench.polling(PRIMARY, clock_frozen=START)
    assert daemon.shim is not None
    daemon.shim.wait_events("flush")
    daemon.shim.skip()
    daemon.shim.wait_events("flush", 2)
    assert daemon.stdout().count(b"\n") == 2
