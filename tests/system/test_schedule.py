# SPDX-License-Identifier: GPL-2.0-or-later
"""When the client sends, and to which server."""
from __future__ import annotations

from lab import Daemon, wait_for
from lab.bench import CALM, FAST, PRIMARY, SECONDARY, START, UNREACHABLE, Bench
from lab.servers.ntp_server import truthful
from lab.servers.packet import timestamp

THEN = timestamp(START)


def attempts(daemon: Daemon, count: int) -> list[tuple[float, str]]:
    """The daemon's time and the server of its first requests, failed ones too."""
    assert daemon.shim is not None
    sent = daemon.shim.requests(count)[:count]
    return [(round(event.waited, 3), event["address"]) for event in sent]


def lookups(daemon: Daemon, count: int) -> list[tuple[float, str]]:
    assert daemon.shim is not None
    found = daemon.shim.wait_events("lookup", count)[:count]
    return [(round(event.waited, 3), event["name"]) for event in found]


def test_two_silent_servers(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, SECONDARY, scale=FAST)
    assert attempts(daemon, 10) == [
        (0, PRIMARY),
        (30, PRIMARY),
        (150, PRIMARY),
        (150, SECONDARY),
        (180, SECONDARY),
        (300, SECONDARY),
        (300, PRIMARY),
        (330, PRIMARY),
        (450, PRIMARY),
        (450, SECONDARY),
    ]


def test_one_silent_server(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, scale=FAST)
    assert attempts(daemon, 6) == [(time, PRIMARY) for time in (0, 30, 150, 270, 390, 510)]


def test_a_week_after_an_answer(bench: Bench) -> None:
    server = bench.server(answer=truthful(THEN))
    daemon = bench.polling(PRIMARY)
    assert daemon.shim is not None
    shim = daemon.shim
    for count in (1, 2):
        shim.wait_events("flush", count)
        server.wait_requests(count)
        shim.wait_events("select", count, when=lambda event: event["timeout"] == 604800)
        shim.skip()
    server.wait_requests(3)
    sent = shim.events("sendto")
    assert 604800 <= sent[1].waited - sent[0].waited < 604830
    assert 604800 <= sent[2].waited - sent[1].waited < 604830


def test_third_request_changes_the_server_in_spite_of_answers(bench: Bench) -> None:
    """Good answers do not reset the count of requests."""
    bench.server(answer=truthful(THEN))
    bench.server(SECONDARY, truthful(THEN))
    daemon = bench.polling(PRIMARY, SECONDARY)
    assert daemon.shim is not None
    daemon.shim.skip(20)
    assert [server for _, server in attempts(daemon, 8)] == [PRIMARY] * 3 + [SECONDARY] * 3 + [PRIMARY] * 2


def test_restart_resets_the_count(bench: Bench) -> None:
    bench.server(answer=truthful(THEN))
    bench.server(SECONDARY, truthful(THEN))
    daemon = bench.polling(PRIMARY, SECONDARY)
    assert daemon.shim is not None
    daemon.shim.wait_events("flush", 1)
    daemon.shim.skip()
    daemon.shim.wait_events("flush", 2)
    bench.vty(daemon).command("ntp enable")
    daemon.shim.wait_events("flush", 3)
    daemon.shim.skip(2)
    assert [server for _, server in attempts(daemon, 6)] == [PRIMARY] * 5 + [SECONDARY]


def test_unreachable_server(bench: Bench) -> None:
    daemon = bench.polling(UNREACHABLE, scale=FAST)
    assert attempts(daemon, 4) == [(time, UNREACHABLE) for time in (0, 120, 240, 360)]
    daemon.wait_stderr(b"send NTP packet: Network is unreachable\n" * 4)
    assert daemon.stdout() == b""


def test_unreachable_primary(bench: Bench) -> None:
    """A failed request counts for nothing: the first that is sent is the first."""
    daemon = bench.polling(UNREACHABLE, SECONDARY, scale=FAST)
    assert attempts(daemon, 6) == [
        (0, UNREACHABLE),
        (120, SECONDARY),
        (150, SECONDARY),
        (270, SECONDARY),
        (270, UNREACHABLE),
        (390, SECONDARY),
    ]


def test_failure_keeps_count_and_flag(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, UNREACHABLE, scale=FAST)
    assert attempts(daemon, 8) == [
        (0, PRIMARY),
        (30, PRIMARY),
        (150, PRIMARY),
        (150, UNREACHABLE),
        (270, PRIMARY),
        (300, PRIMARY),
        (420, PRIMARY),
        (420, UNREACHABLE),
    ]


def test_failure_between_two_requests(bench: Bench) -> None:
    """The second request after a failed one waits 120 s, as if nothing had been."""
    daemon = bench.polling(PRIMARY, SECONDARY, scale=0.02)
    assert daemon.shim is not None
    daemon.shim.requests(1)
    daemon.shim.fail("sendto", "ENETUNREACH", 1)
    assert attempts(daemon, 3) == [(0, PRIMARY), (30, PRIMARY), (150, SECONDARY)]
    daemon.shim.wait_events("select", when=lambda event: event.waited == 150 and event["timeout"] == 120)


def test_unknown_name(bench: Bench) -> None:
    daemon = bench.polling("gone.lab", scale=FAST)
    assert lookups(daemon, 3) == [(0, "gone.lab"), (120, "gone.lab"), (240, "gone.lab")]
    wait_for("three failures", lambda: daemon.stdout().count(b"\n") >= 3)
    assert daemon.stdout().startswith(b"ntp get host by name failed\n" * 3)
    daemon.wait_stderr(b"gone.lab: Unknown host\n" * 3)
    assert daemon.shim is not None
    assert daemon.shim.events("sendto") == []


def test_unknown_primary(bench: Bench) -> None:
    daemon = bench.polling("gone.lab", "ntp2.lab", scale=FAST)
    assert lookups(daemon, 3) == [(0, "gone.lab"), (120, "ntp2.lab"), (150, "ntp2.lab")]


def test_emptied_secondary_is_still_turned_to(bench: Bench) -> None:
    daemon = bench.daemon(scale=FAST)
    session = bench.vty(daemon)
    session.command(f"ntp server {PRIMARY} {SECONDARY}")
    session.command("no second ntp server2")
    session.command("ntp enable")
    assert lookups(daemon, 5) == [(0, PRIMARY), (30, PRIMARY), (150, PRIMARY), (150, ""), (270, PRIMARY)]
    daemon.wait_stdout(b"ntp get host by name failed\n")
    daemon.wait_stderr(b"Unknown host\n")


def test_new_name_is_used_from_the_next_request_on(bench: Bench) -> None:
    third = bench.server("10.77.0.3")
    daemon = bench.polling(PRIMARY, scale=CALM)
    assert daemon.shim is not None
    daemon.shim.requests(1)
    bench.vty(daemon).command("ntp server ntp3.lab")
    third.wait_requests(1)
    # The change itself sent nothing: the schedule went on.
    assert attempts(daemon, 2) == [(0, PRIMARY), (30, "10.77.0.3")]


def test_enable_without_a_server_leaves_the_client_running(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, scale=CALM)
    assert daemon.shim is not None
    daemon.shim.requests(1)
    session = bench.vty(daemon)
    assert session.command("ntp server 0.0.0.0") != b""
    assert session.command("show ntp").startswith(b"NTP server is 10.77.0.1, 0.0.0.0.")


def test_interrupted_wait(bench: Bench) -> None:
    """An interrupted wait of 0 s becomes one of 120 s."""
    daemon = bench.daemon(scale=FAST)
    assert daemon.shim is not None
    daemon.shim.fail("select", "EINTR", 1)
    session = bench.vty(daemon)
    session.command(f"ntp server {PRIMARY}")
    session.command("ntp enable")
    assert attempts(daemon, 3) == [(time, PRIMARY) for time in (120, 150, 270)]
    assert daemon.stderr() == b""


def test_interrupted_longer_wait(bench: Bench) -> None:
    """Any other wait goes on where it was."""
    daemon = bench.daemon(scale=FAST)
    assert daemon.shim is not None
    daemon.shim.fail("select", "EINTR", 1, after=1)
    session = bench.vty(daemon)
    session.command(f"ntp server {PRIMARY}")
    session.command("ntp enable")
    assert attempts(daemon, 3) == [(time, PRIMARY) for time in (0, 30, 150)]


def test_failing_wait(bench: Bench) -> None:
    """Any other error is told, and the pass goes on as after a time-out."""
    daemon = bench.daemon(scale=FAST)
    assert daemon.shim is not None
    daemon.shim.fail("select", "ENOMEM", 1)
    session = bench.vty(daemon)
    session.command(f"ntp server {PRIMARY}")
    session.command("ntp enable")
    assert attempts(daemon, 3) == [(time, PRIMARY) for time in (0, 30, 150)]
    assert daemon.stderr() == b"select: Cannot allocate memory\n"
