# SPDX-License-Identifier: GPL-2.0-or-later
"""The daemon's exchanges on a loaded device, one by one, by the kernel's own stamps."""
from __future__ import annotations

import contextlib
import os
import socket
import struct
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass, field
from pathlib import Path
from typing import Iterator

from lab import kernel
from lab.build import Build
from lab.daemon import VTY_PORT
from lab.hurry import Hurried
from lab.hurry.daemons import SERVER, horad
from lab.hurry.groups import USUAL_WEIGHT, Grouping, control_groups
from lab.servers.ntp_server import Request
from lab.times import wait_for
from lab.vty import Vty
from lab.world import World

_SO_TIMESTAMPNS = 35
_PATIENCE = 20


@dataclass(frozen=True)
class Variant:
    name: str
    loaded: bool = True
    server: str = SERVER
    nice: int = 0
    group_nice: int = 0  # of the kernel's "autogroup", which a service is where it is no control group
    weight: int = 0  # of its control group; the busy ones then have groups of their own, with the usual weight
    real_time: bool = False
    on_disk: bool = False  # the database; the lab's own folders are in memory


VARIANTS = [
    Variant("idle", loaded=False),
    Variant("busy"),
    Variant("busy, database on disk", on_disk=True),
    Variant("busy, server by name", server="ntp1.lab"),
    Variant("busy, nice -10", nice=-10),
    Variant("busy, group nice -10", group_nice=-10),
    Variant("busy, as services", weight=USUAL_WEIGHT),
    Variant("busy, CPUWeight=1000", weight=1000),
    Variant("busy, round robin", real_time=True),
]


@dataclass
class Exchanges:
    """Milliseconds."""

    asked: list[float] = field(default_factory=list)
    answered: list[float] = field(default_factory=list)

    def percentile(self, column: str, percent: int) -> float:
        """The least of them that so many are not above."""
        values = sorted(getattr(self, column))
        return values[-(-len(values) * percent // 100) - 1]


@contextlib.contextmanager
def _busy_processors(count: int, group: Grouping | None) -> Iterator[None]:
    """So many processes that never wait, each in a session of its own, or in a group."""
    command = [sys.executable, "-ISc", "while True: pass"]
    spinning = [subprocess.Popen(command, start_new_session=True, preexec_fn=kernel.die_with_parent)
                for _ in range(count)]
    try:
        for process in spinning if group else []:
            group(process.pid, USUAL_WEIGHT)
        time.sleep(0.3 if count else 0)
        yield
    finally:
        for process in spinning:
            process.kill()
            process.wait()


@contextlib.contextmanager
def before_all_others() -> Iterator[None]:
    """The operator and the server are other machines: they do not wait for this one's processors."""
    os.sched_setscheduler(0, os.SCHED_FIFO | os.SCHED_RESET_ON_FORK, os.sched_param(2))
    try:
        yield
    finally:
        os.sched_setscheduler(0, os.SCHED_OTHER, os.sched_param(0))


def _favour(pid: int, variant: Variant, group: Grouping | None) -> None:
    """What an operator, or systemd, can do for it."""
    if group is not None:
        group(pid, variant.weight)
    if variant.group_nice:
        Path(f"/proc/{pid}/autogroup").write_text(str(variant.group_nice))
    for task in map(int, os.listdir(f"/proc/{pid}/task")):
        if variant.real_time:
            os.sched_setscheduler(task, os.SCHED_RR, os.sched_param(1))
        elif variant.nice:
            os.setpriority(os.PRIO_PROCESS, task, variant.nice)


def _connect(world: World) -> Vty:
    def greeted() -> Vty | None:
        try:
            connection = world.socket("daemon", socket.SOCK_STREAM)
            connection.connect(("127.0.0.1", VTY_PORT))
            return Vty(connection)
        except OSError:
            connection.close()
            return None

    session = wait_for("the daemon's command line", greeted, _PATIENCE)
    assert session is not None
    session.login()
    for command in ("enable", "configure terminal", "ntp terminal"):
        session.command(command)
    return session


def _answer_next(server: socket.socket, run: Hurried) -> int:
    """Answers a request; returns when the kernel received it."""
    data, control, _, sender = server.recvmsg(2048, 256)
    seconds, nanoseconds = struct.unpack("qq", control[0][2])
    request = Request(data, sender, time.monotonic())
    for packet in run.answer(request):
        server.sendto(packet.pack(), sender)  # type: ignore[union-attr]
    return seconds * 10**9 + nanoseconds


def _exchange(session: Vty, server: socket.socket, run: Hurried, found: Exchanges) -> None:
    session.command("ntp disable")
    time.sleep(0.1)  # or what the last one has written would still be on its way to the disk
    last = run.page.set
    typed = time.time_ns()
    session.send(b"ntp enable\n")
    on_wire = _answer_next(server, run)
    wait_for("the step", lambda: run.page.set != last, _PATIENCE)
    session.answer()
    found.asked.append((on_wire - typed) / 1e6)
    found.answered.append((run.page.set - run.page.arrived) / 1e6)


def measure_variant(world: World, build: Build, variant: Variant, runs: int) -> Exchanges | None:
    """None where the machine has no such groups."""
    busy = 2 * (os.cpu_count() or 1) if variant.loaded else 0
    with control_groups() if variant.weight else contextlib.nullcontext() as group:
        if variant.weight and group is None:
            return None
        with _busy_processors(busy, group):
            return _measure(world, build, variant, group, runs)


def _measure(world: World, build: Build, variant: Variant, group: Grouping | None, runs: int) -> Exchanges:
    module = str(build.folder / "lib" / "horad_status.so")
    daemon = horad(build, "-M", module, server=variant.server)
    daemon.prepare(world)
    run = Hurried(world, build, offset=-3600, way=0, stamps=True)
    found = Exchanges()
    with (
        world.socket("servers", socket.SOCK_DGRAM) as server,
        tempfile.TemporaryDirectory(prefix="bench-", dir=build.folder) as disk,
    ):
        server.bind((SERVER, 123))
        server.setsockopt(socket.SOL_SOCKET, _SO_TIMESTAMPNS, 1)
        server.settimeout(_PATIENCE)
        run.start(daemon.command, {"HORAD_CONFIG_DB": f"{disk}/config.db"} if variant.on_disk else {})
        try:
            _answer_next(server, run)
            wait_for("the first step", lambda: run.page.steps > 0, _PATIENCE)
            session = _connect(world)
            assert run.process is not None
            _favour(run.process.pid, variant, group)
            with session, before_all_others():
                for _ in range(runs):
                    _exchange(session, server, run, found)
        finally:
            run.end()
    return found
