# SPDX-License-Identifier: GPL-2.0-or-later
"""Every location that the commands offer, one after the other."""
from __future__ import annotations

import os
import re
from datetime import datetime
from pathlib import Path
from zoneinfo import ZoneInfo

import pytest

from lab import CONFIG, Daemon, Vty
from lab.bench import PRIMARY, SECONDARY, Bench
from lab.exported import ZONES, link
from lab.zone_folder import install, zone_folder, zones_without_other_names
from tests.models.locations import LOCATION_HELP

FIRST_LINK = f"{ZONES}/Etc/UTC"
SET = re.compile(rb"\r\r\nSet Time Zone: (\S+) GMT([+-]\d{4}) successfully! \r\r\n")
# By the rules that hold after all changes known today.
JANUARY, JULY = datetime(2500, 1, 1), datetime(2500, 7, 1)

# Names that are no zone's own, in other folders, or a continent that is a folder's other name.
ODD = [
    ("Africa", "Libya", "Tripoli"),
    ("Africa", "Zulu", None),
    ("America", "Hawaii", None),
    ("America", "Knox_IN", None),
    ("Asia", "Japan", "Tokyo"),
    ("Atlantic", "Faeroe", "Faroe"),
    ("Australia", "NSW", "Sydney"),
    ("Europe", "Eire", "Dublin"),
    ("Indian_Ocean", "Reunion", "Reunion"),
    ("Pacific", "Truk", "Chuuk"),
]


def offered(continent: str) -> list[str]:
    return re.split(r"[,\s]+", LOCATION_HELP[continent].split(":", 1)[1].strip())


def choose(session: Vty, continent: str, location: str) -> str:
    """Sets the zone; the offset it says, such as "+0100"."""
    answer = session.command(f"timezone continent {continent} location {location}")
    found = SET.fullmatch(answer)
    assert found is not None, (continent, location, answer)
    assert found[1].decode() == f"{continent}-{location}"
    return found[2].decode()


def shown(session: Vty) -> bytes:
    return session.command("show timezone")


def is_shown(session: Vty, continent: str, location: str, offset: str) -> None:
    assert shown(session) == f"Current system time zone : {continent}-{location} GMT{offset}\r\r\n".encode()


def local_name(daemon: Daemon) -> str:
    """Offset and abbreviation of the process's zone, in a summer."""
    assert daemon.shim is not None
    return daemon.shim.call("localtime_r", 1751328000).result


def in_python(path: str) -> str:
    """The same of a zone file."""
    with open(path, "rb") as file:
        local = datetime.fromtimestamp(1751328000, ZoneInfo.from_file(file))
    offset = local.utcoffset()
    assert offset is not None
    return f"{local:%Y-%m-%d %H:%M:%S} {local.tzname()} {int(bool(local.dst()))} {int(offset.total_seconds())}"


@pytest.mark.parametrize("continent", LOCATION_HELP)
def test_every_location(bench: Bench, continent: str) -> None:
    daemon = bench.polling(PRIMARY, SECONDARY)
    session = bench.vty(daemon)
    locations = offered(continent)
    assert len(locations) == len(set(locations)) > 10
    for location in locations:
        offset = choose(session, continent, location)
        target = link(bench.world)
        assert target is not None and target.startswith(f"{ZONES}/") and Path(target).is_file(), location
        with open(target, "rb") as file:
            zone = ZoneInfo.from_file(file)
        assert offset in (f"{JANUARY.replace(tzinfo=zone):%z}", f"{JULY.replace(tzinfo=zone):%z}"), location
        is_shown(session, continent, location, offset)
        line = f" timezone continent {continent} location {location}\r\r\n".encode()
        assert line in session.command("do show running-config")
        if os.path.exists(f"{ZONES}/{continent}/{location}"):
            assert target == f"{ZONES}/{continent}/{location}"
    assert daemon.stdout() == daemon.stderr() == b""


def test_odd_locations_come_back(bench: Bench) -> None:
    """Saved as they were named, and the same zone after the next start."""
    config = None
    before = b""
    for continent, location, other in ODD:
        daemon = bench.daemon(config, calls=1) if config else bench.polling(PRIMARY, SECONDARY, calls=1)
        session = bench.vty(daemon)
        if config:
            assert shown(session) == before
        choose(session, continent, location)
        target = link(bench.world)
        assert target is not None
        assert local_name(daemon) == in_python(target)
        if other is not None:
            folder = continent.removesuffix("_Ocean")
            assert local_name(daemon) == in_python(f"{ZONES}/{folder}/{other}")
        before = shown(session)
        session.command("do write file")
        config = bench.world.path(CONFIG).read_bytes()
        assert f" timezone continent {continent} location {location}\r\n".encode() in config
        assert daemon.stop() == 0
        bench.world.path("/etc/localtime").unlink()
    daemon = bench.daemon(config, calls=1)
    assert shown(bench.vty(daemon)) == before
    assert local_name(daemon) == in_python(f"{ZONES}/Pacific/Chuuk")


def test_without_second_names(bench: Bench) -> None:
    """A system that installs no zone twice still has every location."""
    with zone_folder(bench.world) as folder:
        install(folder, zones_without_other_names())
        daemon = bench.polling(PRIMARY)
        session = bench.vty(daemon)
        for continent in LOCATION_HELP:
            for location in offered(continent):
                choose(session, continent, location)
                target = link(bench.world)
                assert target is not None and bench.world.path(target).is_file(), location
        assert daemon.stdout() == daemon.stderr() == b""


def test_without_a_continent_s_folder(bench: Bench) -> None:
    with zone_folder(bench.world) as folder:
        install(folder, [name for name in zones_without_other_names() if not name.startswith("Asia/")])
        daemon = bench.polling(PRIMARY)
        session = bench.vty(daemon)
        for location in ("Tokyo", "Japan", "Kolkata"):
            assert session.command(f"timezone continent Asia location {location}") == b""
        said = b"\r\nThe location name is wrong or does not exist in Asia!\r\n"
        assert daemon.stdout() == said * 3
        choose(session, "Europe", "London")
        # A file that comes later is found.
        install(folder, ["Asia/Tokyo"])
        assert choose(session, "Asia", "Japan") == "+0900"


def test_without_any_zone(bench: Bench) -> None:
    """The daemon starts in UTC, and refuses every location."""
    with zone_folder(bench.world):
        daemon = bench.polling(PRIMARY, calls=1)
        session = bench.vty(daemon)
        for continent in LOCATION_HELP:
            assert session.command(f"timezone continent {continent} location {offered(continent)[0]}") == b""
        assert daemon.stdout().count(b"The location name is wrong or does not exist in ") == len(LOCATION_HELP)
        assert link(bench.world) == FIRST_LINK
        assert local_name(daemon) == "2025-07-01 00:00:00 GMT 0 0"
        assert daemon.running
