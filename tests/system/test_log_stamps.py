# SPDX-License-Identifier: GPL-2.0-or-later
"""The library's log stamps come from the engine, and so follow the zone."""
from __future__ import annotations

import re
import signal
from datetime import datetime, timedelta, timezone
from pathlib import Path

import pytest

from lab import BASE_CONFIG, wait_for
from lab.bench import PRIMARY, Bench

LOG = "/var/log/horad.log"
STAMP = re.compile(rb"(\d{4}/\d\d/\d\d \d\d:\d\d:\d\d) .*SIGHUP received")


def stamps(log: Path) -> list[datetime]:
    return [datetime.strptime(text.decode(), "%Y/%m/%d %H:%M:%S") for text in STAMP.findall(log.read_bytes())]


def next_stamp(bench: Bench, daemon) -> timedelta:
    """How far the stamp of a new log line is from UTC, to the quarter of an hour."""
    log = bench.world.path(LOG)
    before = len(stamps(log))
    daemon.send_signal(signal.SIGHUP)
    wait_for("the log line", lambda: len(stamps(log)) > before)
    quarter = timedelta(minutes=15)
    return round((stamps(log)[-1] - datetime.now(timezone.utc).replace(tzinfo=None)) / quarter) * quarter


def test_stamps_follow_the_zone_command(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, arguments=["--log", f"file:{LOG}"])
    session = bench.vty(daemon)
    for location, hours in (("Tokyo", 9), ("Kathmandu", 5.75), ("Tokyo", 9)):
        assert b"successfully" in session.command(f"timezone continent Asia location {location}")
        assert next_stamp(bench, daemon) == timedelta(hours=hours)


@pytest.mark.parametrize(
    ("value", "hours"),
    [("XYZ-3:30", 3.5), ("Asia/Kathmandu", 5.75), (":Asia/Tokyo", 9), ("nowhere/at-all", 0), ("", 0)],
)
def test_stamps_follow_tz(bench: Bench, value: str, hours: float) -> None:
    daemon = bench.daemon(BASE_CONFIG, arguments=["--log", f"file:{LOG}"], environment={"TZ": value})
    assert next_stamp(bench, daemon) == timedelta(hours=hours)


def test_a_given_tz_wins_over_the_zone_command(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, arguments=["--log", f"file:{LOG}"], environment={"TZ": "XYZ-3:30"})
    session = bench.vty(daemon)
    assert b"successfully" in session.command("timezone continent Asia location Tokyo")
    assert next_stamp(bench, daemon) == timedelta(hours=3.5)
