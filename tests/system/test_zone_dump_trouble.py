# SPDX-License-Identifier: GPL-2.0-or-later
"""Lists of changes that cannot be made, or not whole; warnings."""
from __future__ import annotations

import pytest

from lab import Called
from lab.bench import Bench
from lab.exported import DUMP, calls, content, years
from tests.models.zone_dump import LONDON_2020

DONE = Called(0)
CANNOT_OPEN = b'********zdump:fopen("/tmp/dstconfig", "cw") error..!'


def warned(zone: str, abbreviation: str, reason: str) -> bytes:
    return f'(null): warning: zone "{zone}" abbreviation "{abbreviation}" {reason}\n'.encode()


@pytest.mark.parametrize(
    "cut_off",
    ["2020,", "x", "", ",", ",2021", "2020x", "2020;2021", "2020,x", "2020,2021x", "2020,2021,", "2020 ,2021", "-"],
)
def test_years_that_cannot_be_read(bench: Bench, cut_off: str) -> None:
    """The last list is gone, and there is no new one."""
    shim = calls(bench)
    assert years(shim, "2020,2021", "UTC0") == DONE
    assert years(shim, cut_off, "Europe/London") == (1, b"", b"")
    assert content(bench.world, DUMP) is None


def test_too_few_arguments(bench: Bench) -> None:
    shim = calls(bench)
    for arguments in ((), ("zdump",), ("zdump", "-c"), ("zdump", "-c", "2020,2021")):
        answer = shim.call("zdump_main", *arguments)
        assert answer.result == 1
        assert answer.stdout + answer.stderr != b""
    assert content(bench.world, DUMP) is None


def test_zone_that_does_not_exist(bench: Bench) -> None:
    """The zones before it stay in the list, those after it are not reached."""
    shim = calls(bench)
    for zone in ("Europe/Pariss", "../../../etc/passwd", "Europe", "x" * 5000):
        answer = years(shim, "2020,2021", "Europe/London", zone, "UTC0")
        assert answer.result == 1
        assert answer.stdout == b""
        assert answer.stderr.startswith(f"{zone}: ".encode()) and answer.stderr.count(b"\n") == 1
        lines = (content(bench.world, DUMP) or b"").decode().splitlines()
        assert len(lines) == 8
        assert all(line.startswith("Europe/London  ") for line in lines)
    assert years(shim, "2020,2021", "nowhere").stderr == b"nowhere: No such file or directory\n"
    assert content(bench.world, DUMP) is None


def test_warnings(bench: Bench) -> None:
    """One for each zone, in the order of the zones; the lines are written all the same."""
    shim = calls(bench)
    short, long_, fine = "<AB>0<CD>-1,J60,J300", "ABCDEFG0XYZ,J60,J300", "Europe/London"
    answer = years(shim, "2020,2021", short, fine, long_, short)
    warning = warned(short, "AB", "has fewer than 3 characters")
    assert answer == (0, b"", warning + warned(long_, "ABCDEFG", "has more than 6 characters") + warning)
    assert len((content(bench.world, DUMP) or b"").splitlines()) == 4 * 8


def test_warning_without_a_list_of_changes(bench: Bench) -> None:
    """Lines of the present time warn once, until changes are listed again."""
    shim = calls(bench)
    warning = warned("<AB>0", "AB", "has fewer than 3 characters")
    present = ("zdump_main", "", "", "", "", "<AB>0", "<CD>0")
    for _ in range(2):
        assert shim.call(*present) == (0, b"", warning)
        assert shim.call(*present) == (0, b"", b"")
        assert years(shim, "2020,2021", "UTC0") == (0, b"", b"")


@pytest.mark.parametrize(
    ("abbreviation", "reason"),
    [
        ("A", "has fewer than 3 characters"),
        ("ABCDEFG", "has more than 6 characters"),
        ("A_", "has characters other than ASCII alphanumerics, '-' or '+'"),
        ("+1", "has fewer than 3 characters"),
        ("-0330", None),
        ("ABCDEF", None),
        ("ab9", None),
    ],
)
def test_reasons_of_warnings(bench: Bench, abbreviation: str, reason: str | None) -> None:
    shim = calls(bench)
    zone = f"<{abbreviation}>0<{abbreviation}>-1,J60,J300"
    for _ in range(2):  # every run warns anew
        answer = years(shim, "2020,2022", zone)
        assert answer == (0, b"", warned(zone, abbreviation, reason) if reason else b"")
        assert len((content(bench.world, DUMP) or b"").splitlines()) == 12


def test_list_that_cannot_be_opened(bench: Bench) -> None:
    bench.world.path(DUMP).mkdir()
    shim = calls(bench)
    assert years(shim, "2020,2021", "Europe/London") == (0, CANNOT_OPEN * 8, b"")
    assert years(shim, "2020,2021", "UTC0", "Europe/London") == (0, CANNOT_OPEN * 12, b"")
    assert shim.call("zdump_main", "", "", "", "", "UTC0") == (0, CANNOT_OPEN, b"")


def test_lines_that_are_lost(bench: Bench) -> None:
    """The others are there, in order."""
    shim = calls(bench)
    lines = LONDON_2020.splitlines(keepends=True)
    for call in ("open", "write"):
        for after, times in ((0, 1), (3, 2), (7, 1)):
            shim.fail(call, "ENOSPC", times, after)
            assert years(shim, "2020,2021", "Europe/London") == (0, CANNOT_OPEN * times, b"")
            assert content(bench.world, DUMP) == b"".join(lines[:after] + lines[after + times :])


def test_last_list_that_stays(bench: Bench) -> None:
    """A list that cannot be removed is written on."""
    bench.world.path(DUMP).write_bytes(b"old\n")
    shim = calls(bench)
    shim.fail("unlink", "EPERM", times=1)
    assert years(shim, "2020,2021", "Europe/London") == DONE
    assert content(bench.world, DUMP) == b"old\n" + LONDON_2020
