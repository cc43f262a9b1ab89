# SPDX-License-Identifier: GPL-2.0-or-later
"""What the guide's sessions are played on: the lab, with names, a clock and servers that do not change."""
from __future__ import annotations

import os
import re
import subprocess
from typing import Iterator

from lab import TIME_FACTOR, Daemon, Shim, wait_for
from lab.bench import UNREACHABLE, Bench
from lab.servers.ntp_server import Answer, Datagrams, NtpServer, Request
from lab.servers.packet import Packet, unpack

# The third one is no one's address, and no route leads there.
ADDRESSES = {"ntp1.example.net": "10.77.0.1", "ntp2.example.net": "10.77.0.2", "ntp3.example.net": UNREACHABLE}
NAMES = {address: name for name, address in ADDRESSES.items()}
FIRST, SECOND, NO_ROUTE = ADDRESSES

LOGIN = "hostname olt\npassword 8x4ra\n"
START = 1795418580  # 2026-11-23 07:23:00 UTC, by a device whose clock is 37 minutes slow
SLOW = 37 * 60 + 0.25
ON_TIME = 0.0013

# The library's version is no part of what is shown.
VERSION = re.compile(r"(?<=version )[0-9][^)\s]*")

Sessions = Iterator[tuple[str, str]]


def configured(*servers: str, before: str = "") -> str:
    return f"{LOGIN}{before}ntp terminal\n ntp server {' '.join(servers)}\n ntp enable\n"


def readable(text: bytes) -> str:
    """As a terminal shows it, without blanks at the ends of lines."""
    shown = VERSION.sub("8.x", text.decode().replace("\r", ""))
    return re.sub(r" +$", "", shown, flags=re.MULTILINE)


def ahead(seconds: float) -> Answer:
    """A server 8.4 ms away whose clock is that far ahead of the device's.

    The device's clock stands still: the echoed time stamp tells of the way.
    """
    unit = 2**32
    delay, held, offset = int(0.0084 * unit), int(0.0002 * unit), int(seconds * unit)

    def answer(request: Request) -> Datagrams:
        whole, fraction = unpack(request.data).transmit
        sent = whole * unit + fraction
        received = sent + offset - (delay + held) // 2
        originate, receive, transmit = (divmod(time, unit) for time in (sent - delay, received, received + held))
        return [Packet(originate=originate, receive=receive, transmit=transmit, root_dispersion=2000)]

    return answer


class Terminal:
    """An operator's session, with all that the daemon shows in it."""

    _TURN = re.compile(rb"(?:^|\n)(?:olt[^ \n]*[>#]|Password:) $")

    def __init__(self, daemon: Daemon) -> None:
        self._session = daemon.connect()
        self._shown = b""
        self._wait()

    def _wait(self) -> None:
        self._shown += self._session.read_until(self._TURN)

    def type(self, *lines: str) -> Terminal:
        for line in lines:
            self._session.send(line.encode() + b"\n")
            self._wait()
        return self

    def shown(self) -> str:
        """What came since the last time; the prompt stays for what is typed next."""
        prompt = self._shown.rfind(b"\n") + 1
        text, self._shown = self._shown[:prompt], self._shown[prompt:]
        return readable(text)


def ntp_node(daemon: Daemon) -> Terminal:
    terminal = Terminal(daemon).type("8x4ra", "enable", "configure terminal", "ntp")
    terminal.shown()
    return terminal


class Output:
    """What the daemon itself prints from now on (or since it was started).

    Without empty lines, as the journal shows it, and without the library's dated log.
    """

    _LOG = re.compile(r"\d{4}/\d\d/\d\d ")

    def __init__(self, daemon: Daemon, since_start: bool = False) -> None:
        self._sources = [(read, 0 if since_start else len(read())) for read in (daemon.stdout, daemon.stderr)]

    def _lines(self) -> list[str]:
        finished = [readable(read()[start:]).rpartition("\n")[0] for read, start in self._sources]
        lines = [line.strip() for text in finished for line in text.splitlines()]
        return [line for line in lines if line and not self._LOG.match(line)]

    def lines(self, count: int) -> list[str]:
        """All of it, once there are so many lines."""
        wait_for(f"{count} lines of output", lambda: len(self._lines()) >= count)
        return [f"{line}\n" for line in self._lines()]

    def text(self, count: int = 1) -> str:
        return "".join(self.lines(count))


class Stage(Bench):
    """The lab, with a daemon and its servers as a session needs them."""

    def play(
        self, config: str | None, scale: float = 1, arguments: list[str] | None = None, **settings: float | str
    ) -> tuple[Daemon, Shim]:
        """Starts a daemon; with None it reads what the last one has written."""
        daemon = self.daemon(
            config, arguments=arguments, scale=scale, clock_frozen=START, adjtimex_freq=16 << 16, **settings
        )
        assert daemon.shim is not None
        return daemon, daemon.shim

    def serve(self, name: str, answer: Answer) -> NtpServer:
        return self.server(ADDRESSES[name], answer)

    def shell(self, *commands: str) -> str:
        """Commands typed at the device's own prompt."""
        shown = []
        for command in commands:
            both = {"stdout": subprocess.PIPE, "stderr": subprocess.STDOUT}
            # In a chroot the lab's processes start in a folder that they cannot name.
            path = f"PATH={self.build.folder / 'bin'}:{os.environ['PATH']}"
            shell = ["env", "--chdir=/", path, "sh", "-c", command]
            output, _ = self.world.spawn("daemon", shell, **both).communicate(timeout=10 * TIME_FACTOR)
            shown.append(f"# {command}\n{readable(output)}")
        return "".join(shown)


def requests(shim: Shim, count: int, unit: str, seconds: int = 1) -> str:
    """When and to whom the first requests went; the lab keeps account of the daemon's waits."""
    sent = shim.requests(count)[:count]
    return "".join(f"{int(one.waited / seconds):5} {unit}  {NAMES[one['address']]}\n" for one in sent)
