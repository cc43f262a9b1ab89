# SPDX-License-Identifier: GPL-2.0-or-later
"""What can fail under the daemon, and what has to come of it.

A fault is one call that fails, once or always, in a scenario: something that the
daemon does while the call fails.  What is observed is a list of short texts, those
of the table in docs/faults.md.
"""
from __future__ import annotations

import contextlib
import os
import re
import signal
import subprocess
from dataclasses import dataclass
from typing import Any, Callable, Iterator, Mapping

from lab import Daemon, Shim, Vty, wait_for
from lab.shim import failing

from .bench import PRIMARY, START, Bench
from .database import DATABASE, HOLD, rows
from .dump import LONDON_2020
from .exported import DUMP, TZ_FILE, ZONES, calls, content, link, years
from .ntp_server import truthful
from .packet import timestamp

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
    after: int = 0  # calls that work before
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
    lines = [line.strip(b"\r") for line in text.replace(b"error..!", b"error..!\n").split(b"\n")]
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


# --- the client and its server


def exchange(bench: Bench, fault: Fault) -> list[str]:
    """NTP is on from the start, with a server that answers."""
    bench.server(answer=truthful(timestamp(START + STEP)))
    daemon = bench.polling(PRIMARY, scale=QUICK, clock_frozen=START, **fault.setting)
    shim = wait_faults(daemon, fault)
    session = bench.vty(daemon)
    if fault.often == ONCE:
        found = [recovery(daemon, session, shim, fault.expected)]
        return [*found, *said(daemon.stdout(), daemon.stderr()), switched(session)]
    if STEPPED in fault.expected:
        wait_step(shim)
        return [STEPPED, *said(daemon.stdout(), daemon.stderr()), switched(session)]
    found = [*said(daemon.stdout(), daemon.stderr()), switched(session)]
    assert steps(shim) == 0
    fault.end(shim)
    return ["clock not stepped", *found, "afterwards: " + recovery(daemon, session, shim, fault.expected)]


STEPPED = "clock stepped"
STEPPED_IF_ENABLED = "clock stepped after `ntp enable`"
STEPPED_BY_RESTART = "clock not stepped before a restart of the daemon"


def recovery(daemon: Daemon, session: Vty, shim: Shim, expected: Texts) -> str:
    """How the clock is stepped once the fault is gone.

    What is expected decides what is waited for: anything else would not come.
    """
    if any(text.endswith(STEPPED) for text in expected):
        wait_step(shim)
        return STEPPED
    wait_for("the client's end", lambda: daemon.thread("ntpClient") is None)
    assert session.command("ntp enable") == b""
    if any(text.endswith(STEPPED_IF_ENABLED) for text in expected):
        wait_step(shim)
        return STEPPED_IF_ENABLED
    assert switched(session) == "NTP on" and daemon.thread("ntpClient") is None and steps(shim) == 0
    return STEPPED_BY_RESTART


def fatal(bench: Bench, fault: Fault) -> list[str]:
    """NTP is on from the start, with a server that answers: how the kernel's clock runs is asked."""
    bench.server(answer=truthful(timestamp(START + STEP)))
    daemon = bench.polling(PRIMARY, clock_frozen=START, ready=False, **fault.setting)
    status = daemon.wait()
    shim = wait_faults(daemon, fault)
    stored = rows(bench.world, "SELECT diff FROM clock_step") == [(STEP,)]
    return [
        "clock stepped and stored" if stored and steps(shim) == 1 else "clock not stepped",
        *said(daemon.stdout(), daemon.stderr()),
        f"the daemon ends with status {status}",
    ]


# --- signals to the client


class Client:
    """Whether the client asks, since an order was given."""

    def __init__(self, shim: Shim, session: Vty) -> None:
        self._shim = shim
        self._session = session
        self._begin = 0

    def order(self, *commands: str) -> None:
        for command in commands:
            self._begin = len(self._shim.events("select", "sendto"))
            assert self._session.command(command) == b""

    def _since(self) -> list[str]:
        events = self._shim.events("select", "sendto")[self._begin :]
        return ["stop" if event.name == "select" and event["timeout"] == WEEK else event.name for event in events]

    def stops(self) -> bool:
        """Or else goes on asking."""
        wait_for("a stop or requests", lambda: "stop" in self._since() or self._since().count("sendto") > 3)
        return "stop" in self._since()

    def asks(self) -> bool:
        return "sendto" in self._since()

    def wait_request(self) -> None:
        wait_for("a request", self.asks)


def stopping(bench: Bench, fault: Fault) -> list[str]:
    """`ntp disable` while the client asks a server that is silent."""
    bench.server()
    at_start = fault.call == "socketpair"
    daemon = bench.polling(PRIMARY, scale=QUICK, **(fault.setting if at_start else {}))
    assert daemon.shim is not None
    shim = daemon.shim
    shim.requests(1)
    session = bench.vty(daemon)
    client = Client(shim, session)
    if not at_start:
        fault.begin(shim)
    client.order("ntp disable")
    wait_faults(daemon, fault)
    floods = fault.failures == FLOOD
    state = "client neither stops nor asks" if floods else "client stops" if client.stops() else "client goes on asking"
    found = [state, *said(daemon.stdout(), daemon.stderr()), switched(session)]
    if state == "client stops":
        return found
    fault.end(shim)
    if floods and client.stops():
        return [*found, "afterwards: client stops"]
    client.order("ntp enable", "ntp disable")
    if client.stops():
        return [*found, "afterwards: client stops after `ntp enable` and `ntp disable`"]
    return [*found, "afterwards: client stops with the daemon only"]


def restarting(bench: Bench, fault: Fault) -> list[str]:
    """`ntp enable` while the client is stopped."""
    bench.server()
    daemon = bench.polling(PRIMARY, scale=QUICK)
    assert daemon.shim is not None
    shim = daemon.shim
    session = bench.vty(daemon)
    client = Client(shim, session)
    client.order("ntp disable")
    assert client.stops()
    fault.begin(shim)
    client.order("ntp enable")
    wait_faults(daemon, fault)
    lost = fault.call == "pipe_send"
    if fault.often == ONCE and not lost:
        client.wait_request()
    found = [
        "client asks" if client.asks() else "client stays stopped",
        *said(daemon.stdout(), daemon.stderr()),
        switched(session),
    ]
    if client.asks():
        return found
    fault.end(shim)
    if lost:
        client.order("ntp enable")
    client.wait_request()
    return [*found, f"afterwards: client asks{' after `ntp enable`' if lost else ''}"]


# --- its output


def lost_output(bench: Bench, fault: Fault) -> list[str]:
    """Steps of the clock, while nobody takes what is written to standard output."""
    bench.server(answer=truthful(timestamp(START + STEP)))
    out = bench.world.path("/tmp/horad0.stdout")
    if fault.what == DISK_FULL:
        out.symlink_to("/dev/full")
        reader = -1
    else:
        os.mkfifo(out)
        reader = os.open(out, os.O_RDONLY | os.O_NONBLOCK)
    daemon = bench.polling(PRIMARY, scale=QUICK, clock_frozen=START)
    if reader >= 0:
        os.close(reader)
    assert daemon.shim is not None
    wait_step(daemon.shim)
    daemon.shim.skip()
    daemon.shim.wait_events("diff_time_done", 2)
    return ["clock stepped, twice", *said(b"", daemon.stderr()), switched(bench.vty(daemon))]


DISK_FULL = "standard output is a file on a full disk"
NO_READER = "standard output is a pipe without a reader"


# --- the zone


def zone_command(bench: Bench, fault: Fault) -> list[str]:
    """`timezone continent Europe location Paris`."""
    bench.server()
    daemon = bench.polling(PRIMARY, calls=1)
    assert daemon.shim is not None
    shim = daemon.shim
    session = bench.vty(daemon)
    fault.begin(shim)
    found = set_paris(bench, daemon, session)
    wait_faults(daemon, fault)
    fault.end(shim)
    again = set_paris(bench, daemon, session)
    return [*found, "the command again: " + ", ".join(again[:3])]


def linked(bench: Bench) -> str:
    target = link(bench.world)
    return "link missing" if target is None else f"link to {target.removeprefix(ZONES + '/')}"


def set_paris(bench: Bench, daemon: Daemon, session: Vty) -> list[str]:
    assert daemon.shim is not None
    out, err = len(daemon.stdout()), len(daemon.stderr())
    answer = lines_of(session.command("timezone continent Europe location Paris"))
    shown = session.command("show timezone").split()[5].decode()
    local = daemon.shim.call("localtime_r", JULY).result.split()[2]
    return [
        f"zone shown {shown}",
        linked(bench),
        f"local time {local}",
        *(f"vty `{line.strip()}`" for line in answer),
        *said(daemon.stdout()[out:], daemon.stderr()[err:]),
    ]


def zone_removal(bench: Bench, fault: Fault) -> list[str]:
    """`no timezone`."""
    daemon = bench.daemon()
    assert daemon.shim is not None
    session = bench.vty(daemon)
    fault.begin(daemon.shim)
    assert session.command("no timezone") == b""
    wait_faults(daemon, fault)
    shown = session.command("show timezone").split()[5].decode()
    found = [f"zone shown {shown}", linked(bench), *said(daemon.stdout(), daemon.stderr())]
    fault.end(daemon.shim)
    assert session.command("no timezone") == b""
    return [*found, "the command again: " + linked(bench)]


def zone_by_offset(bench: Bench, fault: Fault) -> list[str]:
    """`sync_sys_timezone("UTC-8")`, called inside the process."""
    bench.world.path("/etc/profile").write_bytes(b"umask 022\n")
    shim = calls(bench)
    fault.begin(shim)
    found = set_offset(bench, shim)
    shim.wait_events("fault", fault.failures)
    fault.end(shim)
    again = set_offset(bench, shim)
    return [*found, "the call again: " + ("all set" if again == ALL_SET else ", ".join(again))]


def set_offset(bench: Bench, shim: Shim) -> list[str]:
    answer = shim.call("sync_sys_timezone", "UTC-8")
    profile = content(bench.world, "/etc/profile") or b""
    done = {
        TZ_FILE: content(bench.world, TZ_FILE) == b"UTC-8",
        "TZ": shim.call("getenv", "TZ").result == "UTC-8",
        "local time": shim.call("localtime_r", 0).result.startswith("1970-01-01 08:00"),
        "profile": b"export TZ=UTC-8\n" in profile,
    }
    missing = [name for name, good in done.items() if not good]
    state = f"not set: {', '.join(missing)}" if missing else "all set"
    return [f"result {answer.result}", state, *said(answer.stdout, answer.stderr)]


ALL_SET = ["result 0", "all set", "prints nothing"]


def zone_dump(bench: Bench, fault: Fault) -> list[str]:
    """`zdump_main` for London's changes in 2020, called inside the process."""
    bench.world.path(DUMP).write_bytes(b"old\n")
    shim = calls(bench)
    fault.begin(shim)
    answer = years(shim, "2020,2021", "Europe/London")
    shim.wait_events("fault", fault.failures)
    found = [f"result {answer.result}", listed(bench), *said(answer.stdout, answer.stderr)]
    fault.end(shim)
    again = years(shim, "2020,2021", "Europe/London")
    assert again == (0, b"", b"")
    return [*found, "the call again: " + listed(bench)]


def listed(bench: Bench) -> str:
    text = content(bench.world, DUMP)
    if text is None:
        return "no list"
    old = " after the old list" if text.startswith(b"old\n") else ""
    lines = text.removeprefix(b"old\n").splitlines(keepends=True)
    whole = LONDON_2020.splitlines(keepends=True)
    count = sum(line in whole for line in lines)
    broken = ", some broken" if count < len(lines) else ""
    return f"{count} of {len(whole)} lines{broken}{old}"


def daylight_saving(bench: Bench, fault: Fault) -> list[str]:
    """`systemGetDstCfg` for London in July 2020, called inside the process."""
    shim = calls(bench)
    fault.begin(shim)
    found = ask_daylight_saving(shim)
    shim.wait_events("fault", fault.failures)
    fault.end(shim)
    return [*found, "the call again: " + ", ".join(ask_daylight_saving(shim)[:2])]


def ask_daylight_saving(shim: Shim) -> list[str]:
    answer = shim.call("systemGetDstCfg", 2020, JULY, "Europe/London")
    shown = [line for line in answer.stdout.split(b"\n") if line.startswith(b"acDstDump")]
    other = re.sub(rb"acDstDump\[\d\]: [^\n]*\n\r\n", b"", answer.stdout)
    return [f"result {answer.result}", f"{len(shown)} lines shown", *said(other, answer.stderr)]


def memory(bench: Bench, fault: Fault) -> list[str]:
    """`zdump_main`, without memory for a zone."""
    log = "/tmp/horad.log"
    daemon = bench.daemon(calls=1, arguments=["--log", f"file:{log}"], **fault.setting)
    assert daemon.shim is not None
    daemon.shim.ask("zdump_main", "zdump", "-c", "2020,2021", "-v", "Europe/London")
    status = daemon.wait()
    (reason,) = re.findall(rb"HORAD: (out of memory: .*) \d+ bytes (.*)", bench.world.path(log).read_bytes())
    return [
        f"the daemon ends with signal {signal.Signals(-status).name}",
        f"log `{reason[0].decode()} ... bytes {reason[1].decode()}`",
        f"stderr `{lines_of(daemon.stderr())[0]}`",
    ]


# --- the database of steps and changes


def step_with(bench: Bench, fault: Fault) -> tuple[Daemon, list[str]]:
    """A step, while something is wrong."""
    server = bench.server()
    daemon = bench.polling(PRIMARY, scale=QUICK, clock_frozen=START)
    assert daemon.shim is not None
    shim = daemon.shim
    shim.requests(1)
    fault.begin(shim)
    server.answer = truthful(timestamp(START + STEP))
    wait_step(shim)
    wait_faults(daemon, fault)
    (result,) = (event["result"] for event in shim.events("diff_time_done"))
    session = bench.vty(daemon)
    assert steps(shim) == 1
    return daemon, [
        STEPPED,
        "step stored" if result == 0 else "step not stored",
        *said(daemon.stdout(), daemon.stderr()),
        switched(session),
    ]


def database(bench: Bench, fault: Fault) -> list[str]:
    """A step of the clock, while a call fails that SQLite makes for the database's files."""
    daemon, found = step_with(bench, fault)
    assert daemon.shim is not None
    fault.end(daemon.shim)
    return [*found, next_step(bench, daemon)]


def next_step(bench: Bench, daemon: Daemon) -> str:
    assert daemon.shim is not None
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
        daemon, found = step_with(bench, fault)
        end()
        return [*found, next_step(bench, daemon)]


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


# --- the table


def faults(
    call: str,
    error: str,
    scenario: Callable[[Bench, Fault], list[str]],
    *,
    once: Texts = (),
    always: Texts = (),
    alike: Texts = (),
    failures: int = 1,
    **more: Any,
) -> list[Fault]:
    """A call that fails once, always, or with the same outcome both ways."""
    found = []
    if once or alike:
        found.append(Fault(call, error, ONCE, scenario, once or alike, **more))
    if always or alike:
        found.append(Fault(call, error, ALWAYS, scenario, always or alike, failures=failures, **more))
    return found


def database_says(reason: str) -> str:
    return f"stderr `horad: configuration database {DATABASE}: {reason}"


LONDON_FILE = f"{ZONES}/Europe/London"

LISTED_AGAIN = "the call again: 8 of 8 lines"
ASKED_AGAIN = "the call again: result 1, 8 lines shown"
SET_AGAIN = "the call again: all set"
PARIS_AGAIN = "the command again: zone shown Europe-Paris, link to Europe/Paris, local time CEST"
PARIS_SET = "vty `Set Time Zone: Europe-Paris GMT+0100 successfully!`"
NOT_LISTED = 'stdout `********zdump:fopen("/tmp/dstconfig", "cw") error..!`'
IN_DAYLIGHT_SAVING = "stdout `--------location in Northern and in dst time `"
LOST_SIGNAL = "stdout `Could not send NTP signal: `"
BAD_SIGNAL = "stdout `ntp read signal pipe failed`"
NO_HOST = "stdout `ntp get host by name failed`"
NO_THREAD = "stdout ` Msg:Create ntp_client_process thread error!`"
ON = "NTP on"
OFF = "NTP off"
NOT_STEPPED = "clock not stepped"
STEPPED_LATER = f"afterwards: {STEPPED}"
ONE_CHANGE_LOST = "afterwards: all stored, 1 of 2 changes in the log"
NOTHING_LOST = "afterwards: all stored, 2 of 2 changes in the log"

FAULTS = [
    *faults(
        "socket", "EMFILE", exchange,
        once=(STEPPED_BY_RESTART, "stderr `net socker : Too many open files`", ON),
        always=(
            NOT_STEPPED,
            "stderr `net socker : Too many open files`",
            ON,
            "afterwards: " + STEPPED_BY_RESTART,
        ),
    ),
    *faults(
        "bind", "EADDRINUSE", exchange,
        once=(
            STEPPED_BY_RESTART,
            "stderr `ntp_client_process 2: Address already in use`",
            ON,
        ),
        always=(
            NOT_STEPPED,
            "stderr `ntp_client_process 2: Address already in use`",
            ON,
            "afterwards: " + STEPPED_BY_RESTART,
        ),
    ),
    *faults(
        "pthread_create", "EAGAIN", exchange,
        once=(STEPPED_IF_ENABLED, NO_THREAD, ON),
        always=(NOT_STEPPED, NO_THREAD, OFF, "afterwards: " + STEPPED_IF_ENABLED),
    ),
    *faults(
        "gethostbyname", "TRY_AGAIN", exchange,
        once=(STEPPED, NO_HOST, "stderr `10.77.0.1: Host name lookup failure`", ON),
    ),
    *faults(
        "gethostbyname", "HOST_NOT_FOUND", exchange, failures=3,
        always=(NOT_STEPPED, NO_HOST + " each time", "stderr `10.77.0.1: Unknown host` each time", ON, STEPPED_LATER),
    ),
    *faults(
        "gethostbyname", "NO_RECOVERY", exchange, after=1, what="`gethostbyname` of a datagram's sender",
        once=(STEPPED, NO_HOST, "stderr `10.77.0.1: Unknown server error`", ON),
    ),
    *faults(
        "gethostbyname", "IN_PART", exchange, failures=3, what="`gethostbyname` finds 16 bytes",
        once=(STEPPED, NO_HOST, "stderr `oops 16`", ON),
        always=(NOT_STEPPED, NO_HOST + " each time", "stderr `oops 16` each time", ON, STEPPED_LATER),
    ),
    *faults(
        "sendto", "ENETUNREACH", exchange, failures=3,
        once=(STEPPED, "stderr `send NTP packet: Network is unreachable`", ON),
        always=(NOT_STEPPED, "stderr `send NTP packet: Network is unreachable` each time", ON, STEPPED_LATER),
    ),
    *faults(
        "recvfrom", "ENOMEM", exchange, failures=3,
        once=(STEPPED, "stderr `recvfrom: Cannot allocate memory`", ON),
        always=(NOT_STEPPED, "stderr `recvfrom: Cannot allocate memory` each time", ON, STEPPED_LATER),
    ),
    *faults(
        "select", "EINTR", exchange, failures=FLOOD,
        once=(STEPPED, SILENT, ON),
        always=(NOT_STEPPED, SILENT, ON, STEPPED_LATER),
    ),
    *faults(
        "select", "ENOMEM", exchange, failures=FLOOD,
        once=(STEPPED, "stderr `select: Cannot allocate memory`", ON),
        always=(NOT_STEPPED, "stderr `select: Cannot allocate memory` without a pause", ON, STEPPED_LATER),
    ),
    *faults("gettimeofday", "EPERM", exchange, alike=(STEPPED, SILENT, ON), failures=2),
    *faults(
        "settimeofday", "EPERM", exchange, failures=3,
        once=(STEPPED, "stderr `settimeofday: Operation not permitted`", ON),
        always=(NOT_STEPPED, "stderr `settimeofday: Operation not permitted` each time", ON, STEPPED_LATER),
    ),
    *faults("system", "ENOMEM", exchange, alike=(STEPPED, SILENT, ON), what="`system` for the hardware clock"),
    *faults("seteuid", "EPERM", exchange, alike=(STEPPED, SILENT, ON)),
    *faults(
        "adjtimex", "EFAULT", fatal,
        alike=("clock stepped and stored", "stderr `adjtimex: Bad address`", "the daemon ends with status 1"),
    ),
    *faults(
        "pipe_send", "EAGAIN", stopping,
        alike=(
            "client goes on asking",
            LOST_SIGNAL,
            OFF,
            "afterwards: client stops after `ntp enable` and `ntp disable`",
        ),
    ),
    *faults(
        "pipe_read", "EIO", stopping, failures=FLOOD,
        once=("client stops", BAD_SIGNAL, OFF),
        always=("client neither stops nor asks", BAD_SIGNAL + " without a pause", OFF, "afterwards: client stops"),
    ),
    *faults(
        "socketpair", "EMFILE", stopping,
        alike=("client goes on asking", LOST_SIGNAL, OFF, "afterwards: client stops with the daemon only"),
    ),
    *faults(
        "pipe_send", "EAGAIN", restarting,
        alike=("client stays stopped", LOST_SIGNAL, ON, "afterwards: client asks after `ntp enable`"),
    ),
    *faults(
        "pipe_read", "EIO", restarting, failures=FLOOD,
        once=("client asks", BAD_SIGNAL, ON),
        always=("client stays stopped", BAD_SIGNAL + " without a pause", ON, "afterwards: client asks"),
    ),
    *faults("", "", lost_output, always=("clock stepped, twice", SILENT, ON), what=NO_READER),
    *faults("", "", lost_output, always=("clock stepped, twice", SILENT, ON), what=DISK_FULL),
    *faults(
        "unlink", "EROFS", zone_command,
        alike=(
            "zone shown Europe-London",
            "link to Etc/UTC",
            "local time UTC",
            "stderr `symlink err: File exists`",
            PARIS_AGAIN,
        ),
    ),
    *faults(
        "symlink", "ENOSPC", zone_command,
        alike=(
            "zone shown Europe-London",
            "link missing",
            "local time UTC",
            "stderr `symlink err: No space left on device`",
            PARIS_AGAIN,
        ),
    ),
    *faults(
        "access", "EACCES", zone_command,
        alike=("zone shown Europe-Paris", "link to Europe/Paris", "local time GMT", PARIS_SET, SILENT, PARIS_AGAIN),
    ),
    *faults(
        "open", "EMFILE", zone_command,
        alike=("zone shown Europe-Paris", "link to Europe/Paris", "local time GMT", PARIS_SET, SILENT, PARIS_AGAIN),
    ),
    *faults(
        "read", "EIO", zone_command,
        alike=("zone shown Europe-Paris", "link to Europe/Paris", "local time GMT", PARIS_SET, SILENT, PARIS_AGAIN),
    ),
    *faults(
        "close", "EIO", zone_command,
        alike=("zone shown Europe-Paris", "link to Europe/Paris", "local time GMT", PARIS_SET, SILENT, PARIS_AGAIN),
    ),
    *faults(
        "unlink", "EROFS", zone_removal,
        alike=("zone shown (null)-(null)", "link to Etc/UTC", SILENT, "the command again: link missing"),
    ),
    *faults(
        "open", "EACCES", zone_by_offset,
        alike=(
            "result -14",
            "not set: /etc/TZ, TZ, local time, profile",
            "stderr `sys_TZ: Permission denied`",
            SET_AGAIN,
        ),
    ),
    *faults(
        "write", "ENOSPC", zone_by_offset,
        alike=("result 0", "not set: /etc/TZ", "stderr `sys_TZ: No space left on device`", SET_AGAIN),
    ),
    *faults(
        "write", "IN_PART", zone_by_offset, what="`write` of half the bytes",
        alike=("result 0", "all set", SILENT, SET_AGAIN),
    ),
    *faults(
        "close", "EIO", zone_by_offset,
        alike=("result 0", "all set", "stderr `sys_TZ: Input/output error`", SET_AGAIN),
    ),
    *faults(
        "setenv", "ENOMEM", zone_by_offset,
        alike=("result 0", "not set: TZ, local time", "stderr `sys_TZ: Cannot allocate memory`", SET_AGAIN),
    ),
    *faults("system", "EAGAIN", zone_by_offset, alike=("result 0", "not set: profile", SILENT, SET_AGAIN)),
    *faults("unlink", "EPERM", zone_dump, alike=("result 0", "8 of 8 lines after the old list", SILENT, LISTED_AGAIN)),
    *faults(
        "open", "EACCES", zone_dump,
        once=("result 0", "7 of 8 lines", NOT_LISTED, LISTED_AGAIN),
        always=("result 0", "no list", NOT_LISTED + " each time", LISTED_AGAIN),
    ),
    *faults(
        "write", "ENOSPC", zone_dump,
        once=("result 0", "7 of 8 lines", NOT_LISTED, LISTED_AGAIN),
        always=("result 0", "0 of 8 lines", NOT_LISTED + " each time", LISTED_AGAIN),
    ),
    *faults(
        "write", "IN_PART", zone_dump, what="`write` of half the bytes",
        alike=("result 0", "8 of 8 lines", SILENT, LISTED_AGAIN),
    ),
    *faults(
        "close", "EIO", zone_dump,
        once=("result 0", "8 of 8 lines", NOT_LISTED, LISTED_AGAIN),
        always=("result 0", "8 of 8 lines", NOT_LISTED + " each time", LISTED_AGAIN),
    ),
    *faults(
        "open", "EMFILE", zone_dump, what="`open` of the zone's file", watch=LONDON_FILE,
        alike=("result 1", "no list", "stderr `Europe/London: Too many open files`", LISTED_AGAIN),
    ),
    *faults(
        "read", "EIO", zone_dump, what="`read` of the zone's file", watch=LONDON_FILE,
        alike=("result 1", "no list", "stderr `Europe/London: Input/output error`", LISTED_AGAIN),
    ),
    *faults(
        "close", "EIO", zone_dump, what="`close` of the zone's file", watch=LONDON_FILE,
        alike=("result 1", "no list", "stderr `Europe/London: Input/output error`", LISTED_AGAIN),
    ),
    *faults(
        "qmalloc", "ENOMEM", memory,
        alike=(
            "the daemon ends with signal SIGABRT",
            "log `out of memory: failed to allocate ... bytes for NTP client object`",
            "stderr `log: showing active allocations in memory group libfrr`",
        ),
    ),
    *faults("unlink", "EPERM", daylight_saving, alike=("result 1", "8 lines shown", IN_DAYLIGHT_SAVING, ASKED_AGAIN)),
    *faults(
        "open", "EACCES", daylight_saving,
        once=("result 0", "6 lines shown", NOT_LISTED, ASKED_AGAIN),
        always=("result 0", "0 lines shown", NOT_LISTED + " each time", ASKED_AGAIN),
    ),
    *faults(
        "open", "EMFILE", daylight_saving, after=8, what="`fopen` of the list",
        once=("result 0", "0 lines shown", SILENT, ASKED_AGAIN),
    ),
    *faults(
        "write", "ENOSPC", daylight_saving,
        once=("result 0", "6 lines shown", NOT_LISTED, ASKED_AGAIN),
        always=("result 0", "0 lines shown", NOT_LISTED + " each time", ASKED_AGAIN),
    ),
    *faults("sleep", "EINTR", daylight_saving, alike=("result 1", "8 lines shown", IN_DAYLIGHT_SAVING, ASKED_AGAIN)),
    *faults(
        "open", "EACCES", database, watch=DATABASE,
        once=(STEPPED, "step stored", database_says("attempt to write a readonly database`"), ON, ONE_CHANGE_LOST),
        always=(
            STEPPED,
            "step not stored",
            database_says("unable to open database file (Permission denied)` each time"),
            ON,
            ONE_CHANGE_LOST,
        ),
    ),
    *faults(
        "pread", "EIO", database, watch=DATABASE,
        once=(STEPPED, "step stored", database_says("disk I/O error (Input/output error)`"), ON, ONE_CHANGE_LOST),
        always=(
            STEPPED,
            "step not stored",
            database_says("disk I/O error (Input/output error)` each time"),
            ON,
            ONE_CHANGE_LOST,
        ),
    ),
    *faults(
        "pwrite", "EIO", database, watch=DATABASE,
        once=(STEPPED, "step stored", database_says("disk I/O error (Input/output error)`"), ON, ONE_CHANGE_LOST),
        always=(
            STEPPED,
            "step not stored",
            database_says("disk I/O error (Input/output error)` each time"),
            ON,
            ONE_CHANGE_LOST,
        ),
    ),
    *faults(
        "pwrite", "ENOSPC", database, watch=DATABASE,
        once=(STEPPED, "step stored", database_says("disk I/O error (No space left on device)`"), ON, ONE_CHANGE_LOST),
        always=(
            STEPPED,
            "step not stored",
            database_says("disk I/O error (No space left on device)` each time"),
            ON,
            ONE_CHANGE_LOST,
        ),
    ),
    *faults(
        "fsync", "EIO", database, watch=DATABASE,
        once=(STEPPED, "step stored", database_says("disk I/O error`"), ON, ONE_CHANGE_LOST),
        always=(STEPPED, "step not stored", database_says("disk I/O error` each time"), ON, ONE_CHANGE_LOST),
    ),
    *faults("close", "EIO", database, alike=(STEPPED, "step stored", SILENT, ON, NOTHING_LOST), watch=DATABASE),
    *faults(
        "", "", useless, what="on a read-only file system",
        always=(STEPPED, "step not stored", database_says("Read-only file system` each time"), ON, ONE_CHANGE_LOST),
    ),
    *faults(
        "", "", useless, what="on a full disk",
        always=(STEPPED, "step not stored", database_says("database or disk is full` each time"), ON, ONE_CHANGE_LOST),
    ),
    *faults(
        "", "", useless, what="locked by another program",
        always=(STEPPED, "step not stored", database_says("database is locked` each time"), ON, ONE_CHANGE_LOST),
    ),
    *faults(
        "", "", useless, what="no database, but something else",
        always=(STEPPED, "step not stored", database_says("file is not a database` each time"), ON, ONE_CHANGE_LOST),
    ),
    *faults(
        "", "", useless, what="a folder",
        always=(
            STEPPED,
            "step not stored",
            database_says("unable to open database file (Is a directory)` each time"),
            ON,
            ONE_CHANGE_LOST,
        ),
    ),
    *faults(
        "", "", useless, what="below something that is no folder",
        always=(STEPPED, "step not stored", database_says("Not a directory` each time"), ON, ONE_CHANGE_LOST),
    ),
]


# --- the page for the reader

INTRODUCTION = """\
# When calls fail

The system calls that the daemon makes (not those of libfrr) are made to fail, once
and always, while it is at work; this is what comes of it. The page is written by the
tests (`tests/system/test_faults.py`) from what they observe, and they fail when it
does not hold any more. To write it anew:

    HORAD_WRITE_FAULTS=1 /usr/bin/python3 -m pytest tests/system/test_faults.py

Unless an outcome says that the daemon ends, it stays up and its command line answers.
"Each time" is with every attempt of the daemon (a request every two minutes, for
example); "without a pause" is as fast as the processor goes, until the fault is
gone. "Afterwards" and "again" tell what happens once the fault is gone. NTP on or
off is what `show ntp` says meanwhile.
"""


def row(fault: Fault, often: str, outcome: Texts) -> str:
    return f"| {fault.name} | {often} | {'; '.join(outcome)} |\n"


def page(outcomes: Mapping[Fault, Texts]) -> str:
    """The text of docs/faults.md."""
    text = INTRODUCTION
    title = ""
    pending: tuple[Fault, Texts] | None = None  # once: perhaps always too

    def flush(often: str = ONCE) -> str:
        return row(pending[0], often, pending[1]) if pending else ""

    for fault, outcome in outcomes.items():
        if pending and fault.often == ALWAYS and (fault.name, outcome) == (pending[0].name, pending[1]):
            text += flush("once or always")
            pending = None
            continue
        text += flush()
        pending = None
        if fault.title != title:
            title = fault.title
            text += f"\n## {title}\n\n| fault | how often | observed outcome |\n|---|---|---|\n"
        if fault.often == ONCE:
            pending = fault, outcome
        else:
            text += row(fault, ALWAYS, outcome)
    return text + flush()
