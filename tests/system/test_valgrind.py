# SPDX-License-Identifier: GPL-2.0-or-later
"""An operator's whole session under memcheck."""
from __future__ import annotations

import subprocess

import pytest

from lab import PROJECT, TIME_FACTOR, Build


@pytest.mark.plain_build
def test_session_under_valgrind(build: Build) -> None:
    command = ["/usr/bin/python3", "-m", "lab.valgrind_session", str(build.folder)]
    done = subprocess.run(command, cwd=PROJECT, capture_output=True, text=True, timeout=120 * TIME_FACTOR)
    print(done.stdout, done.stderr)
    assert done.returncode == 0
    assert "ERROR SUMMARY: 0 errors" in done.stdout
