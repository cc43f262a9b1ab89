# SPDX-License-Identifier: GPL-2.0-or-later
"""All faults, with what has to come of them."""
from __future__ import annotations

from typing import Any, Callable

from lab.bench import Bench
from lab.database import DATABASE
from lab.exported import ZONES
from .client import DISK_FULL, NO_READER, STEPPED, STEPPED_BY_RESTART, STEPPED_IF_ENABLED
from .client import exchange, fatal, lost_output, restarting, stopping
from .database import database, useless
from .fault import ALWAYS, FLOOD, ONCE, SILENT, Fault, Texts
from .zone import daylight_saving, memory, zone_by_offset, zone_command, zone_dump, zone_removal


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


def useless_database(reason: str) -> Texts:
    return (STEPPED, "step not stored", database_says(f"{reason}` each time"), ON, ONE_CHANGE_LOST)


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
        "gethostbyname", "NO_RECOVERY", exchange, after="recvfrom", what="`gethostbyname` of a datagram's sender",
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
            "stderr `cannot remove /etc/localtime: Read-only file system`",
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
    *(
        fault
        for call, error in (("access", "EACCES"), ("open", "EMFILE"), ("read", "EIO"), ("close", "EIO"))
        for fault in faults(
            call, error, zone_command,
            alike=("zone shown Europe-Paris", "link to Europe/Paris", "local time GMT", PARIS_SET, SILENT, PARIS_AGAIN),
        )
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
        "open", "EMFILE", daylight_saving, after="sleep", what="`fopen` of the list",
        once=("result 0", "0 lines shown", SILENT, ASKED_AGAIN),
    ),
    *faults(
        "write", "ENOSPC", daylight_saving,
        once=("result 0", "6 lines shown", NOT_LISTED, ASKED_AGAIN),
        always=("result 0", "0 lines shown", NOT_LISTED + " each time", ASKED_AGAIN),
    ),
    *faults("sleep", "EINTR", daylight_saving, alike=("result 1", "8 lines shown", IN_DAYLIGHT_SAVING, ASKED_AGAIN)),
    *(
        fault
        for call, error, reason, reason_of_all in (
            ("open", "EACCES", "attempt to write a readonly database", "unable to open database file (Permission denied)"),
            ("pread", "EIO", "disk I/O error (Input/output error)", ""),
            ("pwrite", "EIO", "disk I/O error (Input/output error)", ""),
            ("pwrite", "ENOSPC", "disk I/O error (No space left on device)", ""),
        )
        for fault in faults(
            call, error, database, watch=DATABASE,
            once=(STEPPED, "step stored", database_says(f"{reason}`"), ON, ONE_CHANGE_LOST),
            always=useless_database(reason_of_all or reason),
        )
    ),
    # The change does not wait for the disk: it is in the log before the clock is set.
    *faults(
        "fsync", "EIO", database, watch=DATABASE,
        alike=(STEPPED, "step not stored", database_says("disk I/O error`"), ON, NOTHING_LOST),
    ),
    *faults("close", "EIO", database, alike=(STEPPED, "step stored", SILENT, ON, NOTHING_LOST), watch=DATABASE),
    *(
        fault
        for what, reason in (
            ("on a read-only file system", "Read-only file system"),
            ("on a full disk", "database or disk is full"),
            ("locked by another program", "database is locked"),
            ("no database, but something else", "file is not a database"),
            ("a folder", "unable to open database file (Is a directory)"),
            ("below something that is no folder", "Not a directory"),
        )
        for fault in faults("", "", useless, what=what, always=useless_database(reason))
    ),
]
