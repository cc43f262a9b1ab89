# SPDX-License-Identifier: GPL-2.0-or-later
"""Many operators, rude ones, and a clock that jumps under their hands."""
from __future__ import annotations

import random
import re

import pytest

from lab import BASE_CONFIG, Closed, Vty
from lab.bench import PRIMARY, START, Bench
from lab.servers.ntp_server import Request
from lab.servers.packet import Packet, answer_to, timestamp

OFF = b"NTP protcol is disable!\r\r\n"


def test_hundred_sessions_at_once(bench: Bench) -> None:
    daemon = bench.daemon()
    sessions = [bench.vty(daemon) for _ in range(100)]
    for number, session in enumerate(sessions):
        session.command(f"ntp server host{number}")
    for session in sessions:
        assert session.command("show ntp") == OFF
        assert b'"server":"host99"' in session.command("show ntp json")
    for session in sessions:
        session.close()
    assert bench.vty(daemon).command("show ntp") == OFF


def test_hundred_sessions_in_a_row(bench: Bench) -> None:
    daemon = bench.daemon()
    for _ in range(100):
        with daemon.vty() as session:
            assert session.command("show ntp") == OFF


def test_wrong_password(bench: Bench) -> None:
    daemon = bench.daemon()
    session = daemon.connect()
    for _ in range(3):
        session.send(b"wrong\n")
    assert b"% Bad passwords, too many failures!\r\n" in session.read_to_end()
    session.close()
    assert bench.vty(daemon).command("show ntp") == OFF


def test_no_password_wanted(bench: Bench) -> None:
    daemon = bench.daemon("line vty\n no login\n")
    session = daemon.connect()
    session.send(b"\n")
    assert b"lab> " in session.read_until(re.compile(rb"lab> "))
    session.close()


def test_leaving_in_the_middle(bench: Bench) -> None:
    daemon = bench.daemon()
    for text in (b"", b"lab\n", b"lab\nenable\nconf t\nntp\nshow ntp", b"lab\nenable\nconf t\nntp\nshow ntp js\t\t?"):
        session = daemon.connect()
        session.send(text)
        session.close()
    assert bench.vty(daemon).command("show ntp") == OFF


def test_keys_of_a_cat(bench: Bench) -> None:
    """Random bytes do not end the daemon, whatever commands may be in them."""
    seed = random.randrange(2**32)
    print(f"seed {seed}")
    keys = random.Random(seed)
    daemon = bench.daemon()
    for _ in range(30):
        session = bench.vty(daemon)
        try:
            session.send(keys.randbytes(400) + b"\n")
            session.send(b"\x03\x15" + keys.choice([b"show", b"ntp", b"no"]) + b" ?\t\n")
        except OSError:
            pass  # thrown out: its right
        session.close()
    assert daemon.running
    assert bench.vty(daemon).command("show timezone").startswith(b"Current system time zone : ")


def test_long_lines(bench: Bench) -> None:
    daemon = bench.daemon()
    session = bench.vty(daemon)
    for length in (500, 5000, 50000):
        session.send(b"ntp server " + b"x" * length + b"\n")
        assert bench.vty(daemon).command("show ntp") == OFF


def test_clock_jumps_under_an_open_session(bench: Bench) -> None:
    """Steps of years, forth and back: the session's own timing is not moved by them."""
    years = [10, -10, 15, 0, -20, 8]
    steps = iter(years)

    def jumpy(request: Request) -> list[Packet]:
        year = next(steps, 0)
        return [answer_to(request.data, timestamp(START + year * 365 * 86400))]

    bench.server(answer=jumpy)
    daemon = bench.daemon(BASE_CONFIG + f"line vty\n exec-timeout 5 0\n!\nntp terminal\n ntp server {PRIMARY}\n")
    assert daemon.shim is not None
    session = bench.vty(daemon)
    session.command("ntp enable")
    for count in range(1, len(years) + 1):
        daemon.shim.wait_events("diff_time", count)
        assert session.command("show ntp").startswith(b"NTP server is 10.77.0.1")
        daemon.shim.skip()
    diffs = [event["diff"] for event in daemon.shim.events("diff_time")]
    for before, after, diff in zip(years, years[1:], diffs[1:]):
        assert abs(diff - (after - before) * 365 * 86400) <= 5
    # New sessions, too.
    assert bench.vty(daemon).command("show ntp").startswith(b"NTP server is 10.77.0.1")


def test_idle_session_ends(bench: Bench) -> None:
    daemon = bench.daemon(BASE_CONFIG + "line vty\n exec-timeout 0 1\n")
    session = bench.vty(daemon)
    assert b"Vty connection is timed out.\r\n" in session.read_to_end()


@pytest.mark.parametrize("line", ["exit", "quit"])
def test_leaving(bench: Bench, line: str) -> None:
    session: Vty = bench.vty(bench.daemon(), "view")
    with pytest.raises(Closed):
        session.command(line)
