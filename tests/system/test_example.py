# SPDX-License-Identifier: GPL-2.0-or-later
"""The example module: loaded into the daemon, it shows the time in any zone."""
from __future__ import annotations

import json
import os
import shlex
import shutil
import subprocess
from pathlib import Path

import pytest

from lab import Build, Daemon
from lab.bench import START, Bench

PROJECT = Path(__file__).resolve().parents[2]
EXAMPLES = PROJECT / "examples"

PARIS_NOW = b"Now: 2020-09-13 14:26:40 CEST (UTC+0200), daylight-saving time\r\n"
PARIS = PARIS_NOW + b"Next change: 2020-10-25 02:00:00 CET (UTC+0100)\r\n"
UNKNOWN = b"% [HORAD] Unknown command: show time Europe/Paris\r\n"


def with_example(bench: Bench, module: str | Path = "", now: int = START) -> Daemon:
    module = module or bench.build.folder / "lib" / "zone_report.so"
    return bench.daemon(arguments=["-M", str(module)], clock_frozen=now)


def make_as_told(build: Build, folder: Path) -> Path:
    """Makes the module with the commands of the README, from what lies in the folder.

    The compiler and libfrr are those of the build, which may be for another processor; of
    libfrr there is what its "make install" leaves, and config.h.
    """
    (commands,) = [part for part in (EXAMPLES / "README.md").read_text().split("\n\n") if "\n    gcc " in part]
    compiled = json.loads((build.folder / "compile_commands.json").read_text())
    (words,) = [shlex.split(each["command"]) for each in compiled if each["file"] == str(EXAMPLES / "zone_report.c")]
    compiler = shlex.join([words[0], *(word for word in words if word.startswith("--sysroot="))])
    (headers,) = [Path(word) for word in words if word.endswith("/include/frr")]
    installed = folder / "libfrr" / "include" / "frr"
    shutil.copytree(headers, installed, ignore=shutil.ignore_patterns("lib"))
    (folder / "include").symlink_to(PROJECT / "include")
    subprocess.run(
        ["sh", "-ec", commands.replace("gcc", compiler, 1)],
        cwd=folder,
        env={**os.environ, "FRR": str(folder / "libfrr")},
        check=True,
    )
    return folder / "zone_report.so"


def in_lab(bench: Bench, module: Path) -> str:
    shutil.copyfile(module, bench.world.path("/tmp/zone_report.so"))
    return "/tmp/zone_report.so"


@pytest.mark.parametrize(
    ("zone", "now", "change"),
    [
        ("Asia/Tokyo", "2020-09-13 21:26:40 JST (UTC+0900)", "none this year and the next"),
        ("Asia/Kathmandu", "2020-09-13 18:11:40 +0545 (UTC+0545)", "none this year and the next"),
        (
            "America/New_York",
            "2020-09-13 08:26:40 EDT (UTC-0400), daylight-saving time",
            "2020-11-01 01:00:00 EST (UTC-0500)",
        ),
        (
            "Australia/Sydney",
            "2020-09-13 22:26:40 AEST (UTC+1000)",
            "2020-10-04 03:00:00 AEDT (UTC+1100), daylight-saving time",
        ),
        ("/usr/share/zoneinfo/Etc/UTC", "2020-09-13 12:26:40 UTC (UTC+0000)", "none this year and the next"),
        (
            "ABC3:30DEF,M2.1.0,M10.1.0/0",
            "2020-09-13 09:56:40 DEF (UTC-0230), daylight-saving time",
            "2020-10-03 23:00:00 ABC (UTC-0330)",
        ),
    ],
)
def test_time_and_next_change(bench: Bench, zone: str, now: str, change: str) -> None:
    session = bench.vty(with_example(bench), "view")
    assert session.command(f"show time {zone}") == f"Now: {now}\r\nNext change: {change}\r\n".encode()


@pytest.mark.parametrize(
    ("at", "now", "change"),
    [
        # the last second of summer, and the first of winter
        (
            1603587599,
            "2020-10-25 02:59:59 CEST (UTC+0200), daylight-saving time",
            "2020-10-25 02:00:00 CET (UTC+0100)",
        ),
        (
            1603587600,
            "2020-10-25 02:00:00 CET (UTC+0100)",
            "2021-03-28 03:00:00 CEST (UTC+0200), daylight-saving time",
        ),
        # the year has changed in Paris, but not yet in UTC
        (
            1609455600,
            "2021-01-01 00:00:00 CET (UTC+0100)",
            "2021-03-28 03:00:00 CEST (UTC+0200), daylight-saving time",
        ),
    ],
)
def test_around_a_change(bench: Bench, at: int, now: str, change: str) -> None:
    session = bench.vty(with_example(bench, now=at), "view")
    assert session.command("show time Europe/Paris") == f"Now: {now}\r\nNext change: {change}\r\n".encode()


@pytest.mark.parametrize(
    ("zone", "reason"),
    [
        ("Mars/Olympus", "No such file or directory"),
        (":/etc/hosts", "Invalid argument"),
        ("x" * 2000, "File name too long"),
    ],
)
def test_no_such_zone(bench: Bench, zone: str, reason: str) -> None:
    session = bench.vty(with_example(bench), "enable")
    assert session.command(f"show time {zone}") == f"% No zone {zone}: {reason}\r\n".encode()
    assert session.command("show time Europe/Paris") == PARIS


def test_list_that_cannot_be_read(bench: Bench) -> None:
    in_the_way = bench.world.path("/tmp/dstconfig")
    in_the_way.mkdir()
    session = bench.vty(with_example(bench), "enable")
    answer = session.command("show time Europe/Paris")
    assert answer == PARIS_NOW + b"% The list of changes cannot be read\r\n"
    in_the_way.rmdir()
    assert session.command("show time Europe/Paris") == PARIS


def test_help(bench: Bench) -> None:
    session = bench.vty(with_example(bench), "view")
    assert b"  WORD  Zone file such as Europe/Paris, or TZ string" in session.help("show time ")


def test_made_out_of_tree(bench: Bench, tmp_path: Path) -> None:
    (tmp_path / "examples").symlink_to(EXAMPLES)
    session = bench.vty(with_example(bench, in_lab(bench, make_as_told(bench.build, tmp_path))), "view")
    assert session.command("show time Europe/Paris") == PARIS


def test_made_for_another_release(bench: Bench, tmp_path: Path) -> None:
    """It stays idle, and says so; the daemon goes on."""
    shutil.copytree(EXAMPLES, tmp_path / "examples")
    (tmp_path / "examples" / "version.h").write_text('#define FRR_VERSION "0.1"\n')
    daemon = with_example(bench, in_lab(bench, make_as_told(bench.build, tmp_path)))
    assert daemon.stderr().startswith(b"zone_report: made for libfrr 0.1, not ")
    assert bench.vty(daemon, "view").command("show time Europe/Paris") == UNKNOWN
