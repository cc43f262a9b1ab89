# SPDX-License-Identifier: GPL-2.0-or-later
"""The scripts, in a copy of the project, with programs of the test's own before the machine's.

    /usr/bin/python3 -m pytest tests/tools

Needs what tools/setup --tests has made in build/deps, of which it takes copies, and the
builds release and tsan.
"""
from __future__ import annotations

import os
import re
import shutil
import signal
import subprocess
import tempfile
import time
from pathlib import Path
from typing import Iterator

import pytest

PROJECT = Path(__file__).resolve().parents[2]
DEPS = PROJECT / "build" / "deps"
CONTROL = re.compile(r"[\x00-\x09\x0b-\x1f\x7f]")


class Clone:
    """A copy of the project's files, with nothing built in it."""

    def __init__(self, folder: Path, programs: Path) -> None:
        self.folder = folder
        self.programs = programs
        programs.mkdir(parents=True)
        self.environment = {name: value for name, value in os.environ.items() if not name.startswith("HORAD_")}
        self.environment["PATH"] = f"{programs}:/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"
        listed = subprocess.run([PROJECT / "tools" / "files"], check=True, capture_output=True, text=True).stdout
        for name in listed.splitlines():
            (folder / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(PROJECT / name, folder / name)

    @property
    def deps(self) -> Path:
        return self.folder / "build" / "deps"

    def program(self, name: str, script: str) -> None:
        """A program that is found before the machine's own."""
        _write_program(self.programs / name, script)

    def replace(self, name: str, script: str) -> None:
        """One of the project's own scripts."""
        _write_program(self.folder / name, script)

    def start(self, *command: str, before: tuple[str, ...] = (), **more: object) -> subprocess.Popen[str]:
        words = [*before, str(self.folder / command[0]), *command[1:]]
        return subprocess.Popen(words, env=self.environment, cwd="/", stdin=subprocess.DEVNULL, text=True,
                                **{"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **more})

    def run(self, *command: str, before: tuple[str, ...] = (), **more: object) -> subprocess.CompletedProcess[str]:
        process = self.start(*command, before=before, **more)
        output, errors = process.communicate(timeout=120)
        # A log is no terminal.
        assert not CONTROL.search(output or "") and not CONTROL.search(errors or "")
        assert "Traceback" not in (errors or "")
        return subprocess.CompletedProcess(command, process.returncode, output, errors)


def _write_program(path: Path, script: str) -> None:
    path.write_text(f"#!/bin/bash\nset -e\n{script}\n")
    path.chmod(0o755)


def interrupt(process: subprocess.Popen[str], when: Path) -> tuple[str, str]:
    """Ctrl-C, as a terminal sends it to all of them, once a file is there.  Returns what was printed."""
    end = time.monotonic() + 30
    while not when.exists():
        assert time.monotonic() < end and process.poll() is None, process.communicate()
        time.sleep(0.01)
    os.killpg(process.pid, signal.SIGINT)
    return process.communicate(timeout=30)


@pytest.fixture
def clone(tmp_path: Path) -> Clone:
    return Clone(tmp_path / "clone", tmp_path / "programs")


@pytest.fixture
def public_clone() -> Iterator[Clone]:
    """One that every user may read: pytest's folders are the user's own."""
    with tempfile.TemporaryDirectory() as folder:
        Path(folder).chmod(0o755)
        yield Clone(Path(folder, "clone"), Path(folder, "programs"))


@pytest.fixture(scope="session")
def native() -> str:
    """This machine's architecture."""
    return subprocess.run(["dpkg", "--print-architecture"], check=True, capture_output=True, text=True).stdout.strip()
