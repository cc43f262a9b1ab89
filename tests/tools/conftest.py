# SPDX-License-Identifier: GPL-2.0-or-later
"""The scripts, in a copy of the project, with programs of the test's own before the machine's.

    /usr/bin/python3 -m pytest tests/tools

Needs what tools/setup --tests has made in build/deps, of which it takes copies, and the
builds release and tsan.
"""
from __future__ import annotations

import contextlib
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
    """A copy of the project's files, with nothing built in it, in `place`, which goes away with it."""

    def __init__(self, place: Path) -> None:
        self.place = place
        self.folder = folder = place / "clone"
        self.programs = programs = place / "programs"
        temporary = place / "tmp"
        programs.mkdir(parents=True)
        temporary.mkdir()
        self.environment = {name: value for name, value in os.environ.items() if not name.startswith("HORAD_")}
        self.environment["PATH"] = f"{programs}:/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"
        # pytest, too, tidies up there, and would spend minutes on what others left.
        self.environment["TMPDIR"] = str(temporary)
        listed = subprocess.run([PROJECT / "tools" / "files"], check=True, capture_output=True, text=True).stdout
        for name in listed.splitlines():
            (folder / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(PROJECT / name, folder / name)

    def __enter__(self) -> Clone:
        return self

    def __exit__(self, *_: object) -> None:
        """Nothing that the scripts started outlives them.  If something does, it is shown and ended."""
        end = time.monotonic() + 10
        outlived = ""
        while left := self._at_work():
            if time.monotonic() > end:
                outlived = outlived or subprocess.run(
                    ["ps", "-o", "pid,ppid,stat,wchan:20,etime,args", "--pid", ",".join(map(str, left))],
                    capture_output=True, text=True).stdout
                for pid in left:
                    with contextlib.suppress(ProcessLookupError):
                        os.kill(pid, signal.SIGKILL)
            time.sleep(0.01)
        # A hundred of them would be a gigabyte.
        shutil.rmtree(self.place)
        assert not outlived, f"still at work:\n{outlived}"

    def _at_work(self) -> list[int]:
        """The processes that scripts have started and these in turn: all have the clone's environment."""
        mark = f"TMPDIR={self.environment['TMPDIR']}\0".encode()
        found = []
        for process in Path("/proc").glob("[0-9]*"):
            with contextlib.suppress(OSError):
                if mark in (process / "environ").read_bytes():
                    found.append(int(process.name))
        return found

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
        try:
            output, errors = process.communicate(timeout=120)
        except subprocess.TimeoutExpired as late:
            said = b"".join(filter(None, (late.output, late.stderr))).decode(errors="replace")
            raise AssertionError(f"{command} has not ended, and said:\n{said}") from None
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
def clone(tmp_path: Path) -> Iterator[Clone]:
    with Clone(tmp_path) as made:
        yield made


@pytest.fixture
def public_clone() -> Iterator[Clone]:
    """One that every user may read: pytest's folders are the user's own."""
    place = Path(tempfile.mkdtemp())
    place.chmod(0o755)
    with Clone(place) as made:
        yield made


@pytest.fixture(scope="session")
def native() -> str:
    """This machine's architecture."""
    return subprocess.run(["dpkg", "--print-architecture"], check=True, capture_output=True, text=True).stdout.strip()
