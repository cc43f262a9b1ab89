# SPDX-License-Identifier: GPL-2.0-or-later
"""Things the daemon does not get: it says so and stays."""
from __future__ import annotations

import socket

import pytest

from lab import BASE_CONFIG, CONFIG, wait_for
from lab.bench import PRIMARY, Bench, configured

LOG = "/tmp/horad.log"
LOGGING = ["--log", f"file:{LOG}", "--log-level", "debug"]


def wait_log(bench: Bench, text: bytes) -> bytes:
    path = bench.world.path(LOG)
    wait_for(f"{text!r} in the log", lambda: path.exists() and text in path.read_bytes())
    return path.read_bytes()


def test_port_taken(bench: Bench) -> None:
    with bench.world.socket("daemon", socket.SOCK_DGRAM) as other:
        other.bind(("0.0.0.0", 123))
        daemon = bench.polling(PRIMARY)
        daemon.wait_stderr(b"ntp_client_process 2: Address already in use\n")
    session = bench.vty(daemon)
    # It counts as switched on, and no later command brings the thread back.
    assert session.command("show ntp").startswith(b"NTP server is 10.77.0.1, 0.0.0.0.\r\r\n")
    for line in ("ntp enable", "ntp disable", "ntp enable"):
        assert session.command(line) == b""
    assert session.command("show ntp").startswith(b"NTP server is")
    assert daemon.shim is not None
    assert daemon.shim.events("sendto") == []
    assert daemon.thread("ntpClient") is None


def test_no_socket(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, socket_errno=24)
    daemon.wait_stderr(b"net socker : Too many open files\n")
    assert bench.vty(daemon).command("show ntp").startswith(b"NTP server is")


def test_signals_nobody_reads(bench: Bench) -> None:
    """Restarts pile up until the pipe is full; each one after that says so."""
    daemon = bench.polling(PRIMARY, socket_errno=24)
    daemon.wait_stderr(b"net socker ")
    session = bench.vty(daemon)
    for _ in range(2000):
        session.command("ntp enable")
        if b"Could not send NTP signal: \n" in daemon.stdout():
            break
    assert daemon.stdout() == b"Could not send NTP signal: \n"
    assert session.command("show ntp").startswith(b"NTP server is")


def test_no_configuration_file(bench: Bench) -> None:
    daemon = bench.daemon(None, arguments=LOGGING)
    wait_log(bench, f"can't open configuration file [{CONFIG}]".encode())
    # Without a password nobody gets in.
    assert b"Vty password is not set.\r\n" in daemon.connect().read_to_end()


def test_no_such_configuration_file(bench: Bench) -> None:
    daemon = bench.daemon(None, arguments=["-f", "/etc/none.conf", *LOGGING])
    wait_log(bench, b"can't open configuration file [/etc/none.conf]")
    assert daemon.running


def test_folder_as_configuration_file(bench: Bench) -> None:
    bench.world.path(CONFIG).mkdir()
    assert bench.daemon(None).running


def test_binary_configuration_file(bench: Bench) -> None:
    noise = bytes(range(256)) * 40
    daemon = bench.daemon(BASE_CONFIG.encode() + noise + b"\n" + noise, arguments=LOGGING)
    wait_log(bench, b"No such command on config line")
    assert bench.vty(daemon).command("show ntp") == b"NTP protcol is disable!\r\r\n"


def test_bad_lines(bench: Bench) -> None:
    """What is good in a bad file counts."""
    config = f"{BASE_CONFIG}nonsense\nntp terminal\n more nonsense\n ntp server {PRIMARY}\n ntp enable\n"
    daemon = bench.daemon(config, arguments=LOGGING)
    log = wait_log(bench, b"more nonsense\n")
    assert b"No such command on config line 2: nonsense\n" in log
    assert b"No such command on config line 4:  more nonsense\n" in log
    assert daemon.shim is not None
    daemon.shim.requests(1)


def test_refused_lines(bench: Bench) -> None:
    """Refusals while the file is read come out on standard error, after what was told of them before."""
    config = configured(PRIMARY, "0.0.0.0") + " timezone continent Europe location London\n"
    daemon = bench.daemon(config)
    daemon.wait_stderr(b"\nNTP protcol is disable!\r\n")
    told, rest = daemon.stderr().split(b"Europe location London\n")
    assert told.count(b"horad: ") == 3
    assert rest == (
        b"Slave ip address can't manually config 0.0.0.0 !!!.\r\n"
        b"ntp server ip not set!\r\n"
        b"NTP protcol is disable!\r\n"
    )


@pytest.mark.parametrize("line", ["ntp server", "second ntp server2"])
def test_incomplete_lines(bench: Bench, line: str) -> None:
    daemon = bench.daemon(f"{BASE_CONFIG}ntp terminal\n {line}\n ntp server {PRIMARY}\n ntp enable\n")
    assert bench.vty(daemon).command("show ntp").startswith(b"NTP server is 10.77.0.1, 0.0.0.0.\r\r\n")
