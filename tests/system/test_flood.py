# SPDX-License-Identifier: GPL-2.0-or-later
"""Datagrams by the thousand at the client's port.

What one datagram can print is exact, so it is asserted; how fast the daemon reads
is the machine's business, so it is only shown.  Where the processor's work is
looked at, the daemon is not preloaded: its clock cannot be set then, and a reply
that was taken for good ends with a message about that.
"""
from __future__ import annotations

import random
import time

import pytest

from lab import Daemon, wait_for
from lab.bench import CALM, PRIMARY, START, STRANGER, Bench
from lab.database import DATABASE, rows
from lab.gauges import (
    FLAT, Flood, client, descriptors, measured, memory, processor_seconds, received,
    resting_descriptors, rounds, state, unread_bytes,
)
from lab.servers.ntp_server import NtpServer, truthful
from lab.servers.packet import Packet, timestamp

THEN = timestamp(START + 1000)
NOT_PERMITTED = b"\nsettimeofday: Operation not permitted\n"


def loop(text: str) -> bytes:
    return b"\r\n primary_loop: " + text.encode() + b"\n\r"


PASS = loop("enter for (;;).642")
DROPPED = loop("check_source() error, continue.820")
LEFT = loop("ntp_is_stop, continue.799")

# Datagrams and all that one of them makes the client print in a pass.
SHORT = b"x" * 47
SOUND = Packet(transmit=THEN).pack()
KINDS = {
    "empty": (b"", b"Ooops.  pack_len=0\n", b""),
    "short": (SHORT, b"Ooops.  pack_len=47\n", b""),
    "long": (b"x" * 1400, b"Ooops.  pack_len=1300\n", b""),
    "strange": (SOUND, b"", DROPPED),
}


def waiting(bench: Bench, debug: bool = False, **settings: object) -> tuple[Daemon, NtpServer]:
    """A daemon that waits for an answer and has printed nothing yet."""
    server = bench.server()
    daemon = bench.polling(PRIMARY, **settings)
    server.wait_requests(1)
    wait_for("the wait", lambda: state(client(daemon)) == "S")
    if debug:
        bench.vty(daemon, "config").command("debug ntp on")
    return daemon, server


def shows(daemon: Daemon, expected: bytes) -> None:
    """This is all that it has printed."""
    # Buffered by lines: what is after the last line feed comes with the next line.
    whole = expected.removesuffix(b"\r")
    wait_for("the lines of a flood", lambda: len(daemon.stdout()) >= len(whole))
    same = daemon.stdout().removesuffix(b"\r") == whole
    assert same  # too long a text to be compared by pytest


def still_steps(bench: Bench, daemon: Daemon, server: NtpServer) -> None:
    """A good server is asked and believed (as far as an unprivileged clock goes), and the vty answers."""
    told = daemon.stderr().count(NOT_PERMITTED)
    asked = len(server.requests)
    server.answer = truthful(THEN)
    session = bench.vty(daemon)
    session.command("ntp enable")
    server.wait_requests(asked + 1)
    wait_for("the clock's turn", lambda: daemon.stderr().count(NOT_PERMITTED) > told)
    assert session.command("show ntp").startswith(b"NTP server is 10.77.0.1")


def test_garbage_of_all_lengths(bench: Bench) -> None:
    """Each length up to more than the buffer holds: exactly one line for a wrong one, in order."""
    seed = random.randrange(2**32)
    print(f"seed {seed}")
    bytes_ = random.Random(seed)
    daemon, server = waiting(bench, shim=False)
    lengths = [*range(0, 1420)]
    bytes_.shuffle(lengths)
    with Flood(bench.world, STRANGER) as flood:
        flood.pour(daemon, [bytes_.randbytes(length) for length in lengths])
    shown = [min(length, 1300) for length in lengths if not 48 <= length <= 1299]
    expected = b"".join(b"Ooops.  pack_len=%d\n" % length for length in shown)
    shows(daemon, expected)
    assert daemon.stderr() == b""
    still_steps(bench, daemon, server)


@pytest.mark.plain_build
@pytest.mark.parametrize("debug", [False, True], ids=["quiet", "debug"])
@pytest.mark.parametrize("kind", KINDS)
def test_overrun(bench: Bench, kind: str, debug: bool) -> None:
    """More than the daemon can read: the kernel drops the rest, nothing grows, all that is read is accounted for."""
    datagram, quiet, traced = KINDS[kind]
    daemon, server = waiting(bench, debug, shim=False)
    line = quiet + traced + PASS if debug else quiet
    with Flood(bench.world, STRANGER) as flood:
        first = flood.overrun(daemon, [datagram] * 5000)  # the first has the memory for all
        shows(daemon, line * first.read)
        resident, opened = memory(daemon), resting_descriptors(daemon)
        start, used = time.monotonic(), processor_seconds(client(daemon))
        read = dropped = 0
        for _ in rounds(2):
            passed = flood.overrun(daemon, [datagram] * 40000)
            read, dropped = read + passed.read, dropped + passed.dropped
        took, used = time.monotonic() - start, processor_seconds(client(daemon)) - used
    assert memory(daemon) - resident <= FLAT
    assert resting_descriptors(daemon) == opened
    measured(
        f"{kind}, {'debug' if debug else 'quiet'}",
        read_per_s=read / took, dropped_per_s=dropped / took, us_each=used / read * 1e6,
        bytes_each=len(line), output_MB_per_s=read * len(line) / took / 1e6, read=read,
    )
    shows(daemon, line * (first.read + read))
    still_steps(bench, daemon, server)


@pytest.mark.parametrize("debug", [False, True], ids=["quiet", "debug"])
def test_name_gone(bench: Bench, debug: bool) -> None:
    """The server's name no longer resolves: a line on each output for each datagram of a right length."""
    count = 500
    daemon, _ = waiting(bench, debug)
    bench.vty(daemon).command("ntp server gone.lab")
    with Flood(bench.world, STRANGER) as flood:
        flood.pour(daemon, [SOUND] * count)
    line = b"ntp get host by name failed\n" + (DROPPED + PASS if debug else b"")
    shows(daemon, line * count)
    told = b"gone.lab: Unknown host\n" * count
    assert daemon.wait_stderr(told) == told


def widest(when: int) -> Packet:
    """A reply that makes the longest statistics line there is, when the last one came 7 s before."""
    back = timestamp(when - 7 - 2**31 + 1)
    return Packet(root_dispersion=-(2**31), originate=back, receive=timestamp(when + 2**31), transmit=timestamp(when))


def test_forged_answers_in_the_week(bench: Bench) -> None:
    """Each is a step of the clock, with one record, one command and one line: no more, no less."""
    count = 150
    times = [START + 1000 + 7 * n for n in range(count + 1)]
    server = bench.server(answer=truthful(timestamp(times[0])))
    daemon = bench.polling(PRIMARY, clock_frozen=START, adjtimex_freq=-(2**31))
    shim = daemon.shim
    assert shim is not None
    shim.wait_events("select", when=lambda event: event["timeout"] == 604800)
    size = database_size(bench)
    start = time.monotonic()
    for sent in range(1, count + 1, 30):
        for when in times[sent : sent + 30]:
            server.send(widest(when))
        shim.wait_events("flush", min(sent + 30, count + 1), 30)
    took = time.monotonic() - start
    wait_for("the wait", lambda: shim.events()[-1].name == "select")
    assert shim.events()[-1]["timeout"] == 604800
    assert [event["sec"] for event in shim.events("settimeofday")] == times
    assert [event["command"] for event in shim.events("system")] == ["hwclock -w"] * (count + 1)
    diffs = [1000] + [7] * count
    assert rows(bench.world, "SELECT diff FROM clock_step ORDER BY seq") == [(diff,) for diff in diffs]
    assert rows(bench.world, "SELECT count(*) FROM change_log") == [(count + 1,)]
    lines = daemon.stdout().splitlines(keepends=True)
    assert len(lines) == count + 1
    assert max(map(len, lines)) <= 110
    assert len(server.requests) == 1
    measured("forged answers", per_s=count / took, database_bytes_each=(database_size(bench) - size) / count,
             output_bytes_each=len(lines[1]))


def database_size(bench: Bench) -> int:
    return bench.world.path(DATABASE).stat().st_size


def test_strangers_do_not_move_the_schedule(bench: Bench) -> None:
    """A wait goes on from where it was, however many datagrams of strangers interrupt it."""
    server = bench.server()
    daemon = bench.polling(PRIMARY, scale=CALM)
    server.wait_requests(1)
    with Flood(bench.world, STRANGER) as flood:
        flood.pour(daemon, [SOUND] * 400)
    assert daemon.shim is not None
    first, second = daemon.shim.requests(2)[:2]
    # Each interruption may cost what a clock tells of a time-out: never more than 1 ms of 30 s.
    assert 30 <= second.waited - first.waited + 0.001 and second.waited - first.waited <= 30.001
    assert len(daemon.shim.events("recvfrom")) == 400


def test_wrong_length_puts_the_request_off(bench: Bench) -> None:
    """From anybody and in any wait: the next request is 300 s away again."""
    server = bench.server()
    daemon = bench.polling(PRIMARY, scale=0.02)  # 300 s take 6 s, and 30 s 0.6 s
    shim = daemon.shim
    assert shim is not None
    with Flood(bench.world, STRANGER) as flood:
        server.wait_requests(1)
        for _ in range(8):
            flood.pour(daemon, [SHORT])
            time.sleep(0.4)
    last = shim.events("flush")[-1].waited
    assert len(server.requests) == 1  # two were due in these 160 s
    shim.skip()
    assert shim.requests(2)[1].waited - last >= 299


def test_good_server_after_a_flood(bench: Bench) -> None:
    """In the wait for an answer and in the week: the clock is stepped, and recorded, once each."""
    server = bench.server()
    daemon = bench.polling(PRIMARY, clock_frozen=START)
    shim = daemon.shim
    assert shim is not None
    server.wait_requests(1)
    diffs = []
    session = bench.vty(daemon)
    with Flood(bench.world, STRANGER) as flood:
        for number in rounds(2):
            mixed = [SHORT, SOUND, b"", SOUND * 20, b"\xff" * 48] * 100
            flood.pour(daemon, mixed)
            diffs.append(number + 5)
            server.answer = truthful(timestamp(START + sum(diffs)))
            session.command("ntp enable")
            shim.wait_events("flush", (number + 1) * 200 + number + 1)
            shim.wait_events("select", number + 1, when=lambda event: event["timeout"] == 604800)
    assert rows(bench.world, "SELECT diff FROM clock_step ORDER BY seq") == [(diff,) for diff in diffs]
    assert session.command("show ntp").startswith(b"NTP server is")


def stop(bench: Bench, daemon: Daemon) -> None:
    bench.vty(daemon).command("ntp disable")
    with Flood(bench.world, STRANGER) as flood:
        flood.send([SHORT])
    wait_for("a datagram left unread", lambda: unread_bytes(daemon) > 0)


def restart(bench: Bench, daemon: Daemon) -> None:
    """Started again it reads first what waits; a wrong length there puts the request off, too."""
    bench.vty(daemon).command("ntp enable")
    wait_for("an empty socket", lambda: unread_bytes(daemon) == 0)


@pytest.mark.plain_build
def test_stopped(bench: Bench) -> None:
    """What comes stays in the socket, of which the kernel bounds the size; waiting for more costs the
    client's thread a processor, and nobody else anything."""
    daemon, server = waiting(bench, shim=False)
    stop(bench, daemon)
    resident, opened, at = memory(daemon), resting_descriptors(daemon), received(daemon)
    used = slept = 0.0
    session = bench.vty(daemon)
    for _ in rounds(1):
        with Flood(bench.world, STRANGER) as flood:
            flood.send([SHORT] * 40000)
        assert received(daemon).read == at.read
        assert 0 < unread_bytes(daemon) <= 1 << 20
        assert session.command("show ntp") == b"NTP protcol is disable!\r\r\n"
        start, before = time.monotonic(), processor_seconds(client(daemon))
        time.sleep(0.5)
        slept, used = slept + time.monotonic() - start, used + processor_seconds(client(daemon)) - before
    measured("stopped, quiet", processor_percent=used / slept * 100)
    assert daemon.stdout() == b""
    assert memory(daemon) - resident <= FLAT
    session.close()
    wait_for("the same number of descriptors", lambda: descriptors(daemon) == opened)
    restart(bench, daemon)
    shows(daemon, KINDS["short"][1] * (received(daemon) - at).read)
    still_steps(bench, daemon, server)


@pytest.mark.plain_build
def test_stopped_with_debug(bench: Bench) -> None:
    """One datagram is enough for two lines a pass without end, but for these two only."""
    daemon, server = waiting(bench, True, shim=False)
    stop(bench, daemon)
    shown = daemon.wait_stdout((LEFT + PASS) * 1000)
    size, start = len(shown), time.monotonic()
    time.sleep(0.5)
    size, took = len(daemon.stdout()) - size, time.monotonic() - start
    measured("stopped, debug", output_MB_per_s=size / took / 1e6)
    bench.vty(daemon, "config").command("debug ntp off")
    begun = b"".join(loop(text) for text in ("ISSET ntp_signal_pipe[0].749", "NTP_SIG_STOP.776",
                                             "continue(FD_ISSET(ntp_signal_pipe)).789"))
    shown = daemon.stdout()
    same = shown == (begun + PASS + (LEFT + PASS) * (len(shown) // len(LEFT + PASS)))[: len(shown)]
    assert same
    restart(bench, daemon)
    still_steps(bench, daemon, server)
