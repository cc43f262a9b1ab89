# SPDX-License-Identifier: GPL-2.0-or-later
"""The configuration that is written, and what becomes of it at the next start."""
from __future__ import annotations

import pytest

from lab import CONFIG
from lab.bench import PRIMARY, SECONDARY, Bench

SLAVE_UNSET = b"Slave ip address can't manually config 0.0.0.0 !!!."


def block(primary: str, secondary: str, zone: str | None = "Europe location London") -> bytes:
    lines = ["ntp terminal\n", f" ntp server {primary} {secondary}\r\n", " ntp enable\r\n"]
    if zone is not None:
        lines.append(f" timezone continent {zone}\r\n")
    return "".join(lines).encode()


def written(bench: Bench, daemon) -> bytes:
    """The daemon's part of the configuration file, after `write file`."""
    answer = bench.vty(daemon, "enable").command("write file")
    assert answer == f"Configuration saved to {CONFIG}\r\n".encode()
    text = bench.world.path(CONFIG).read_bytes()
    return text[text.find(b"ntp terminal") :] if b"ntp terminal" in text else b""


def again(bench: Bench, daemon):
    """A new run with the configuration as the last one wrote it."""
    assert daemon.stop() == 0
    return bench.daemon(bench.world.path(CONFIG).read_bytes())


def test_shown_block(bench: Bench) -> None:
    shown = bench.vty(bench.polling(PRIMARY, SECONDARY), "enable").command("show running-config")
    # The session turns each "\n" into "\r\n".
    assert block(PRIMARY, SECONDARY).replace(b"\n", b"\r\n") + b"end\r\n" in shown
    assert shown.count(b"ntp") == 3


@pytest.mark.parametrize("line", ["show running-config", "write terminal"])
def test_nothing_while_off(bench: Bench, line: str) -> None:
    daemon = bench.polling(PRIMARY, SECONDARY, debug=True)
    bench.vty(daemon).command("ntp disable")
    shown = bench.vty(daemon, "enable").command(line)
    assert b"hostname" in shown
    for text in (b"ntp", b"timezone", PRIMARY.encode()):
        assert text not in shown
    assert written(bench, daemon) == b""


def test_two_servers_come_back(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, SECONDARY)
    assert written(bench, daemon) == block(PRIMARY, SECONDARY)
    daemon = again(bench, daemon)
    assert daemon.shim is not None
    assert daemon.shim.requests(1)[0]["address"] == PRIMARY
    session = bench.vty(daemon)
    assert session.command("show ntp") == (
        b"NTP server is 10.77.0.1, 10.77.0.2.\r\r\nTime Zone is Europe-London.\r\r\n"
    )
    assert written(bench, daemon) == block(PRIMARY, SECONDARY)


def test_zone_comes_back(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, SECONDARY)
    bench.vty(daemon).command("timezone continent America location Port-au-Prince")
    zone = "America location Port-au-Prince"
    assert written(bench, daemon) == block(PRIMARY, SECONDARY, zone)
    daemon = again(bench, daemon)
    shown = bench.vty(daemon).command("show timezone")
    assert shown == b"Current system time zone : America-Port-au-Prince GMT-0500\r\r\n"


def test_one_server_does_not_come_back(bench: Bench) -> None:
    """The written "0.0.0.0" is refused, and with it all that follows."""
    daemon = bench.polling(PRIMARY)
    assert written(bench, daemon) == block(PRIMARY, "0.0.0.0")
    daemon = again(bench, daemon)
    session = bench.vty(daemon)
    assert session.command("show ntp") == b"NTP protcol is disable!\r\r\n"
    assert b'"server":"0.0.0.0"' in session.command("show ntp json")
    assert daemon.thread("ntpClient") is None


def test_emptied_secondary_comes_back_as_one_server(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, SECONDARY)
    bench.vty(daemon).command("no second ntp server2")
    assert written(bench, daemon) == block(PRIMARY, "")
    daemon = again(bench, daemon)
    assert bench.vty(daemon).command("show ntp").startswith(b"NTP server is 10.77.0.1, 0.0.0.0.\r\r\n")


def test_no_zone_line_without_a_zone(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, SECONDARY)
    bench.vty(daemon).command("no timezone")
    assert written(bench, daemon) == block(PRIMARY, SECONDARY, None)
    # The removed zone is no configuration: the next start has the default again.
    daemon = again(bench, daemon)
    assert bench.vty(daemon).command("show timezone") == b"Current system time zone : Europe-London GMT+0000\r\r\n"


def test_debug_is_not_written(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, SECONDARY, debug=True)
    assert written(bench, daemon) == block(PRIMARY, SECONDARY)
    assert b"debug" not in bench.world.path(CONFIG).read_bytes()


def test_longest_names_come_back(bench: Bench) -> None:
    names = ("m" * 127, "s" * 127)
    daemon = bench.polling(*names)
    assert written(bench, daemon) == block(*names)
    daemon = again(bench, daemon)
    assert bench.vty(daemon).command("show ntp").startswith(f"NTP server is {names[0]}, {names[1]}.".encode())


def test_configuration_of_the_library_is_kept(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, SECONDARY)
    session = bench.vty(daemon, "config")
    session.command("hostname olt-7")
    session.command("log file /tmp/horad.log")
    written(bench, daemon)
    text = bench.world.path(CONFIG).read_bytes()
    for line in (b"hostname olt-7\n", b"log file /tmp/horad.log\n", b"password lab\n"):
        assert line in text
