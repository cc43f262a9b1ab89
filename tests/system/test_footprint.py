# SPDX-License-Identifier: GPL-2.0-or-later
"""What the daemon costs a device while it has nothing to do."""
from __future__ import annotations

import os
import re
import subprocess
import time
from pathlib import Path

import pytest

from lab import TIME_FACTOR, Build, Daemon, wait_for
from lab.bench import PRIMARY, START, UNREACHABLE, Bench
from lab.servers.ntp_server import truthful
from lab.servers.packet import timestamp


# Every way to heap memory but libfrr's: C++'s operators and what the C library hands out.
OTHER_MEMORY = re.compile(
    r"_Z(n[wa]|d[la])\w*|(m|c|re|reallocarr|mem|pv|v)alloc|reallocarray|free|posix_memalign|aligned_alloc|memalign"
    r"|strn?dup|v?asprintf|getline|getdelim|open_memstream|s?brk|mmap"
)


def imported(build: Build) -> set[str]:
    """What the daemon's own code needs of libraries."""
    listing = subprocess.run(
        ["nm", "-D", "--undefined-only", str(build.daemon)], check=True, capture_output=True, text=True
    ).stdout
    return {line.split()[-1].partition("@")[0] for line in listing.splitlines()}


def sleeps(daemon: Daemon, task) -> int:
    return daemon.status_field("voluntary_ctxt_switches", task)


def settled(daemon: Daemon):
    """The client thread, once it sleeps for good."""
    task = wait_for("the client thread", lambda: daemon.thread("ntpClient"))

    def quiet() -> bool:
        before = sleeps(daemon, task)
        time.sleep(0.1)
        return sleeps(daemon, task) == before

    wait_for("the client's sleep", quiet)
    return task


@pytest.mark.parametrize("state", ["waiting", "stopped", "failed"])
def test_client_sleeps_through(bench: Bench, state: str) -> None:
    """Not preloaded: this is the real wait, of 30, 604800 and 120 seconds."""
    daemon = bench.polling(UNREACHABLE if state == "failed" else PRIMARY, shim=False)
    if state == "stopped":
        bench.vty(daemon).command("ntp disable")
    task = settled(daemon)
    before = sleeps(daemon, task)
    time.sleep(1.5)
    assert sleeps(daemon, task) == before


def test_event_loop_sleeps_through(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, shim=False)
    settled(daemon)
    before = sleeps(daemon, None)
    time.sleep(1.5)
    assert sleeps(daemon, None) - before <= 2  # the library's own timers


@pytest.mark.plain_build
@pytest.mark.uncounted_build
def test_memory_is_the_librarys(build: Build) -> None:
    """All of it is counted, as "NTP client": the daemon knows no other way to any."""
    names = imported(build)
    assert {"qmalloc", "qfree"} <= names
    assert {name for name in names if OTHER_MEMORY.fullmatch(name)} == set()


def test_memory_is_shown_as_the_daemons(bench: Bench) -> None:
    daemon = bench.daemon(calls=1)
    assert daemon.shim is not None
    session = bench.vty(daemon, "enable")

    def own() -> bytes:
        return session.command("show memory").partition(b"--- qmem NTP deamon's memory ---\r\n")[2]

    assert b"NTP client " not in own()
    daemon.shim.call("zdump_main", "zdump", "-c", "2020,2021", "-v", "Europe/London")
    assert re.search(rb"^NTP client +: +0 ", own(), re.MULTILINE)


@pytest.mark.plain_build
@pytest.mark.uncounted_build
def test_nothing_to_destroy(build: Build) -> None:
    """exit() on one thread takes nothing from under the other."""
    names = imported(build)
    assert "exit" in names
    assert {name for name in names if "atexit" in name or "on_exit" in name} == set()


@pytest.mark.plain_build
@pytest.mark.uncounted_build
def test_cxx_without_its_library(build: Build) -> None:
    """Nothing in the process needs it, and it takes a hundred kB."""
    libraries = [build.folder / "lib" / f"{name}.so"
                 for name in ("libcli_helper", "libconfig_db", "libzone_catalogue", "horad_status")]
    for file in (build.daemon, *libraries):
        listing = subprocess.run(["readelf", "-d", file], check=True, capture_output=True, text=True).stdout
        needed = re.findall(r"\(NEEDED\).*\[(.*)\]", listing)
        assert "libc.so.6" in needed
        assert [name for name in needed if name.startswith(("libstdc++", "libgcc_s", "libc++"))] == []


@pytest.mark.plain_build
def test_memory_at_rest(bench: Bench) -> None:
    daemon = bench.daemon(shim=False)
    # Most of it are pages of libfrr and what that needs.
    assert daemon.status_field("VmRSS") <= (9 if bench.build.libfrr < (9,) else 12) * 1024


def own_memory(daemon: Daemon, mapping: str = "") -> int:
    """Memory that no file holds and nobody shares, in kB: all of it, or a mapping's."""
    text = Path(f"/proc/{daemon.pid}/{'smaps' if mapping else 'smaps_rollup'}").read_text()
    found = re.search(re.escape(mapping) + r"\n(?:\w+:.*\n)*?Anonymous:\s+(\d+) kB", text)
    assert found is not None
    return int(found[1])


@pytest.mark.plain_build
def test_own_memory(bench: Bench) -> None:
    """The library's start-up touches 250 kB of stack: they are given back.  The client thread has no heap of its own."""
    bench.server(answer=truthful(timestamp(START)))
    daemon = bench.polling(PRIMARY)
    assert daemon.shim is not None
    daemon.shim.wait_events("flush")
    assert own_memory(daemon, "[stack]") <= 128
    if bench.build.libfrr < (9,):
        assert own_memory(daemon) <= 1664  # with some of the preloaded library's
    # A heap of a thread's own lies where 64 MB are set aside for it.
    maps = Path(f"/proc/{daemon.pid}/maps").read_text()
    spans = [(int(begin, 16), int(end, 16)) for begin, end in re.findall(r"^(\w+)-(\w+) ---p 0+ 00:00 0 *$", maps, re.MULTILINE)]
    assert [end - begin for begin, end in spans if end - begin > 32 * 2**20] == []


@pytest.mark.plain_build
def test_memory_does_not_grow(bench: Bench) -> None:
    bench.server(answer=truthful(timestamp(START)))
    daemon = bench.polling(PRIMARY)
    assert daemon.shim is not None
    session = bench.vty(daemon)

    shows = ["show ntp", "show ntp json", "show timezone"]
    changes = ["ntp server a b", f"ntp server {PRIMARY} {PRIMARY}"]

    def busy(rounds: int, events: int) -> int:
        for line in (shows + changes) * rounds:
            session.command(line)
        assert daemon.shim is not None
        daemon.shim.skip(events)
        daemon.shim.wait_events("flush", len(daemon.shim.events("flush")) + events, 30)
        return daemon.status_field("VmRSS")

    first = busy(50, 20)
    assert busy(300, 60) - first <= 512


def test_descriptors_do_not_leak(bench: Bench) -> None:
    bench.server(answer=truthful(timestamp(START)))
    daemon = bench.polling(PRIMARY)
    assert daemon.shim is not None
    daemon.shim.wait_events("flush")
    daemon.shim.skip()
    daemon.shim.wait_events("flush", 2)
    wait_for("the wait", lambda: daemon.shim is not None and daemon.shim.events()[-1].name == "select")

    def descriptors() -> int:
        return len(os.listdir(f"/proc/{daemon.pid}/fd"))

    before = descriptors()
    daemon.shim.skip(20)
    daemon.shim.wait_events("flush", 22, 20 * TIME_FACTOR)
    for _ in range(20):
        bench.vty(daemon).close()
    wait_for("the same number of descriptors", lambda: descriptors() == before)
