# SPDX-License-Identifier: GPL-2.0-or-later
"""The four signals, at every moment."""
from __future__ import annotations

import fcntl
import os
import signal
import subprocess
import time
from signal import Signals

import pytest

from lab import BASE_CONFIG, CONFIG, TIME_FACTOR, Daemon, Shim, wait_for
from lab.bench import CALM, PRIMARY, START, Bench, configured
from lab.daemon import SANITIZER_OPTIONS
from lab.database import HOLD
from lab.servers.ntp_server import truthful
from lab.servers.packet import timestamp

LOG = "/tmp/horad.log"
LOGGING = f"log file {LOG} debugging\n"
TERMINATING = b"Terminating on signal\n"
GAVE_UP = (b"horad: ended 3 seconds after the signal "
           b"without waiting for a command or for standard output\n")
ENDS = pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])


def log(bench: Bench) -> bytes:
    path = bench.world.path(LOG)
    return path.read_bytes() if path.exists() else b""


def messages(text: bytes) -> list[bytes]:
    """The texts of a log, without time, program and the library's mark."""
    return [line.split(b"] ", 1)[-1] for line in text.splitlines(keepends=True)]


def ends_well(bench: Bench, daemon: Daemon, number: Signals) -> None:
    assert daemon.stop(number) == 0
    assert messages(log(bench)).count(TERMINATING) == 1


@ENDS
def test_end_during_the_start(bench: Bench, number: Signals) -> None:
    """Nothing of the configuration is carried out any more."""
    database = "/var/lib/locked.db"
    holder = bench.world.spawn("daemon", ["/usr/bin/python3", "-c", HOLD, database], stdout=subprocess.PIPE)
    try:
        assert holder.stdout is not None
        assert holder.stdout.readline() == b"held\n"
        daemon = bench.daemon(
            configured(PRIMARY),
            arguments=["--log", f"file:{LOG}", "--log-level", "debug"],
            environment={"HORAD_CONFIG_DB": database},
            ready=False,
        )
        wait_for("the database", lambda: any(file.endswith(database) for file in daemon.open_files()))  # it waits a second for that
        ends_well(bench, daemon, number)
        assert daemon.shim is not None
        assert daemon.shim.events(thread="ntpClient") == []
    finally:
        bench.world.end(holder)
        if holder.stdout is not None:
            holder.stdout.close()


@ENDS
def test_end_while_idle(bench: Bench, number: Signals) -> None:
    ends_well(bench, bench.daemon(BASE_CONFIG + LOGGING), number)


@ENDS
def test_end_while_waiting(bench: Bench, number: Signals) -> None:
    daemon = bench.daemon(LOGGING + configured(PRIMARY), scale=CALM)
    assert daemon.shim is not None
    daemon.shim.requests(1)
    ends_well(bench, daemon, number)


@ENDS
def test_end_while_stopped(bench: Bench, number: Signals) -> None:
    daemon = bench.daemon(LOGGING + configured(PRIMARY))
    bench.vty(daemon).command("ntp disable")
    ends_well(bench, daemon, number)


def test_end_during_a_command(bench: Bench) -> None:
    bench.server(answer=truthful(timestamp(START)))
    daemon = bench.daemon(LOGGING + configured(PRIMARY), system_sleep=60)
    assert daemon.shim is not None
    daemon.shim.wait_events("system")
    ends_well(bench, daemon, signal.SIGTERM)
    assert daemon.shim.events("diff_time") == []


def test_interrupt_during_a_command_is_lost(bench: Bench) -> None:
    """As it is for every program while it waits for a shell."""
    bench.server(answer=truthful(timestamp(START)))
    daemon = bench.daemon(LOGGING + configured(PRIMARY), system_sleep=1)
    assert daemon.shim is not None
    daemon.shim.wait_events("system")
    daemon.send_signal(signal.SIGINT)
    daemon.shim.wait_events("flush")
    assert messages(log(bench)).count(TERMINATING) == 0
    ends_well(bench, daemon, signal.SIGINT)


@ENDS
def test_end_during_a_lookup(bench: Bench, number: Signals) -> None:
    daemon = bench.daemon(LOGGING + configured("ntp1.lab"), lookup_sleep=60)
    assert daemon.shim is not None
    daemon.shim.wait_events("lookup")
    ends_well(bench, daemon, number)


@pytest.mark.prompt_signals
@ENDS
def test_end_during_a_command_that_waits_for_a_lookup(bench: Bench, number: Signals) -> None:
    """It waits with it for some seconds, not for however long a name server takes."""
    daemon = bench.daemon(LOGGING + configured("ntp1.lab"), lookup_sleep=60)
    assert daemon.shim is not None
    daemon.shim.wait_events("lookup")
    bench.vty(daemon, "enable").send(b"configure terminal\nntp\nshow ntp\n")
    time.sleep(0.2)  # it waits

    def is_told_again() -> bool:
        time.sleep(0.2)
        daemon.send_signal(number)
        return not daemon.running

    wait_for("the end", is_told_again)
    assert daemon.wait() == 0
    assert daemon.stderr().endswith(GAVE_UP)
    assert messages(log(bench)).count(TERMINATING) == 0


@pytest.mark.prompt_signals
@ENDS
@pytest.mark.parametrize(
    ("answer", "line", "told"),
    [
        pytest.param([b"short"], "", 1, id="the client's"),
        pytest.param([], " timezone continent Europe location Nowhere\n", 0, id="a command's"),
    ],
)
def test_end_with_output_that_nobody_takes(
    bench: Bench, number: Signals, answer: list[bytes], line: str, told: int
) -> None:
    """What was printed is lost, and the daemon ends all the same."""
    server = bench.server(answer=lambda _: answer)
    bench.world.path(CONFIG).write_text(LOGGING + configured(PRIMARY) + line)
    shim = Shim(bench.world)
    reader, writer = os.pipe()
    os.write(writer, bytes(fcntl.fcntl(writer, fcntl.F_GETPIPE_SZ)))
    process = bench.world.spawn(
        "daemon",
        bench.build.command(),
        environment={**SANITIZER_OPTIONS, **shim.environment, **bench.build.preload(bench.build.shim)},
        stdout=writer,
        # Where the reason would go, and where a command that fails tells its own.
        stderr=writer if answer else subprocess.DEVNULL,
    )
    try:
        server.wait_requests(1)
        if answer:
            shim.wait_events("recvfrom")
        time.sleep(0.2)  # it prints a line
        process.send_signal(number)
        assert process.wait(10 * TIME_FACTOR) == 0
        assert messages(log(bench)).count(TERMINATING) == told
    finally:
        bench.world.end(process)
        os.close(reader)
        os.close(writer)


def test_end_with_sessions_open(bench: Bench) -> None:
    daemon = bench.daemon(BASE_CONFIG + LOGGING)
    session = bench.vty(daemon)
    ends_well(bench, daemon, signal.SIGTERM)
    assert session.read_to_end() == b""


def test_two_ends_at_once(bench: Bench) -> None:
    daemon = bench.daemon(BASE_CONFIG + LOGGING)
    daemon.send_signal(signal.SIGINT)
    ends_well(bench, daemon, signal.SIGTERM)


def test_hangup_is_only_logged(bench: Bench) -> None:
    daemon = bench.daemon(LOGGING + configured(PRIMARY))
    session = bench.vty(daemon)
    before = session.command("show ntp json")
    bench.world.path(CONFIG).write_text(LOGGING + configured("10.77.0.9"))
    for count in (1, 2):
        daemon.send_signal(signal.SIGHUP)
        wait_for("the message", lambda: messages(log(bench)).count(b"SIGHUP received\n") == count)
    assert session.command("show ntp json") == before
    assert daemon.shim is not None
    assert {event["address"] for event in daemon.shim.events("sendto")} <= {PRIMARY}


def test_rotation(bench: Bench) -> None:
    daemon = bench.daemon(BASE_CONFIG + LOGGING)
    daemon.send_signal(signal.SIGHUP)
    wait_for("the first message", lambda: b"SIGHUP received\n" in log(bench))
    old = bench.world.path("/tmp/horad.log.old")
    bench.world.path(LOG).rename(old)
    before = old.read_bytes()

    daemon.send_signal(signal.SIGUSR1)
    wait_for("the new log", bench.world.path(LOG).exists)
    daemon.send_signal(signal.SIGHUP)
    wait_for("the second message", lambda: b"SIGHUP received\n" in log(bench))
    # Nothing about the rotation itself, and nothing more in the old file.
    assert messages(log(bench)) == [b"SIGHUP received\n"]
    assert old.read_bytes() == before


def test_rotation_without_a_log(bench: Bench) -> None:
    daemon = bench.daemon()
    daemon.send_signal(signal.SIGUSR1)
    assert bench.vty(daemon).command("show ntp") == b"NTP protcol is disable!\r\r\n"
    assert daemon.stderr() == b""


def test_signals_do_not_disturb_the_client(bench: Bench) -> None:
    daemon = bench.daemon(LOGGING + configured(PRIMARY), scale=0.01)
    assert daemon.shim is not None
    daemon.shim.requests(1)
    for count in range(1, 6):
        daemon.send_signal(signal.SIGHUP)
        wait_for("the message", lambda: messages(log(bench)).count(b"SIGHUP received\n") == count)
    assert daemon.shim.requests(2)[1].waited == 30
