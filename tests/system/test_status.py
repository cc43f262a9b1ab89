# SPDX-License-Identifier: GPL-2.0-or-later
"""What the module horad_status shows: the truth about the client, state by state."""
from __future__ import annotations

import json
import re
from datetime import datetime, timezone
from typing import Any

import pytest

from lab import Daemon, World, wait_for
from lab.shim import failing
from lab import BASE_CONFIG
from lab.bench import FAST, PRIMARY, SECONDARY, START, STRANGER, UNREACHABLE, Bench, configured
from lab.servers.ntp_server import NtpServer, once, send_from, truthful
from lab.servers.packet import Packet, timestamp

THEN = START + 1000

Status = dict[str, Any]


class Operator:
    """Looks at the status of a daemon with the module."""

    def __init__(self, bench: Bench, config: str, **settings: Any) -> None:
        self.module = str(bench.build.folder / "lib" / "horad_status.so")
        self.daemon: Daemon = bench.daemon(config, arguments=["-M", self.module], **settings)
        self.session = bench.vty(self.daemon)

    def status(self) -> Status:
        status = json.loads(self.session.command("show ntp status json"))
        assert isinstance(status, dict)
        return status

    def table(self) -> dict[str, str]:
        lines = self.session.command("show ntp status").decode().splitlines()
        return {name.strip(): value for name, value in (line.split(": ", 1) for line in lines if line)}

    def wait(self, state: str) -> Status:
        """The status once it is in a state."""
        found: list[Status] = []

        def is_there() -> bool:
            found[:] = [self.status()]
            return bool(found[0]["state"] == state)

        wait_for(f"the state {state}", is_there)
        return found[0]


def seconds_of(iso: str) -> float:
    assert iso.endswith("Z")
    return datetime.fromisoformat(iso[:-1]).replace(tzinfo=timezone.utc).timestamp()


def counters(status: Status, **expected: int) -> None:
    assert {name: count for name, count in status["counters"].items() if count} == expected


def test_off(bench: Bench) -> None:
    operator = Operator(bench, configured(PRIMARY, enabled=False))
    assert operator.status() == {
        "state": "off",
        "reason": "",
        "server": 1,
        "serverName": None,
        "serverAddress": None,
        "lastRequest": None,
        "nextRequestSeconds": None,
        "lastAnswer": None,
        "lastFailure": None,
        "counters": {
            "requests": 0,
            "answersUsed": 0,
            "foreignAddress": 0,
            "wrongLength": 0,
            "noTransmitTime": 0,
            "negativeDelay": 0,
            "lookUpsFailed": 0,
            "sendsFailed": 0,
            "stepsRefused": 0,
        },
    }
    table = operator.table()
    assert table["State"] == "off"
    assert table["Server"] == "none asked yet, the primary"
    assert table["Next request"] == table["Last request"] == table["Last answer"] == table["Last failure"] == "none"


def test_well(bench: Bench) -> None:
    bench.server(PRIMARY, once(truthful(timestamp(THEN))))
    operator = Operator(bench, configured(PRIMARY, SECONDARY), clock_frozen=START)
    status = operator.wait("resting")
    assert (status["server"], status["serverName"], status["serverAddress"]) == (1, PRIMARY, PRIMARY)
    assert seconds_of(status["lastRequest"]) == START
    assert 604790 < status["nextRequestSeconds"] <= 604800
    answer = status["lastAnswer"]
    assert answer["address"] == PRIMARY
    assert answer["steppedSeconds"] == 1000
    assert seconds_of(answer["time"]) == pytest.approx(THEN, abs=1e-3)
    assert answer["offsetMicroseconds"] == pytest.approx(1000e6, abs=1000)
    assert answer["roundTripMicroseconds"] == pytest.approx(0, abs=1000)
    assert status["lastFailure"] is None
    counters(status, requests=1, answersUsed=1)

    table = operator.table()
    assert table["State"] == "resting after a good answer"
    assert table["Server"] == f"{PRIMARY} ({PRIMARY}), the primary"
    assert table["Next request"] == "in 6 d 23 h"
    assert table["Last answer"].endswith(f"from {PRIMARY}")
    assert table["Offset"] == "+1000.000000 s (the server's time less ours)"
    assert table["Stepped by"] == "+1000 s"
    assert table["Answers used"] == "1"


def test_first_server_silent(bench: Bench) -> None:
    bench.server(PRIMARY)
    bench.server(SECONDARY, truthful(timestamp(THEN)))
    operator = Operator(bench, configured(PRIMARY, SECONDARY), scale=0.02, clock_frozen=START)
    status = operator.wait("resting")
    assert (status["server"], status["serverAddress"]) == (2, SECONDARY)
    assert status["lastAnswer"]["address"] == SECONDARY
    assert status["lastFailure"]["text"] == f"no answer from {PRIMARY} ({PRIMARY})"
    counters(status, requests=4, answersUsed=1)


def test_both_silent(bench: Bench) -> None:
    servers = bench.server(PRIMARY), bench.server(SECONDARY)
    operator = Operator(bench, configured(PRIMARY, SECONDARY), scale=FAST)
    for server in servers:
        server.wait_requests(3)
    status = operator.wait("waiting")
    assert status["lastAnswer"] is None
    assert status["lastFailure"]["text"].startswith("no answer from ")
    assert status["counters"]["answersUsed"] == 0


def test_waiting_for_an_answer(bench: Bench) -> None:
    bench.server(PRIMARY)
    operator = Operator(bench, configured(PRIMARY), scale=1, clock_frozen=START)
    status = operator.wait("waiting")
    assert 0 < status["nextRequestSeconds"] <= 30
    assert status["lastFailure"] is None
    counters(status, requests=1)
    assert operator.table()["State"] == "waiting for an answer"


def test_unknown_name(bench: Bench) -> None:
    operator = Operator(bench, configured("no-such-host.invalid"), scale=1)
    status = operator.wait("retrying")
    assert (status["serverName"], status["serverAddress"]) == ("no-such-host.invalid", None)
    assert status["lastFailure"]["text"].startswith("no-such-host.invalid: ")
    assert 0 < status["nextRequestSeconds"] <= 120
    counters(status, lookUpsFailed=1)


def test_unreachable(bench: Bench) -> None:
    status = Operator(bench, configured(UNREACHABLE), scale=1).wait("retrying")
    assert status["lastFailure"]["text"] == f"sendto {UNREACHABLE} ({UNREACHABLE}): Network is unreachable"
    counters(status, sendsFailed=1)


def test_port_taken(bench: Bench) -> None:
    operator = Operator(bench, configured(PRIMARY), **failing("bind", "EADDRINUSE"))
    status = operator.wait("dead")
    assert status["reason"] == "bind: Address already in use"
    assert status["nextRequestSeconds"] is None
    assert operator.table()["State"] == "dead: bind: Address already in use"
    operator.session.command("ntp disable")
    assert operator.status()["state"] == "dead"


def test_kernel_refuses(bench: Bench) -> None:
    bench.server(PRIMARY, once(truthful(timestamp(THEN))))
    status = Operator(bench, configured(PRIMARY), scale=1, **failing("settimeofday", "EPERM")).wait("retrying")
    assert status["lastFailure"]["text"] == "settimeofday: Operation not permitted"
    assert status["lastAnswer"] is None
    counters(status, requests=1, stepsRefused=1)


def test_datagrams_of_strangers(bench: Bench, world: World) -> None:
    server: NtpServer = bench.server(PRIMARY)
    operator = Operator(bench, configured(PRIMARY), scale=1)
    server.wait_requests(1)
    send_from(world, STRANGER, 123, Packet(transmit=timestamp(THEN)))
    send_from(world, STRANGER, 123, b"x" * 47)
    server.send(Packet(transmit=(0, 0)))
    status = operator.wait("retrying")
    counters(status, requests=1, foreignAddress=1, wrongLength=1, noTransmitTime=1)
    assert status["lastFailure"]["text"] == f"reply without a time from {PRIMARY} ({PRIMARY})"


def test_a_look_up_that_hangs(bench: Bench) -> None:
    """Seen although the lock is held: "show ntp" would wait."""
    operator = Operator(bench, configured("ntp1.lab"), lookup_sleep=3)
    status = operator.wait("lookingUp")
    assert (status["serverName"], status["serverAddress"]) == ("ntp1.lab", None)


def test_stopped(bench: Bench) -> None:
    bench.server(PRIMARY, once(truthful(timestamp(THEN))))
    operator = Operator(bench, configured(PRIMARY))
    operator.wait("resting")
    operator.session.command("ntp disable")
    status = operator.wait("off")
    assert status["nextRequestSeconds"] is None
    assert status["lastAnswer"] is not None


# --- beside the daemon


def command_lists(bench: Bench, arguments: list[str]) -> dict[str, bytes]:
    """What can be typed: in the daemon's node "list" is not among it, so the help tells."""
    daemon = bench.daemon(arguments=arguments)
    lists = {node: bench.vty(daemon, node).command("list") for node in ("view", "enable", "config")}
    session = bench.vty(daemon)
    lists |= {start: session.help(start) for start in ("", "show ", "show ntp ")}
    assert daemon.stop() == 0
    # The help's columns are as wide as its words.
    return {place: re.sub(rb" +", b" ", commands) for place, commands in lists.items()}


def test_commands_with_and_without(bench: Bench) -> None:
    """The module adds its command; all others are as they were, and in the same order."""
    bare = command_lists(bench, [])
    module = command_lists(bench, ["-M", str(bench.build.folder / "lib" / "horad_status.so")])
    own = {
        "view": b" show ntp status [json]\r\n",
        "enable": b" show ntp status [json]\r\n",
        "show ntp ": b" status What the NTP client is doing\r\n",
    }
    for place, commands in bare.items():
        added = own.get(place, b"")
        assert added == b"" or added not in commands
        assert added in module[place]
        assert module[place].replace(added, b"") == commands


@pytest.mark.uncounted_build
@pytest.mark.plain_build
def test_memory(bench: Bench) -> None:
    """Its own, of the smallest of three starts each, in KiB, and at most all of the file.  How much
    of the files' is resident depends on what else the machine does."""

    def own_memory(arguments: list[str]) -> int:
        sizes = []
        for _ in range(3):
            daemon = bench.daemon(arguments=arguments, shim=False)
            sizes.append(daemon.status_field("RssAnon"))
            assert daemon.stop() == 0
        return min(sizes)

    module = bench.build.folder / "lib" / "horad_status.so"
    loaded = module.stat().st_size / 1024
    assert own_memory(["-M", str(module)]) - own_memory([]) + loaded <= 0.3 * 1024


# --- the log

LOG = "/tmp/horad.log"
OF_THE_CLIENT = re.compile("clock stepped|time is to be had|turning to|datagram|switched|more ")


class Log:
    """The daemon's log file, with priorities."""

    def __init__(self, bench: Bench) -> None:
        self._path = bench.world.path(LOG)

    def lines(self) -> list[str]:
        if not self._path.exists():
            return []
        lines = [line.split(" ", 2)[2] for line in self._path.read_text().splitlines()]
        return [line.replace("HORAD: ", "", 1) for line in lines if OF_THE_CLIENT.search(line)]

    def wait(self, text: str) -> str:
        wait_for(f"{text!r} in the log", lambda: any(text in line for line in self.lines()))
        return next(line for line in self.lines() if text in line)


def logging(config: str) -> str:
    return config.replace(BASE_CONFIG, BASE_CONFIG + f"log file {LOG}\nlog record-priority\n")


def test_log_of_a_failure_and_its_end(bench: Bench) -> None:
    server = bench.server(PRIMARY)
    log = Log(bench)
    Operator(bench, logging(configured(PRIMARY)), scale=FAST, clock_frozen=START)
    assert log.wait("no answer").startswith("warnings: no time is to be had: no answer from 10.77.0.1")
    server.answer = once(truthful(timestamp(THEN)))
    assert log.wait("stepped").startswith("notifications: clock stepped by +1000 s to the time of 10.77.0.1: ")
    assert log.wait("again").startswith("warnings: time is to be had again, after ")
    assert len(log.lines()) == 3


def test_log_of_a_dead_client(bench: Bench) -> None:
    log = Log(bench)
    Operator(bench, logging(configured(PRIMARY)), **failing("bind", "EADDRINUSE"))
    assert log.wait("restarted") == (
        "errors: no time is to be had until horad is restarted: bind: Address already in use"
    )


def test_log_of_a_client_that_could_not_be_started(bench: Bench) -> None:
    """At once, and not again with the next try, which succeeds."""
    bench.server(PRIMARY, answer=truthful(timestamp(THEN)))
    log = Log(bench)
    operator = Operator(bench, logging(configured(PRIMARY, enabled=False)), clock_frozen=START)
    shim = operator.daemon.shim
    assert shim is not None
    shim.fail("pthread_create", "EAGAIN")
    operator.session.command("ntp enable")
    log.wait("NTP was not switched on")
    shim.set(pthread_create_errno=0)
    operator.session.command("ntp enable")
    log.wait("stepped")
    assert log.lines()[:-1] == ["warnings: NTP was not switched on: pthread_create: Resource temporarily unavailable"]


def test_log_of_a_flood(bench: Bench, world: World) -> None:
    """One line, however many strangers there are."""
    server = bench.server(PRIMARY)
    log = Log(bench)
    operator = Operator(bench, logging(configured(PRIMARY)), scale=1)
    server.wait_requests(1)
    for _ in range(100):  # as many as a socket holds while one of them is looked at
        send_from(world, STRANGER, 123, Packet(transmit=timestamp(THEN)))
    wait_for("all of them", lambda: operator.status()["counters"]["foreignAddress"] == 100)
    assert log.lines() == ["notifications: datagram dropped: it is from another address than 10.77.0.1"]


def test_log_of_what_was_left_out(bench: Bench, world: World) -> None:
    """A minute later, on the clock of the library's timers: here a hundred times as fast."""
    server = bench.server(PRIMARY)
    log = Log(bench)
    operator = Operator(bench, logging(configured(PRIMARY)), scale=1, monotonic_rate=100)
    server.wait_requests(1)
    for _ in range(3):
        send_from(world, STRANGER, 123, Packet(transmit=timestamp(THEN)))
    log.wait("datagram dropped")

    def is_told() -> bool:
        operator.status()  # which ends the loop's wait, so that it looks at its timers
        return any("more" in line for line in log.lines())

    wait_for("the number left out", is_told)
    assert log.lines()[1:] == ["notifications: 2 more datagrams from other addresses"]
