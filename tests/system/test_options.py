# SPDX-License-Identifier: GPL-2.0-or-later
"""Options of the library that do something else than one would think; docs/guide.md tells of each."""
from __future__ import annotations

import signal
import socket
from pathlib import Path

import pytest

from lab import VTY_PORT, Closed, Daemon, wait_for
from lab.bench import Bench

LOG = ["--log", "file:/tmp/log"]


def started(bench: Bench, *options: str) -> Daemon:
    """Where nobody need be listening."""
    daemon = bench.daemon(arguments=[*LOG, *options], ready=False)
    # The last thing that it makes before it waits for somebody.
    wait_for("the local session socket", bench.world.path("/run/frr/horad.vty").exists)
    return daemon


def listening(daemon: Daemon) -> list[str]:
    """Addresses and ports on which the daemon listens, as the kernel writes them: hexadecimal."""
    own = daemon.open_files()
    lines = [line.split() for line in Path(f"/proc/{daemon.pid}/net/tcp").read_text().splitlines()[1:]]
    return [line[1] for line in lines if f"socket:[{line[9]}]" in own]


def says_nothing(bench: Bench, daemon: Daemon) -> None:
    assert daemon.stdout() + daemon.stderr() == b""
    assert daemon.stop() == 0
    [first, last] = bench.world.path("/tmp/log").read_text().splitlines()
    assert "starting" in first and "Terminating on signal" in last


def test_an_address_that_is_not_the_machines(bench: Bench) -> None:
    daemon = started(bench, "-A", "192.0.2.9")
    assert listening(daemon) == []
    says_nothing(bench, daemon)


def test_a_port_that_another_program_has(bench: Bench) -> None:
    with bench.world.socket("daemon", socket.SOCK_STREAM) as other:
        other.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)  # after the tests before
        other.bind(("127.0.0.1", VTY_PORT))
        other.listen()
        daemon = started(bench, "-A", "127.0.0.1")
        assert listening(daemon) == []
        says_nothing(bench, daemon)


def test_a_port_above_the_highest(bench: Bench) -> None:
    daemon = started(bench, "-A", "127.0.0.1", "-P", "70000")
    assert listening(daemon) == [f"0100007F:{70000 - 65536:04X}"]


def test_an_address_that_cannot_be_looked_up(bench: Bench) -> None:
    daemon = bench.daemon(arguments=["-A", "nowhere.example.net"], ready=False)
    assert daemon.wait() == 1
    assert b"getaddrinfo failed: " in daemon.stderr()


@pytest.mark.plain_build
def test_transactions_end_the_daemon(bench: Bench) -> None:
    """The library copies a tree that this daemon does not have."""
    daemon = bench.daemon(arguments=["--tcli"])
    session = bench.vty(daemon, "enable")
    with pytest.raises(Closed):
        session.command("configure terminal")
    assert daemon.wait() == -signal.SIGABRT
