# SPDX-License-Identifier: GPL-2.0-or-later
"""Any time daemon in the lab, with a clock that it may set, and a week that passes in seconds.

The library that is preloaded for it is beside this file; hurry.h tells what it does.
"""
from __future__ import annotations

import ctypes
import mmap
import subprocess
import sys
import time
from pathlib import Path
from typing import Mapping, Sequence

from lab.build import Build
from lab.servers.ntp_server import Answer, Request
from lab.servers.packet import UNIX_EPOCH, Packet, Timestamp, unpack
from lab.world import World

PLAIN, HOLD, LEAP = range(3)

# The last step on the way to the daemon: whatever it takes to get there is not its own time.
_START = """
import os, sys, time
variables = dict(os.environ, LD_PRELOAD=sys.argv[1])
with open(sys.argv[2], "w") as file:
    file.write(str(time.monotonic_ns()))
os.execve(sys.argv[3], sys.argv[3:], variables)
"""


class Page(ctypes.Structure):
    """What library and bench share: "struct page" of hurry.h."""

    _fields_ = [
        *((name, ctypes.c_int64) for name in ("mode", "until", "skipped", "sleeps", "anchor", "shown")),
        *((name, ctypes.c_double) for name in ("drift", "frequency")),
        *((name, ctypes.c_int64) for name in (
            "tick", "steps", "adjustments", "commands", "first_step", "stamps", "sent", "arrived", "set")),
    ]


class Hurried:
    """One run of a daemon in a world.

    Its clock starts `offset` seconds wrong and gains `drift` microseconds in a second; the
    way to its server and back takes `way` seconds.
    """

    def __init__(self, world: World, build: Build, *, mode: int = PLAIN, offset: float = 0, drift: float = 0,
                 way: float = 0.001, stamps: bool = False) -> None:
        self.world = world
        self._library = build.folder / "lib" / "libhurry.so"
        self._folder = "/tmp/hurry"
        world.path(self._folder).mkdir(exist_ok=True)
        path = self.path("page")
        path.write_bytes(bytes(ctypes.sizeof(Page)))
        with path.open("r+b") as file:
            self.page = Page.from_buffer(mmap.mmap(file.fileno(), ctypes.sizeof(Page)))
        now = time.monotonic_ns()
        self._way = way
        # Stepped or not, the machine's clock is not looked at again.
        self._true = time.time_ns() - now
        page = self.page
        page.mode, page.anchor, page.shown = mode, now, self._true + now + round(offset * 1e9)
        page.drift, page.tick, page.stamps = drift, 10000, stamps
        self.process: subprocess.Popen[bytes] | None = None

    def path(self, name: str) -> Path:
        return self.world.path(f"{self._folder}/{name}")

    def start(self, command: Sequence[str], environment: Mapping[str, str] | None = None) -> None:
        with self.path("log").open("wb") as log:
            self.process = self.world.spawn(
                "daemon",
                [sys.executable, "-ISc", _START, str(self._library), f"{self._folder}/started", *command],
                environment={**(environment or {}), "HURRY": f"{self._folder}/page"},
                stdout=log, stderr=subprocess.STDOUT,
            )

    def end(self) -> None:
        if self.process is not None:
            self.world.end(self.process)

    def log(self) -> str:
        return self.path("log").read_text(errors="replace")

    # --- time

    def passed(self) -> int:
        """Nanoseconds, as the library reckons them."""
        return time.monotonic_ns() + self.page.skipped

    def true_time(self) -> int:
        return self._true + self.passed()

    def started(self) -> int:
        """When the daemon was started, by the machine's monotonic clock."""
        return int(self.path("started").read_text())

    def leap(self, seconds: float) -> None:
        """Begins to leap over so much time; `leaping` tells when it is over."""
        self.page.until = self.passed() + round(seconds * 1e9)
        self.page.mode = LEAP

    @property
    def leaping(self) -> bool:
        return self.page.mode == LEAP

    # --- what it costs

    def processor_ns(self) -> int:
        """What its threads have used of a processor so far."""
        assert self.process is not None
        tasks = Path(f"/proc/{self.process.pid}/task").iterdir()
        return sum(int((task / "schedstat").read_text().split()[0]) for task in tasks)

    def switches(self) -> int:
        """How often one of its threads gave up a processor to wait."""
        assert self.process is not None
        total = 0
        for task in Path(f"/proc/{self.process.pid}/task").iterdir():
            lines = (task / "status").read_text().splitlines()
            total += next(int(line.split()[1]) for line in lines if line.startswith("voluntary_ctxt_switches:"))
        return total

    def memory_kb(self) -> tuple[int, int]:
        """Resident memory, and how much of it is its own: what no file holds and nobody shares."""
        assert self.process is not None
        lines = Path(f"/proc/{self.process.pid}/smaps_rollup").read_text().splitlines()[1:]
        sizes = {name.rstrip(":"): int(size) for name, size, _ in (line.split() for line in lines)}
        return sizes["Rss"], sizes["Anonymous"]

    # --- the server's side

    def _stamp(self, unix_ns: int) -> Timestamp:
        return (unix_ns // 10**9 + UNIX_EPOCH) % 2**32, unix_ns % 10**9 * 2**32 // 10**9

    @property
    def answer(self) -> Answer:
        """A sound server that knows the time, a millisecond away: long enough to be waited for."""

        def answered(request: Request) -> Sequence[Packet]:
            asked = unpack(request.data)
            time.sleep(self._way)
            since = time.monotonic() - request.time
            now = self.true_time()
            return [Packet(
                version=asked.version, poll=asked.poll, root_delay=66, root_dispersion=66, reference_id=0x7F7F0101,
                originate=asked.transmit, reference=self._stamp(now - 10**10),
                receive=self._stamp(now - round((since - self._way / 2) * 1e9)),
                transmit=self._stamp(now - round(self._way / 2 * 1e9)),
            )]

        return answered
