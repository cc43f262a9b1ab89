# SPDX-License-Identifier: GPL-2.0-or-later
"""The show commands, byte for byte, in every state."""
from __future__ import annotations

import json

from lab.bench import PRIMARY, SECONDARY, Bench

OFF = b"NTP protcol is disable!\r\r\n"


def as_json(status: str, server: str, second: str, zone: str) -> bytes:
    """json-c's pretty layout; the session makes "\\n" "\\r\\n"."""
    return (
        "{\r\n"
        f'  "status":{status},\r\n'
        f'  "server":"{server}",\r\n'
        f'  "secondServer":"{second}",\r\n'
        f'  "continentCity":"{zone}"\r\n'
        "}\r\r\n"
    ).encode()


def test_fresh_start(bench: Bench) -> None:
    session = bench.vty(bench.daemon())
    assert session.command("show ntp") == OFF
    assert session.command("show ntp json") == as_json("false", "0.0.0.0", "0.0.0.0", "Europe London")
    assert session.command("show timezone") == b"Current system time zone : Europe-London GMT+0000\r\r\n"


def test_servers_set_but_off(bench: Bench) -> None:
    session = bench.vty(bench.daemon())
    session.command("ntp server a b")
    assert session.command("show ntp") == OFF
    assert session.command("show ntp json") == as_json("false", "a", "b", "Europe London")


def test_on_with_one_server(bench: Bench) -> None:
    session = bench.vty(bench.polling(PRIMARY))
    assert session.command("show ntp") == (
        b"NTP server is 10.77.0.1, 0.0.0.0.\r\r\nTime Zone is Europe-London.\r\r\n"
    )
    assert session.command("show ntp json") == as_json("true", PRIMARY, "0.0.0.0", "Europe London")


def test_on_with_two_servers(bench: Bench) -> None:
    session = bench.vty(bench.polling(PRIMARY, SECONDARY))
    assert session.command("show ntp") == (
        b"NTP server is 10.77.0.1, 10.77.0.2.\r\r\nTime Zone is Europe-London.\r\r\n"
    )
    assert session.command("show ntp json") == as_json("true", PRIMARY, SECONDARY, "Europe London")


def test_emptied_secondary(bench: Bench) -> None:
    session = bench.vty(bench.polling(PRIMARY, SECONDARY))
    session.command("no second ntp server2")
    assert session.command("show ntp").startswith(b"NTP server is 10.77.0.1, .\r\r\n")
    assert session.command("show ntp json") == as_json("true", PRIMARY, "", "Europe London")


def test_off_again(bench: Bench) -> None:
    session = bench.vty(bench.polling(PRIMARY, SECONDARY))
    session.command("ntp disable")
    assert session.command("show ntp") == OFF
    assert session.command("show ntp json") == as_json("false", PRIMARY, SECONDARY, "Europe London")


def test_no_zone(bench: Bench) -> None:
    session = bench.vty(bench.polling(PRIMARY))
    session.command("no timezone")
    assert session.command("show ntp") == (
        b"NTP server is 10.77.0.1, 0.0.0.0.\r\r\nTime Zone is (null)-(null).\r\r\n"
    )
    assert session.command("show ntp json") == as_json("true", PRIMARY, "0.0.0.0", "(null) (null)")
    assert session.command("show timezone") == b"Current system time zone : (null)-(null) (null)\r\r\n"


def test_no_zone_while_off(bench: Bench) -> None:
    session = bench.vty(bench.daemon())
    session.command("no timezone")
    assert session.command("show ntp") == OFF
    assert session.command("show ntp json") == as_json("false", "0.0.0.0", "0.0.0.0", "(null) (null)")


def test_names_that_json_has_to_escape(bench: Bench) -> None:
    session = bench.vty(bench.daemon())
    session.command('ntp server a"b\\c d/e')
    shown = json.loads(session.command("show ntp json"))
    assert shown == {
        "status": False,
        "server": 'a"b\\c',
        "secondServer": "d/e",
        "continentCity": "Europe London",
    }
    assert list(shown) == ["status", "server", "secondServer", "continentCity"]


def test_names_that_look_like_formats(bench: Bench) -> None:
    session = bench.vty(bench.daemon())
    session.command("ntp server %s%n %pI4")
    session.command("ntp enable")
    assert session.command("show ntp").startswith(b"NTP server is %s%n, %pI4.\r\r\n")
    assert b" ntp server %s%n %pI4\r\r\n" in session.command("do show running-config")


def test_longest_names(bench: Bench) -> None:
    session = bench.vty(bench.daemon())
    session.command(f"ntp server {'m' * 127} {'s' * 127}")
    session.command("ntp enable")
    assert session.command("show ntp") == (
        f"NTP server is {'m' * 127}, {'s' * 127}.\r\r\nTime Zone is Europe-London.\r\r\n".encode()
    )
