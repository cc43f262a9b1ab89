# SPDX-License-Identifier: GPL-2.0-or-later
"""The time-zone commands, as far as an operator sees them."""
from __future__ import annotations

import os

import pytest

from lab.bench import PRIMARY, Bench
from tests.models.locations import LOCATION_HELP

OFF = b"NTP protcol is disable!\r\r\n"
LONDON = b"Current system time zone : Europe-London GMT+0000\r\r\n"
NOT_SUPPORTED = (
    b"\r\r\nOperation is not supported. DST will be calculated automatically when setting time zone! \r\r\n"
)
FIRST_LINK = "/usr/share/zoneinfo/Etc/UTC"


def localtime(bench: Bench) -> str:
    return os.readlink(bench.world.path("/etc/localtime"))


@pytest.mark.parametrize("continent", LOCATION_HELP)
@pytest.mark.parametrize("word", ["timezone", "dst"])
def test_refused_while_off(bench: Bench, word: str, continent: str) -> None:
    session = bench.vty(bench.daemon())
    for location in ("London", "Abidjan", "nowhere"):
        assert session.command(f"{word} continent {continent} location {location}") == OFF
    assert session.command("show timezone") == LONDON
    assert localtime(bench) == FIRST_LINK


def test_refused_once_off_again(bench: Bench) -> None:
    session = bench.vty(bench.polling(PRIMARY))
    session.command("ntp disable")
    assert session.command("timezone continent Europe location Paris") == OFF


@pytest.mark.parametrize("enabled", [True, False])
def test_no_timezone(bench: Bench, enabled: bool) -> None:
    daemon = bench.polling(PRIMARY) if enabled else bench.daemon()
    session = bench.vty(daemon)
    assert session.command("no timezone") == b""
    assert not os.path.lexists(bench.world.path("/etc/localtime"))
    assert session.command("show timezone") == b"Current system time zone : (null)-(null) (null)\r\r\n"
    # Nothing is left to take away, and nothing is said about it.
    assert session.command("no timezone") == b""
    assert daemon.stdout() == daemon.stderr() == b""


def test_zone_is_set(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY)
    session = bench.vty(daemon)
    answer = session.command("timezone continent Europe location Paris")
    assert answer == b"\r\r\nSet Time Zone: Europe-Paris GMT+0100 successfully! \r\r\n"
    assert localtime(bench) == "/usr/share/zoneinfo/Europe/Paris"
    assert session.command("show timezone") == b"Current system time zone : Europe-Paris GMT+0100\r\r\n"
    assert session.command("show ntp").endswith(b"Time Zone is Europe-Paris.\r\r\n")
    assert b" timezone continent Europe location Paris\r\r\n" in session.command("do show running-config")
    assert daemon.stdout() == b""


def test_zone_after_no_zone(bench: Bench) -> None:
    session = bench.vty(bench.polling(PRIMARY))
    session.command("no timezone")
    session.command("timezone continent Indian_Ocean location Mauritius")
    assert localtime(bench) == "/usr/share/zoneinfo/Indian/Mauritius"
    assert session.command("show timezone") == b"Current system time zone : Indian_Ocean-Mauritius GMT+0400\r\r\n"


@pytest.mark.parametrize("word", ["timezone", "dst"])
def test_unknown_location(bench: Bench, word: str) -> None:
    daemon = bench.polling(PRIMARY)
    session = bench.vty(daemon)
    assert session.command(f"{word} continent Europe location Pariss") == b""
    assert daemon.stdout() == b"\r\nThe location name is wrong or does not exist in Europe!\r\n"
    assert session.command("show timezone") == LONDON
    assert localtime(bench) == FIRST_LINK


def test_daylight_saving_form(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY)
    session = bench.vty(daemon)
    assert session.command("dst continent Europe location Paris") == NOT_SUPPORTED
    assert session.command("show timezone") == LONDON
    assert localtime(bench) == FIRST_LINK
    assert daemon.stdout() == b""


def test_location_too_long_for_the_catalogue(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY)
    session = bench.vty(daemon)
    assert session.command(f"timezone continent Asia location {'x' * 300}") == b""
    assert daemon.stdout() == b"\r\nThe location name is wrong or does not exist in Asia!\r\n"


def test_zone_that_cannot_be_linked(bench: Bench) -> None:
    """Nothing is said on the session, and the zone stays what it was."""
    bench.world.path("/etc/localtime").unlink()
    bench.world.path("/etc/localtime").mkdir()
    daemon = bench.polling(PRIMARY)
    session = bench.vty(daemon)
    assert session.command("timezone continent Europe location Paris") == b""
    assert daemon.stderr() == b"symlink err: File exists\ncannot remove /etc/localtime: Is a directory\n"
    assert session.command("show timezone") == LONDON


def test_debug_line_of_the_zone(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY)
    assert daemon.shim is not None
    daemon.shim.requests(1)
    session = bench.vty(daemon, "config")
    session.command("debug ntp on")
    session.command("ntp")
    session.command("timezone continent Asia location Tokyo")
    line = b"\r\n>>>>Set system timezone /usr/share/zoneinfo/Asia/Tokyo successfully!\r\n"
    assert line in daemon.wait_stdout(line)
