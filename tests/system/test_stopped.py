# SPDX-License-Identifier: GPL-2.0-or-later
"""A client that was stopped, and one that is started again."""
from __future__ import annotations

import time

from lab.bench import FAST, PRIMARY, SECONDARY, START, Bench
from lab.servers.ntp_server import truthful
from lab.servers.packet import Packet, timestamp

THEN = timestamp(START + 1000)


def test_stop_ends_the_requests(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, scale=FAST)
    assert daemon.shim is not None
    daemon.shim.requests(2)
    session = bench.vty(daemon)
    assert session.command("ntp disable") == b""
    daemon.shim.wait_events("select", when=lambda event: event["timeout"] == 604800)
    sent = len(daemon.shim.events("sendto"))
    time.sleep(0.5)  # 500 s of the daemon's
    assert len(daemon.shim.events("sendto")) == sent
    assert session.command("show ntp") == b"NTP protcol is disable!\r\r\n"


def test_end_of_the_long_wait_sends_nothing(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, scale=FAST)
    assert daemon.shim is not None
    shim = daemon.shim
    shim.requests(1)
    bench.vty(daemon).command("ntp disable")

    def long_waits(count: int) -> None:
        shim.wait_events("select", count, when=lambda event: event["timeout"] == 604800)

    long_waits(1)
    sent = len(shim.events("sendto"))
    before = shim.events()[-1].waited
    for _ in range(2):
        shim.skip()
        time.sleep(0.2)
    bench.vty(daemon).command("ntp enable")
    shim.requests(sent + 1)
    # Two weeks went by without a request: the third is the restart's.
    assert shim.events("sendto")[sent].waited - before > 2 * 604000


def test_answer_while_stopped_is_left_alone(bench: Bench) -> None:
    server = bench.server()
    daemon = bench.polling(PRIMARY)
    server.wait_requests(1)
    session = bench.vty(daemon)
    session.command("ntp disable")
    assert daemon.shim is not None
    daemon.shim.wait_events("select", when=lambda event: event["timeout"] == 604800)
    server.send(Packet(transmit=THEN))
    time.sleep(0.3)
    assert daemon.shim.events("recvfrom", "settimeofday") == []

    # Back on, what waits in the socket is read before anything is sent.
    session.command("ntp enable")
    daemon.shim.wait_events("flush")
    names = [event.name for event in daemon.shim.events("sendto", "recvfrom", "settimeofday")]
    assert names == ["sendto", "recvfrom", "settimeofday"]


def test_restart_goes_to_the_primary_at_once(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, SECONDARY, scale=0.01)
    assert daemon.shim is not None
    session = bench.vty(daemon)
    before = daemon.shim.requests(5)[:5]  # the client now waits 120 s for the secondary
    session.command("ntp enable")
    again = daemon.shim.requests(7)[5:7]
    assert [event["address"] for event in before + again] == [PRIMARY] * 3 + [SECONDARY] * 2 + [PRIMARY] * 2
    assert again[0].waited - before[-1].waited < 120
    # A first request again: the next follows after 30 s.
    assert round(again[1].waited - again[0].waited, 3) == 30


def test_restart_after_stop(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, SECONDARY, scale=FAST)
    assert daemon.shim is not None
    daemon.shim.requests(4)
    session = bench.vty(daemon)
    session.command("ntp disable")
    daemon.shim.wait_events("select", when=lambda event: event["timeout"] == 604800)
    sent = len(daemon.shim.events("sendto"))
    session.command("ntp enable")
    again = daemon.shim.requests(sent + 3)[sent : sent + 3]
    assert [event["address"] for event in again] == [PRIMARY] * 3
    assert [round(event.waited - again[0].waited, 3) for event in again] == [0, 30, 150]


def test_restart_ends_the_week_after_an_answer(bench: Bench) -> None:
    server = bench.server(answer=truthful(THEN))
    daemon = bench.polling(PRIMARY)
    assert daemon.shim is not None
    daemon.shim.wait_events("flush")
    bench.vty(daemon).command("ntp enable")
    server.wait_requests(2)
    daemon.shim.wait_events("flush", 2)


def test_second_disable_sends_no_signal(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, debug=True)
    assert daemon.shim is not None
    daemon.shim.requests(1)
    session = bench.vty(daemon)
    for _ in range(3):
        assert session.command("ntp disable") == b""
        assert session.command("show ntp") == b"NTP protcol is disable!\r\r\n"
    session.command("ntp enable")
    shown = daemon.wait_stdout(b"NTP_SIG_RESTART")
    assert shown.count(b"NTP_SIG_STOP") == 1
    assert b"ntp read signal pipe failed" not in shown
