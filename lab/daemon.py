# SPDX-License-Identifier: GPL-2.0-or-later
"""Runs the daemon inside the lab."""
from __future__ import annotations

import contextlib
import os
import signal
import socket
import subprocess
from pathlib import Path
from typing import Mapping, Sequence

from .build import Build
from .shim import Shim
from .times import TIME_FACTOR, wait_for
from .vty import PASSWORD, Vty
from .world import World

CONFIG = "/etc/frr/horad.conf"
VTY_PORT = 2705
BASE_CONFIG = f"password {PASSWORD}\n"

# A report of a sanitizer ends the process with a status of its own.  What is
# still held at exit is no leak: the daemon exits without tearing down.
SANITIZER_OPTIONS = {
    "ASAN_OPTIONS": "detect_leaks=0:exitcode=99",
    "TSAN_OPTIONS": "exitcode=99:atexit_sleep_ms=0",
    "UBSAN_OPTIONS": "print_stacktrace=1",
}


class Daemon:
    """One run of the daemon.

    `config` is the text of its configuration file (None: there is none),
    `arguments` come after the program's name, `shim` holds the fakes to preload
    (None: it runs as it is; it still cannot set the machine's clock).
    """

    def __init__(
        self,
        world: World,
        build: Build = Build(),
        *,
        config: str | bytes | None = BASE_CONFIG,
        arguments: Sequence[str] = (),
        environment: Mapping[str, str] | None = None,
        shim: Shim | None = None,
        name: str = "horad",
    ) -> None:
        self.world = world
        self.build = build
        self.shim = shim
        self.arguments = list(arguments)
        self.port = VTY_PORT
        self._stdout = f"/tmp/{name}.stdout"
        self._stderr = f"/tmp/{name}.stderr"
        self._environment = {**SANITIZER_OPTIONS, **(environment or {})}
        self._process: subprocess.Popen[bytes] | None = None
        if isinstance(config, str):
            config = config.encode()
        if config is not None:
            world.path(CONFIG).write_bytes(config)

    def start(self, ready: bool = True) -> Daemon:
        """Starts it and waits until its vty answers (unless `ready` is false)."""
        environment = dict(self._environment)
        if self.shim is not None:
            environment.update(self.shim.environment)
            environment.update(self.build.preload(self.build.shim))
        with self._open(self._stdout) as stdout, self._open(self._stderr) as stderr:
            self._process = self.world.spawn(
                "daemon",
                [*self.build.command(), *self.arguments],
                environment=environment,
                stdout=stdout,
                stderr=stderr,
            )
        if ready:
            wait_for("the daemon's vty", self._answers, 20)
        return self

    def _open(self, inside: str):
        return self.world.path(inside).open("ab", buffering=0)

    def _answers(self) -> bool:
        if not self.running:
            raise AssertionError(f"the daemon ended with status {self.status}: {self.stderr()!r}")
        # A greeting, not only a connection: the daemon listens before it has read
        # its configuration, and greets after that.
        with self.world.socket("daemon", socket.SOCK_STREAM) as probe:
            probe.settimeout(TIME_FACTOR)
            try:
                probe.connect(("127.0.0.1", self.port))
                is_greeted = probe.recv(1) != b""
                # To its end: of one that breaks off the library logs an error, some time later.
                probe.shutdown(socket.SHUT_WR)
                while probe.recv(4096):
                    pass
                return is_greeted
            except OSError:
                return False

    # --- the process

    @property
    def process(self) -> subprocess.Popen[bytes]:
        assert self._process is not None, "the daemon was not started"
        return self._process

    @property
    def pid(self) -> int:
        return self.process.pid

    @property
    def running(self) -> bool:
        return self.process.poll() is None

    @property
    def status(self) -> int | None:
        """Exit status, negative for a signal; None while it runs."""
        return self.process.poll()

    def send_signal(self, number: signal.Signals) -> None:
        self.process.send_signal(number)

    def wait(self, seconds: float = 10) -> int:
        """Waits for its end and returns the exit status."""
        wait_for("the daemon's end", lambda: not self.running, seconds)
        return self.process.wait()

    def stop(self, number: signal.Signals = signal.SIGTERM) -> int:
        """Ends it as its operator would and returns the exit status."""
        if self.running:
            self.send_signal(number)
        return self.wait()

    def kill(self) -> None:
        if self._process is not None:
            self.world.end(self._process)

    def thread(self, name: str) -> Path | None:
        """The /proc folder of a thread of the daemon."""
        for task in Path(f"/proc/{self.pid}/task").iterdir():
            if (task / "comm").read_text().strip() == name:
                return task
        return None

    def open_files(self) -> set[str]:
        """What its descriptors stand for, as the kernel names it; one that is closed meanwhile is left out."""
        files = set()
        for descriptor in Path(f"/proc/{self.pid}/fd").iterdir():
            with contextlib.suppress(FileNotFoundError):
                files.add(os.readlink(descriptor))
        return files

    def status_field(self, name: str, task: Path | None = None) -> int:
        """A number of /proc/PID/status, e.g. "VmRSS" (kB)."""
        text = ((task or Path(f"/proc/{self.pid}")) / "status").read_text()
        line = next(line for line in text.splitlines() if line.startswith(f"{name}:"))
        return int(line.split()[1])

    # --- what it wrote

    def stdout(self) -> bytes:
        return self.world.path(self._stdout).read_bytes()

    def stderr(self) -> bytes:
        return self.world.path(self._stderr).read_bytes()

    def wait_stdout(self, text: bytes, seconds: float = 10) -> bytes:
        """Waits until standard output holds `text`, and returns all of it."""
        return self._wait_output("standard output", self.stdout, text, seconds)

    def wait_stderr(self, text: bytes, seconds: float = 10) -> bytes:
        return self._wait_output("standard error", self.stderr, text, seconds)

    def _wait_output(self, what, read, text: bytes, seconds: float) -> bytes:
        try:
            wait_for(f"{text!r} on {what}", lambda: text in read(), seconds)
        except AssertionError as error:
            raise AssertionError(f"{error}; there is {read()!r}") from None
        return read()

    # --- its command line

    def connect(self) -> Vty:
        """A session as it greets: nothing typed yet."""
        connection = self.world.socket("daemon", socket.SOCK_STREAM)
        connection.settimeout(10 * TIME_FACTOR)
        connection.connect(("127.0.0.1", self.port))
        return Vty(connection)

    def vty(self, node: str = "config-ntp") -> Vty:
        """A session logged in: "view", "enable", "config" or "config-ntp"."""
        session = self.connect()
        session.login()
        steps = {"view": 0, "enable": 1, "config": 2, "config-ntp": 3}[node]
        for command in ("enable", "configure terminal", "ntp terminal")[:steps]:
            session.command(command)
        return session
