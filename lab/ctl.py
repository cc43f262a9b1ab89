# SPDX-License-Identifier: GPL-2.0-or-later
"""Runs horadctl in the lab, beside the daemon."""
from __future__ import annotations

import json
import subprocess
from dataclasses import dataclass
from typing import Any, Mapping, Sequence

from .build import Build
from .daemon import SANITIZER_OPTIONS
from .times import TIME_FACTOR
from .world import World

# Where the tests' daemons have it: the unit's folder.
SOCKET_FOLDER = "/run/horad"
SOCKET = f"{SOCKET_FOLDER}/horad.vty"


def socket_at(world: World, folder: str = SOCKET_FOLDER) -> list[str]:
    """The daemon's options for a socket in a folder, which is made."""
    world.path(folder).mkdir(parents=True, exist_ok=True)
    return ["--vty_socket", folder]


def with_module(world: World, build: Build) -> list[str]:
    """The same, and the module that shows the client's state."""
    return [*socket_at(world), "-M", str(build.folder / "lib" / "horad_status.so")]


_INPUT, _STDOUT, _STDERR = "/tmp/ctl.input", "/tmp/ctl.stdout", "/tmp/ctl.stderr"


@dataclass(frozen=True)
class Told:
    """What one run told."""

    status: int
    stdout: str
    stderr: str

    @property
    def json(self) -> Any:
        return json.loads(self.stdout)


class Ctl:
    """One run at a time; runs in a folder of the lab, with the daemon's network."""

    def __init__(self, world: World, build: Build) -> None:
        self.world = world
        self.program = [*build.emulator, str(build.folder / "bin" / "horadctl")]

    def start(
        self,
        *words: str,
        input: str | bytes = "",
        before: Sequence[str] = (),
        redirect: str = "",
        environment: Mapping[str, str] | None = None,
    ) -> subprocess.Popen[bytes]:
        """Starts it; `before` is a command that starts it, `redirect` the shell's words."""
        self.world.path(_INPUT).write_bytes(input if isinstance(input, bytes) else input.encode())
        script = f'exec "$@" <{_INPUT} >{_STDOUT} 2>{_STDERR} {redirect}'
        return self.world.spawn(
            "daemon",
            ["sh", "-c", script, "sh", *before, *self.program, *words],
            environment={**SANITIZER_OPTIONS, **(environment or {})},
        )

    def told(self, process: subprocess.Popen[bytes], seconds: float = 20) -> Told:
        """Waits for its end."""
        try:
            status = process.wait(seconds * TIME_FACTOR)
        finally:
            self.world.end(process)
        return Told(status, self.world.path(_STDOUT).read_text(), self.world.path(_STDERR).read_text())

    def __call__(self, *words: str, **options: Any) -> Told:
        return self.told(self.start(*words, **options))


# Types keys at a terminal of the program's, each when the former ones are echoed and answered.
TYPIST = """
import os, pty, select, sys, time
pid, terminal = pty.fork()
if pid == 0:
    os.environ["TERM"] = "xterm"
    os.execv(sys.argv[2], sys.argv[2:])
def read_until_quiet(first):
    heard, wait = b"", first
    while select.select([terminal], [], [], wait)[0]:
        try:
            piece = os.read(terminal, 65536)
        except OSError:
            break
        if not piece:
            break
        heard, wait = heard + piece, 0.3
    return heard
quiet = float(sys.argv[1])
screen = read_until_quiet(5)
for keys in sys.stdin.buffer.read().split(b"|"):
    os.write(terminal, keys)
    screen += b"\\n--\\n" + read_until_quiet(quiet)
os.close(terminal)
sys.stdout.buffer.write(screen)
sys.stdout.flush()
sys.exit(os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1]))
"""


def type_at_terminal(
    ctl: Ctl, *keys: str, words: Sequence[str] = (), quiet: float = 1.5, environment: Mapping[str, str] | None = None
) -> tuple[int, list[str]]:
    """The status, and what the terminal showed at first and after each of `keys`."""
    typist = ["/usr/bin/python3", "-c", TYPIST, str(quiet * TIME_FACTOR)]
    told = ctl(*words, input="|".join(keys), before=typist, environment=environment)
    assert told.stderr == ""
    return told.status, told.stdout.replace("\r\n", "\n").split("\n--\n")
