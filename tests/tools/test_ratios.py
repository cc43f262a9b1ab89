# SPDX-License-Identifier: GPL-2.0-or-later
"""bench/ratios, with programs that only seem to measure."""
from __future__ import annotations

import json
import subprocess
from pathlib import Path

import pytest

from tests.tools.conftest import PROJECT

PROGRAMS = ("tz_bench", "dump_bench", "discipline_bench")
MEDIAN = {"family_index": 0, "aggregate_name": "median", "run_name": "case/engine", "cpu_time": 12.5, "time_unit": "ns"}

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
    (tmp_path / "bin" / "report").write_text(json.dumps({"benchmarks": [MEDIAN]}))
    for name in PROGRAMS:
        program(tmp_path, name, MEASURES)
    return tmp_path


def ratios(build: Path) -> subprocess.CompletedProcess[str]:
    return subprocess.run([PROJECT / "bench" / "ratios", "--build", build], capture_output=True, text=True)


def test_a_build_below_tmp(build: Path) -> None:
    assert str(build).startswith("/tmp/")
    done = ratios(build)
    assert (done.returncode, done.stderr) == (0, "")
    assert any(line.split() == ["case", "12.5", *"-----"] for line in done.stdout.splitlines())


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
