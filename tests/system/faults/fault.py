# SPDX-License-Identifier: GPL-2.0-or-later
"""One call that fails, and what the daemon is seen to do meanwhile."""
from __future__ import annotations

import re
from dataclasses import dataclass
from typing import Callable

from lab import Daemon, Shim, Timeout, Vty, wait_for
from lab.shim import failing
from lab.bench import Bench

ONCE, ALWAYS = "once", "always"

STEP = 1234
JULY = 1594771200  # 2020-07-15 00:00:00 UTC
WEEK = 604800
QUICK = 0.001  # a wait of 120 s takes 120 ms
FLOOD = 100  # more failures than there can be with a pause between them

Texts = tuple[str, ...]


@dataclass(frozen=True)
class Fault:
    call: str
    error: str
    often: str
    scenario: Callable[[Bench, "Fault"], list[str]]
    expected: Texts
    after: int | str = 0  # an event before it
    failures: int = 1  # to wait for
    what: str = ""  # for the reader, instead of the call
    watch: str = ""  # files whose calls fail, beside those of the zone

    @property
    def name(self) -> str:
        """For the reader."""
        what = self.what or CALLS.get(self.call, f"`{self.call}`")
        return f"{what}: {self.error}" if self.error and self.error != "IN_PART" else what

    @property
    def title(self) -> str:
        """What the daemon does meanwhile."""
        return (self.scenario.__doc__ or "").partition("\n")[0].rstrip(".")

    def __str__(self) -> str:
        words = (self.scenario.__name__, self.call, self.error, self.often, self.what)
        return "-".join(re.sub(r"\W+", "_", word).strip("_") for word in words if word)

    @property
    def setting(self) -> dict[str, float | str]:
        """For a daemon that is to meet the fault from its start."""
        if not self.call:
            return {}
        return {"faults": 1, **self._watching, **failing(self.call, self.error, *self._times)}

    def begin(self, shim: Shim) -> None:
        if self.call:
            shim.set(faults=1, **self._watching)
            shim.fail(self.call, self.error, *self._times)

    @property
    def _watching(self) -> dict[str, float | str]:
        return {"watch": self.watch} if self.watch else {}

    @property
    def _times(self) -> tuple[int, ...]:
        return (1, self.after) if self.often == ONCE else ()

    def end(self, shim: Shim) -> None:
        shim.set(**{f"{self.call}_errno": 0})


CALLS = {
    "gethostbyname": "`gethostbyname` of the server",
    "pipe_send": "`send` to the client",
    "pipe_read": "`read` of a signal by the client",
    "sleep": "`nanosleep`",
    "qmalloc": "`malloc` of a zone object",
    "fsync": "`fdatasync`, `fsync`",
    "pread": "`pread`",
}


# --- what is observed

SILENT = "prints nothing"
STATISTICS = re.compile(rb"\d+ \d{5}\.\d{3} ( +-?\d+(\.\d)?){5}")


def lines_of(text: bytes) -> list[str]:
    """The one message that has no end of line counts as one all the same."""
    *lines, begun = [line.strip(b"\r") for line in text.replace(b"error..!", b"error..!\n").split(b"\n")]
    # In the middle of a flood the last one is still being written.
    if not any(line.startswith(begun) for line in lines):
        lines.append(begun)
    return [line.decode() for line in lines if line and not STATISTICS.fullmatch(line)]


def said(stdout: bytes, stderr: bytes) -> list[str]:
    """What was printed, but for the line about a step."""
    found = []
    for stream, text in (("stdout", stdout), ("stderr", stderr)):
        lines = lines_of(text)
        for line in dict.fromkeys(lines):
            count = lines.count(line)
            often = "" if count == 1 else " without a pause" if count >= FLOOD // 2 else " each time"
            found.append(f"{stream} `{line}`{often}")
    return found or [SILENT]


def in_debian_12(fault: Fault, text: str) -> str:
    """What newer libraries say otherwise, as it is expected: libfrr names the program, SQLite keeps the cause."""
    if fault.call == "fsync":
        text = text.replace("disk I/O error (Input/output error)", "disk I/O error")
    return text.replace("`horad: showing active allocations", "`log: showing active allocations")


def heard(daemon: Daemon, fault: Fault) -> list[str]:
    """What the daemon has printed.

    The failure is seen before the line about it, so this waits for all expected lines.
    """

    def now() -> list[str]:
        return [in_debian_12(fault, text) for text in said(daemon.stdout(), daemon.stderr())]

    wanted = {text for text in fault.expected if text.startswith(("stdout `", "stderr `"))}
    try:
        wait_for("what is printed", lambda: wanted <= {*now()})
    except Timeout:
        pass  # the comparison tells what is missing
    return now()


def switched(session: Vty) -> str:
    return "NTP off" if b"disable" in session.command("show ntp") else "NTP on"


def steps(shim: Shim) -> int:
    return sum(event["result"] == 0 for event in shim.events("settimeofday"))


def wait_faults(daemon: Daemon, fault: Fault) -> Shim:
    assert daemon.shim is not None
    if fault.call:
        daemon.shim.wait_events("fault", fault.failures, 20)
    return daemon.shim


def wait_step(shim: Shim) -> None:
    """Until a step is made and everything that belongs to it is over."""
    shim.wait_events("select", when=lambda event: event["timeout"] == WEEK)
