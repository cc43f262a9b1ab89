# SPDX-License-Identifier: GPL-2.0-or-later
"""What a daemon under load is measured by, and how long a load lasts."""
from __future__ import annotations

import os
import socket
import time
from dataclasses import dataclass
from pathlib import Path
from typing import Iterator, Sequence

from lab import DAEMON_ADDRESS, Daemon, World, wait_for

# What a measured part of a test may add to the resident memory, in kB.  Its loads
# are so large that the smallest leak there is, a block of 32 bytes for each of
# their units, adds more than twice as much; less is the allocator's own padding.
FLAT = 256


def rounds(count: int) -> Iterator[int]:
    """Numbers the rounds of a load: `count`, or as many as HORAD_SOAK seconds take."""
    end = time.monotonic() + float(os.environ.get("HORAD_SOAK", "0"))
    number = 0
    while number < count or time.monotonic() < end:
        yield number
        number += 1


def measured(what: str, **figures: float | str) -> None:
    """Shows figures for docs/robustness.md (pytest -s or -rP); nothing is asserted of them."""
    shown = [f"{name} {f'{value:,.1f}' if isinstance(value, float) else value}" for name, value in figures.items()]
    print(f"measured: {what}: {', '.join(shown)}")


def memory(daemon: Daemon) -> int:
    """Resident memory in kB."""
    return daemon.status_field("VmRSS")


def descriptors(daemon: Daemon) -> int:
    return len(os.listdir(f"/proc/{daemon.pid}/fd"))


def resting_descriptors(daemon: Daemon) -> int:
    """The fewest of some looks: a session may just be ending, and the preloaded library reads its settings."""
    counts = []
    for _ in range(10):
        counts.append(descriptors(daemon))
        time.sleep(0.02)
    return min(counts)


def client(daemon: Daemon) -> Path:
    """The /proc folder of the client thread."""
    task = wait_for("the client thread", lambda: daemon.thread("ntpClient"))
    assert task is not None
    return task


def state(task: Path) -> str:
    """Of a thread: "R" runs, "S" sleeps."""
    return (task / "stat").read_text().rsplit(")", 1)[1].split()[0]


def processor_seconds(task: Path) -> float:
    """What a thread has used of a processor so far."""
    times = (task / "stat").read_text().rsplit(")", 1)[1].split()[11:13]
    return sum(map(int, times)) / os.sysconf("SC_CLK_TCK")


@dataclass(frozen=True)
class Received:
    """What became of datagrams that reached the daemon's machine."""

    read: int
    dropped: int  # no room left in the socket's buffer

    def __sub__(self, other: Received) -> Received:
        return Received(self.read - other.read, self.dropped - other.dropped)


def received(daemon: Daemon) -> Received:
    lines = Path(f"/proc/{daemon.pid}/net/snmp").read_text().splitlines()
    names, values = (line.split() for line in lines if line.startswith("Udp:"))
    counters = dict(zip(names, values))
    return Received(int(counters["InDatagrams"]), int(counters["RcvbufErrors"]))


def unread_bytes(daemon: Daemon) -> int:
    """What waits in the client's socket, as the kernel reckons it."""
    for line in Path(f"/proc/{daemon.pid}/net/udp").read_text().splitlines():
        words = line.split()
        if words[1].endswith(":007B"):
            return int(words[4].split(":")[1], 16)
    raise AssertionError("the client has no socket")


class Flood:
    """Sends datagrams to the client from one of the servers' addresses, as fast as it can."""

    def __init__(self, world: World, address: str) -> None:
        self._socket = world.socket("servers", socket.SOCK_DGRAM)
        self._socket.bind((address, 0))
        self._socket.connect((DAEMON_ADDRESS, 123))

    def __enter__(self) -> Flood:
        return self

    def __exit__(self, *_: object) -> None:
        self._socket.close()

    def send(self, datagrams: Sequence[bytes]) -> None:
        for datagram in datagrams:
            self._socket.send(datagram)

    def overrun(self, daemon: Daemon, datagrams: Sequence[bytes]) -> Received:
        """Sends without regard, and waits until each is read or dropped."""
        before = received(daemon)
        self.send(datagrams)

        def passed() -> bool:
            now = received(daemon) - before
            return now.read + now.dropped >= len(datagrams)

        wait_for("the end of a flood", passed, 30)
        return received(daemon) - before

    def pour(self, daemon: Daemon, datagrams: Sequence[bytes]) -> None:
        """Sends no faster than the daemon reads: none is dropped.  Nothing else may come meanwhile."""
        before = received(daemon)
        for sent in range(0, len(datagrams), 40):
            part = datagrams[sent : sent + 40]
            self.send(part)
            wait_for("room for more", lambda: (received(daemon) - before).read >= sent + len(part))
        assert received(daemon) - before == Received(len(datagrams), 0)
