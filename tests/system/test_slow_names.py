# SPDX-License-Identifier: GPL-2.0-or-later
"""What an operator can do while the client waits for a slow name server."""
from __future__ import annotations

import time

from lab.bench import PRIMARY, START, Bench
from lab.servers.packet import Packet, answer_to, timestamp

SLOW = 1.5


def test_request_holds_the_names(bench: Bench) -> None:
    """The names may not change while one is looked up; what needs none goes on."""
    daemon = bench.polling("ntp1.lab", lookup_sleep=SLOW)
    assert daemon.shim is not None
    session = bench.vty(daemon)
    begun = daemon.shim.wait_events("lookup")[0].real
    assert session.command("show timezone") == b"Current system time zone : Europe-London GMT+0000\r\r\n"
    assert time.monotonic() - begun < SLOW
    assert session.command("show ntp").startswith(b"NTP server is ntp1.lab, ")
    assert time.monotonic() - begun >= SLOW


def test_source_check_does_not(bench: Bench) -> None:
    server = bench.server()
    daemon = bench.polling(PRIMARY)
    assert daemon.shim is not None
    session = bench.vty(daemon)
    server.wait_requests(1)
    daemon.shim.set(lookup_sleep=SLOW)
    server.send(Packet(transmit=timestamp(START)))
    begun = daemon.shim.wait_events("lookup", 2)[1].real
    assert session.command("ntp server ntp1.lab ntp2.lab") == b""
    assert session.command("show ntp").startswith(b"NTP server is ntp1.lab, ntp2.lab.")
    assert time.monotonic() - begun < SLOW
    daemon.shim.set(lookup_sleep=0)
    daemon.shim.wait_events("flush")


def test_both_lookups_count_as_round_trip(bench: Bench) -> None:
    """A request carries the time before its look-up, and an answer arrives with the end of its own."""
    bench.server(answer=lambda request: [answer_to(request.data, timestamp(START))])
    daemon = bench.polling("ntp1.lab", clock_offset=0, lookup_sleep=SLOW)
    elapsed = float(daemon.wait_stdout(b"\n").split()[2])
    assert elapsed >= 2 * SLOW * 1e6
