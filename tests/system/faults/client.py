# SPDX-License-Identifier: GPL-2.0-or-later
"""Scenarios: the client, its servers, its signals, its output."""
from __future__ import annotations

import os

from lab import Daemon, Shim, Vty, wait_for
from lab.bench import PRIMARY, START, Bench
from lab.database import rows
from lab.servers.ntp_server import truthful
from lab.servers.packet import timestamp
from .fault import FLOOD, ONCE, QUICK, STEP, WEEK, Fault, Texts, heard, said, steps, switched, wait_faults, wait_step


def exchange(bench: Bench, fault: Fault) -> list[str]:
    """NTP is on from the start, with a server that answers."""
    bench.server(answer=truthful(timestamp(START + STEP)))
    daemon = bench.polling(PRIMARY, scale=QUICK, clock_frozen=START, **fault.setting)
    shim = wait_faults(daemon, fault)
    session = bench.vty(daemon)
    if fault.often == ONCE:
        found = [recovery(daemon, session, shim, fault.expected)]
        return [*found, *heard(daemon, fault), switched(session)]
    if STEPPED in fault.expected:
        wait_step(shim)
        return [STEPPED, *heard(daemon, fault), switched(session)]
    found = [*heard(daemon, fault), switched(session)]
    assert steps(shim) == 0
    fault.end(shim)
    return ["clock not stepped", *found, "afterwards: " + recovery(daemon, session, shim, fault.expected)]


STEPPED = "clock stepped"
STEPPED_IF_ENABLED = "clock stepped after `ntp enable`"
STEPPED_BY_RESTART = "clock not stepped before a restart of the daemon"


def recovery(daemon: Daemon, session: Vty, shim: Shim, expected: Texts) -> str:
    """How the clock is stepped once the fault is gone.

    Waits for what is expected, as anything else would never come.
    """
    if any(text.endswith(STEPPED) for text in expected):
        wait_step(shim)
        return STEPPED
    wait_for("the client's end", lambda: daemon.thread("ntpClient") is None)
    assert session.command("ntp enable") == b""
    if any(text.endswith(STEPPED_IF_ENABLED) for text in expected):
        wait_step(shim)
        return STEPPED_IF_ENABLED
    assert switched(session) == "NTP on" and daemon.thread("ntpClient") is None and steps(shim) == 0
    return STEPPED_BY_RESTART


def fatal(bench: Bench, fault: Fault) -> list[str]:
    """NTP is on from the start, with a server that answers: how the kernel's clock runs is asked."""
    bench.server(answer=truthful(timestamp(START + STEP)))
    daemon = bench.polling(PRIMARY, clock_frozen=START, ready=False, **fault.setting)
    status = daemon.wait()
    shim = wait_faults(daemon, fault)
    stored = rows(bench.world, "SELECT diff FROM clock_step") == [(STEP,)]
    return [
        "clock stepped and stored" if stored and steps(shim) == 1 else "clock not stepped",
        *heard(daemon, fault),
        f"the daemon ends with status {status}",
    ]


# --- signals to the client


class Client:
    """Whether the client asks, since an order was given."""

    def __init__(self, shim: Shim, session: Vty) -> None:
        self._shim = shim
        self._session = session
        self._begin = 0

    def order(self, *commands: str) -> None:
        for command in commands:
            self._begin = len(self._shim.events("select", "sendto"))
            assert self._session.command(command) == b""

    def _since(self) -> list[str]:
        events = self._shim.events("select", "sendto")[self._begin :]
        return ["stop" if event.name == "select" and event["timeout"] == WEEK else event.name for event in events]

    def stops(self) -> bool:
        """Or else goes on asking."""
        wait_for("a stop or requests", lambda: "stop" in self._since() or self._since().count("sendto") > 3)
        return "stop" in self._since()

    def asks(self) -> bool:
        return "sendto" in self._since()

    def wait_request(self) -> None:
        wait_for("a request", self.asks)


def stopping(bench: Bench, fault: Fault) -> list[str]:
    """`ntp disable` while the client asks a server that is silent."""
    bench.server()
    at_start = fault.call == "socketpair"
    daemon = bench.polling(PRIMARY, scale=QUICK, **(fault.setting if at_start else {}))
    assert daemon.shim is not None
    shim = daemon.shim
    shim.requests(1)
    session = bench.vty(daemon)
    client = Client(shim, session)
    if not at_start:
        fault.begin(shim)
    client.order("ntp disable")
    wait_faults(daemon, fault)
    floods = fault.failures == FLOOD
    state = "client neither stops nor asks" if floods else "client stops" if client.stops() else "client goes on asking"
    found = [state, *heard(daemon, fault), switched(session)]
    if state == "client stops":
        return found
    fault.end(shim)
    if floods and client.stops():
        return [*found, "afterwards: client stops"]
    client.order("ntp enable", "ntp disable")
    if client.stops():
        return [*found, "afterwards: client stops after `ntp enable` and `ntp disable`"]
    return [*found, "afterwards: client stops with the daemon only"]


def restarting(bench: Bench, fault: Fault) -> list[str]:
    """`ntp enable` while the client is stopped."""
    bench.server()
    daemon = bench.polling(PRIMARY, scale=QUICK)
    assert daemon.shim is not None
    shim = daemon.shim
    session = bench.vty(daemon)
    client = Client(shim, session)
    client.order("ntp disable")
    assert client.stops()
    fault.begin(shim)
    client.order("ntp enable")
    wait_faults(daemon, fault)
    lost = fault.call == "pipe_send"
    if fault.often == ONCE and not lost:
        client.wait_request()
    found = [
        "client asks" if client.asks() else "client stays stopped",
        *heard(daemon, fault),
        switched(session),
    ]
    if client.asks():
        return found
    fault.end(shim)
    if lost:
        client.order("ntp enable")
    client.wait_request()
    return [*found, f"afterwards: client asks{' after `ntp enable`' if lost else ''}"]


# --- its output


def lost_output(bench: Bench, fault: Fault) -> list[str]:
    """Steps of the clock, while nobody takes what is written to standard output."""
    bench.server(answer=truthful(timestamp(START + STEP)))
    out = bench.world.path("/tmp/horad0.stdout")
    if fault.what == DISK_FULL:
        out.symlink_to("/dev/full")
        reader = -1
    else:
        os.mkfifo(out)
        reader = os.open(out, os.O_RDONLY | os.O_NONBLOCK)
    daemon = bench.polling(PRIMARY, scale=QUICK, clock_frozen=START)
    if reader >= 0:
        os.close(reader)
    assert daemon.shim is not None
    wait_step(daemon.shim)
    daemon.shim.skip()
    daemon.shim.wait_events("diff_time_done", 2)
    return ["clock stepped, twice", *said(b"", daemon.stderr()), switched(bench.vty(daemon))]


DISK_FULL = "standard output is a file on a full disk"
NO_READER = "standard output is a pipe without a reader"
