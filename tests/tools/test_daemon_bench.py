# SPDX-License-Identifier: GPL-2.0-or-later
"""bench/daemon, with short settings: what it prints, and what it refuses.  How long anything took is nobody's matter."""
from __future__ import annotations

import subprocess
from pathlib import Path

import pytest

from lab.hurry.loaded import VARIANTS
from tests.tools.conftest import PROJECT, Clone

BUILD = PROJECT / "build" / "release"


def bench(*arguments: str, script: Path = PROJECT / "bench" / "daemon") -> subprocess.CompletedProcess[str]:
    done = subprocess.run([script, *arguments], capture_output=True, text=True, timeout=300)
    assert "Traceback" not in done.stderr, done.stderr
    return done


def rows(text: str, title: str) -> dict[str, list[str]]:
    """The table below a line that begins with `title`: its rows' cells, without the noise in brackets."""
    lines = text[text.index(title) :].splitlines()[1:]
    table = lines[: lines.index("")]
    names = [line[: line.index("  ")] if "  " in line else line for line in table[1:]]
    return {name: [cell for cell in line[len(name) :].split() if "[" not in cell] for name, line in zip(names, table[1:])}


def test_a_week() -> None:
    """The daemon asks once, and wakes for the end of its wait and for the answer.  Its module may be up already when
    there is more to look at."""
    done = bench("--only", "horad alone, horad", "--rounds", "1")
    assert (done.returncode, done.stderr) == (0, "")
    assert {name: float(cells[0]) > 0 for name, cells in rows(done.stdout, "from the start").items()} == {
        "horad alone": True, "horad": True}
    week = rows(done.stdout, "7 days")
    assert week["horad alone"][:2] == ["2", "1"]
    assert week["horad"][:2] in (["3", "1"], ["4", "1"])


@pytest.mark.parametrize("name", ["chronyd", "ntpd"])
def test_another(name: str) -> None:
    """It lives in the same time: it asks more than once in a quarter of a day, and is answered."""
    done = bench("--only", name, "--rounds", "1", "--days", "0.25")
    assert (done.returncode, done.stderr) == (0, "")
    (cells,) = rows(done.stdout, "0.25 days").values()
    assert int(cells[0]) > int(cells[1]) > 5


def test_as_it_passes() -> None:
    done = bench("--real", "0.01", "--only", "horad alone", "--rounds", "1")
    assert (done.returncode, done.stderr) == (0, "")
    assert rows(done.stdout, "0.01 minutes")["horad alone"][:2] == ["0", "0"]
    assert rows(done.stdout, "the same, leapt over")["horad alone"][:2] == ["0", "0"]


def test_load() -> None:
    done = bench("--load", "--rounds", "1", "--runs", "3")
    assert (done.returncode, done.stderr) == (0, "")
    for title in ('from "ntp enable"', "from the answer's arrival"):
        table = rows(done.stdout, title)
        left_out = {line.partition(" is left out: ")[0] for line in done.stdout.splitlines() if " is left out: " in line}
        assert left_out in (set(), {variant.name for variant in VARIANTS if variant.weight})
        assert set(table) == {variant.name for variant in VARIANTS} - left_out
        for cells in table.values():
            assert 0 < float(cells[0]) <= float(cells[1]) <= float(cells[2]) <= float(cells[3])


def test_who_is_missing_is_left_out(clone: Clone) -> None:
    done = bench("--build", str(BUILD), "--only", "horad alone,chronyd,ntpd -q", "--rounds", "1", "--days", "0.01",
                 script=clone.folder / "bench" / "daemon")
    assert (done.returncode, done.stderr) == (0, "")
    program = clone.folder / "build" / "deps" / "peers" / "usr" / "sbin" / "chronyd"
    assert f"chronyd is left out: no {program} (unpack it with tools/fetch-peers)\n" in done.stdout
    assert set(rows(done.stdout, "from the start")) == {"horad alone"}


@pytest.mark.parametrize(
    ("arguments", "status", "said"),
    [
        (["--only", "nobody"], 1, 'daemon: nobody is called "nobody"; there are: horad alone; horad; chronyd; '),
        (["--build", "/nonexistent"], 1, "daemon: no /nonexistent/bin/horad: cmake --build --preset release makes it\n"),
        (["--rounds", "0"], 2, "daemon: error: argument --rounds: 0 is not above 0\n"),
        (["--days", "-1"], 2, "daemon: error: argument --days: -1 is not above 0\n"),
        (["--days", "soon"], 2, "daemon: error: argument --days: invalid positive value: 'soon'\n"),
        (["--real", "1", "--load"], 2, "daemon: error: argument --load: not allowed with argument --real\n"),
    ],
)
def test_refused(arguments: list[str], status: int, said: str) -> None:
    done = bench(*arguments)
    assert done.returncode == status
    assert said in done.stderr
