# SPDX-License-Identifier: GPL-2.0-or-later
"""Scenarios: the database of steps and changes."""
from __future__ import annotations

import contextlib
import subprocess
from typing import Callable, Iterator

from lab import Daemon
from lab.bench import PRIMARY, START, Bench
from lab.database import DATABASE, HOLD, rows
from lab.servers.ntp_server import NtpServer, once, truthful
from lab.servers.packet import timestamp
from .client import STEPPED
from .fault import QUICK, STEP, Fault, heard, steps, switched, wait_faults, wait_step


def step_with(bench: Bench, fault: Fault) -> tuple[Daemon, NtpServer, list[str]]:
    """A step, while something is wrong."""
    server = bench.server()
    daemon = bench.polling(PRIMARY, scale=QUICK, clock_frozen=START)
    assert daemon.shim is not None
    shim = daemon.shim
    shim.requests(1)
    fault.begin(shim)
    server.answer = once(truthful(timestamp(START + STEP)))
    wait_step(shim)
    wait_faults(daemon, fault)
    (result,) = (event["result"] for event in shim.events("diff_time_done"))
    session = bench.vty(daemon)
    assert steps(shim) == 1
    return daemon, server, [
        STEPPED,
        "step stored" if result == 0 else "step not stored",
        *heard(daemon, fault),
        switched(session),
    ]


def database(bench: Bench, fault: Fault) -> list[str]:
    """A step of the clock, while a call fails that SQLite makes for the database's files."""
    daemon, server, found = step_with(bench, fault)
    assert daemon.shim is not None
    fault.end(daemon.shim)
    return [*found, next_step(bench, daemon, server)]


def next_step(bench: Bench, daemon: Daemon, server: NtpServer) -> str:
    assert daemon.shim is not None
    server.answer = once(truthful(timestamp(START + STEP)))
    daemon.shim.skip()
    result = daemon.shim.wait_events("diff_time_done", 2)[1]["result"]
    assert result == 0, daemon.stderr()
    assert rows(bench.world, "SELECT diff FROM clock_step ORDER BY seq")[-1] == (0,)
    ((changes,),) = rows(bench.world, "SELECT count(*) FROM change_log")
    return f"afterwards: all stored, {changes} of 2 changes in the log"


def inside(bench: Bench, *command: str) -> None:
    """Runs a command in the lab's folders."""
    process = bench.world.spawn("daemon", command)
    assert process.wait() == 0, command


FOLDER = "/var/lib/horad"


def useless(bench: Bench, fault: Fault) -> list[str]:
    """A step of the clock, while the database's file is useless from the start."""
    with TROUBLES[fault.what](bench) as end:
        daemon, server, found = step_with(bench, fault)
        end()
        return [*found, next_step(bench, daemon, server)]


Trouble = Iterator[Callable[[], object]]


@contextlib.contextmanager
def mounted(bench: Bench, options: str) -> Iterator[None]:
    """A file system of its own for the database."""
    bench.world.path(FOLDER).mkdir()
    inside(bench, "mount", "-t", "tmpfs", "-o", options, "faults", FOLDER)
    try:
        yield
    finally:
        inside(bench, "umount", "-l", FOLDER)


@contextlib.contextmanager
def read_only(bench: Bench) -> Trouble:
    with mounted(bench, "ro"):
        yield lambda: inside(bench, "mount", "-o", "remount,rw", FOLDER)


@contextlib.contextmanager
def full(bench: Bench) -> Trouble:
    with mounted(bench, "size=64k"):
        filler = bench.world.path(f"{FOLDER}/filler")
        filler.write_bytes(bytes(64 << 10))
        yield filler.unlink


@contextlib.contextmanager
def locked(bench: Bench) -> Trouble:
    bench.world.path(FOLDER).mkdir()
    holder = bench.world.spawn(
        "daemon", ["/usr/bin/python3", "-c", HOLD, DATABASE], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL
    )
    assert holder.stdout is not None
    with holder.stdout:
        try:
            assert holder.stdout.readline() == b"held\n"
            yield lambda: bench.world.end(holder)
        finally:
            bench.world.end(holder)


@contextlib.contextmanager
def corrupt(bench: Bench) -> Trouble:
    bench.world.path(FOLDER).mkdir()
    file = bench.world.path(DATABASE)
    file.write_bytes(b"no database at all" * 1000)
    yield file.unlink


@contextlib.contextmanager
def folder(bench: Bench) -> Trouble:
    bench.world.path(DATABASE).mkdir(parents=True)
    yield bench.world.path(DATABASE).rmdir


@contextlib.contextmanager
def no_folder(bench: Bench) -> Trouble:
    bench.world.path(FOLDER).write_text("in its place")
    yield bench.world.path(FOLDER).unlink


TROUBLES = {
    "on a read-only file system": read_only,
    "on a full disk": full,
    "locked by another program": locked,
    "no database, but something else": corrupt,
    "a folder": folder,
    "below something that is no folder": no_folder,
}
