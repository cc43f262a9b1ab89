# SPDX-License-Identifier: GPL-2.0-or-later
"""bench/ratios, with programs that only seem to measure."""
from __future__ import annotations

import json
import subprocess
from pathlib import Path

import pytest

from tests.tools.conftest import PROJECT

PROGRAMS = ("tz_bench", "dump_bench", "discipline_bench")


def repetition(run_name: str, time: float) -> dict[str, object]:
    return {"family_index": 0, "run_type": "iteration", "run_name": run_name, "cpu_time": time, "time_unit": "us"}


REPETITIONS = [*(repetition("load_zone/engine", time) for time in (2.2, 2, 1.8, 2, 9)),
               *(repetition("load_zone/c_library", time) for time in (1.5, 1.5)),
               {"family_index": 0, "run_type": "aggregate", "run_name": "load_zone/engine"}]

# Nothing that is in /tmp can be seen by it any more, this folder included.
MEASURES = """
for word; do case $word in --benchmark_out=*) export out=${word#*=} ;; esac; done
exec 9<"$(dirname "$0")/report"
exec unshare --mount sh -c 'mount -t tmpfs none /tmp && cat <&9 >$out'
"""


def program(build: Path, name: str, script: str) -> None:
    path = build / "bin" / name
    path.write_text(f"#!/bin/bash\n{script}")
    path.chmod(0o755)


@pytest.fixture
def build(tmp_path: Path) -> Path:
    (tmp_path / "bin").mkdir()
    (tmp_path / "bin" / "report").write_text(json.dumps({"benchmarks": REPETITIONS}))
    for name in PROGRAMS:
        program(tmp_path, name, MEASURES)
    return tmp_path


def ratios(build: Path, *words: str) -> subprocess.CompletedProcess[str]:
    return subprocess.run([PROJECT / "bench" / "ratios", "--build", build, *words], capture_output=True, text=True)


def test_a_build_below_tmp(build: Path) -> None:
    assert str(build).startswith("/tmp/")
    done = ratios(build)
    assert (done.returncode, done.stderr) == (0, "")
    assert "load_zone 2000.0 ±10 % 1500.0 ±0 % - - 0.75 -".split() in [line.split() for line in done.stdout.splitlines()]


def test_a_target_missed(build: Path) -> None:
    """Said in any case; the result tells when asked, and by a factor when that is asked."""
    missed = "missed: load_zone: 0.75 times as fast as the C library, not 1.0\n"
    assert ratios(build).stdout.endswith(missed)
    assert ratios(build).returncode == 0
    assert ratios(build, "--check").returncode == 1
    by_a_factor = ratios(build, "--check", "1.5")
    assert by_a_factor.returncode == 0
    assert "missed" not in by_a_factor.stdout


def test_a_program_that_fails(build: Path) -> None:
    """What it says is shown, and nothing else."""
    program(build, "dump_bench", "echo made up; echo and why >&2; exit 7")
    failed = ratios(build)
    assert failed.returncode == 1
    assert failed.stderr == f"made up\nand why\nratios: {build}/bin/dump_bench failed, status 7\n"


def test_no_programs(build: Path) -> None:
    (build / "bin" / "tz_bench").unlink()
    failed = ratios(build)
    assert failed.returncode == 1
    assert "No such file" in failed.stderr and "Traceback" not in failed.stderr


def test_the_same_environment_for_everybody(build: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    """A shell's many variables would be most of what a conversion by its plain name takes."""
    for number in range(50):
        monkeypatch.setenv(f"HORAD_TESTS_{number}", "")
    program(build, "tz_bench", f"env | wc -l >{build}/variables\n{MEASURES}")
    assert ratios(build).returncode == 0
    assert 5 < int((build / "variables").read_text()) < 15
