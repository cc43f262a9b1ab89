# SPDX-License-Identifier: GPL-2.0-or-later
"""Plays the sessions of docs/guide.md in the lab and writes what they show into it.

    tools/record-sessions            writes the guide's sessions anew
    tools/record-sessions --check    status 1, and the differences, when the guide shows anything else

The guide has each session between "<!-- session: NAME -->" and "<!-- end -->".  The
daemon is the real one.  Its clock and its waits are the lab's, and its servers work
their times out from the request, so that every run shows the same.  Needs root, a
build (HORAD_BUILD, else build/release) and sqlite3.
"""
from __future__ import annotations

import difflib
import errno
import os
import re
import shutil
import socket
import sys
from pathlib import Path
from typing import Callable

from lab import PROJECT, Build, Unavailable, World, status_sessions, wait_for
from lab.bench import FAST
from lab.servers.ntp_server import send_from
from lab.stage import (
    ADDRESSES, FIRST, LOGIN, NO_ROUTE, ON_TIME, SECOND, SLOW, Output, Sessions, Stage, Terminal, ahead, configured,
    ntp_node, readable, requests,
)

GUIDE = PROJECT / "docs" / "guide.md"
SESSION = re.compile(r"<!-- session: (\S+) -->\n.*?<!-- end -->", re.DOTALL)

# --- the sessions, in the order of the guide


def first_use(stage: Stage) -> Sessions:
    stage.serve(FIRST, ahead(SLOW))
    daemon, _ = stage.play(LOGIN + "enable password 8x4ra\n")
    output = Output(daemon)
    terminal = Terminal(daemon).type("8x4ra", "enable", "8x4ra")
    yield "first-login", terminal.shown()
    yield "servers", terminal.type("configure terminal", "ntp", f"ntp server {FIRST} {SECOND}", "ntp enable").shown()
    yield "statistics", output.text()
    yield "show", terminal.type("show ntp", "show ntp json").shown()

    yield "zone", terminal.type("timezone continent Europe location Paris", "show timezone").shown()
    yield "zone-link", stage.shell("readlink /etc/localtime")
    output = Output(daemon)
    yield "zone-unknown", terminal.type("timezone continent Europe location Pariss").shown()
    yield "zone-unknown-output", output.text()

    yield "save", terminal.type("do write file").shown()
    yield "saved", stage.shell("cat /etc/frr/horad.conf")

    stage.serve(SECOND, ahead(-2))
    output = Output(daemon)
    terminal.type(f"ntp server {SECOND} {FIRST}", "ntp enable").shown()
    output.lines(1)
    query = "sqlite3 -header -column /var/lib/horad/config.db"
    yield "steps", stage.shell(f"{query} 'SELECT utc, diff FROM clock_step'")
    yield "changes", stage.shell(f"{query} 'SELECT utc, kind, value, text FROM change_log'")
    yield "off", terminal.type("ntp disable", "show ntp").shown()


def trace(stage: Stage) -> Sessions:
    server = stage.serve(FIRST, ahead(SLOW))
    daemon, shim = stage.play(configured(FIRST, SECOND))
    shim.wait_events("flush")
    server.answer = ahead(ON_TIME)
    output = Output(daemon)
    yield "debug", ntp_node(daemon).type("exit", "debug ntp on", "ntp", "ntp enable").shown()
    # Two threads print, and which of their lines comes first is chance: the command's are put first.
    yield "trace", "".join(sorted(output.lines(14), key=lambda line: not line.startswith(">>>")))


def two_silent(stage: Stage) -> Sessions:
    daemon, shim = stage.play(configured(FIRST, SECOND, before="debug ntp on\n"), scale=FAST)
    yield "two-silent", requests(shim, 8, "s")
    changes = [line for line in Output(daemon, since_start=True).lines(1) if "change" in line]
    yield "two-silent-trace", "".join(changes[:2])


def one_silent(stage: Stage) -> Sessions:
    _, shim = stage.play(configured(FIRST), scale=FAST)
    yield "one-silent", requests(shim, 5, "s")


def no_route(stage: Stage) -> Sessions:
    daemon, shim = stage.play(configured(NO_ROUTE, SECOND), scale=FAST)
    yield "no-route", requests(shim, 2, "s")
    yield "no-route-output", Output(daemon, since_start=True).lines(1)[0]


def weeks(stage: Stage) -> Sessions:
    for name in (FIRST, SECOND):
        stage.serve(name, ahead(ON_TIME))
    _, shim = stage.play(configured(FIRST, SECOND))
    for week in range(1, 7):
        shim.wait_events("flush", week)
        shim.skip()
    yield "weeks", requests(shim, 8, "days", 86400)


def running_configuration(stage: Stage) -> Sessions:
    daemon, _ = stage.play(configured(FIRST, SECOND))
    yield "running-config", ntp_node(daemon).type("show running-config", "show ntp").shown()


def one_server(stage: Stage) -> Sessions:
    daemon, _ = stage.play(LOGIN)
    yield "one-server", ntp_node(daemon).type(f"ntp server {FIRST}", "ntp enable", "do write file").shown()
    yield "one-server-saved", stage.shell("grep -A 3 ntp /etc/frr/horad.conf")
    daemon.stop()
    daemon, _ = stage.play(None)
    yield "one-server-start", Output(daemon, since_start=True).text(3)
    terminal = ntp_node(daemon)
    yield "one-server-again", terminal.type("show ntp").shown()
    terminal.type(f"ntp server {FIRST} {FIRST}", "ntp enable", "do write file").shown()
    daemon.stop()
    daemon, _ = stage.play(None)
    yield "same-server-twice", ntp_node(daemon).type("show ntp").shown()


def switched_off(stage: Stage) -> Sessions:
    daemon, _ = stage.play(configured(FIRST, SECOND))
    yield "off-not-saved", ntp_node(daemon).type("ntp disable", "do write file").shown()
    yield "off-saved", stage.shell("grep -c ntp /etc/frr/horad.conf")


def zone_never_set(stage: Stage) -> Sessions:
    daemon, _ = stage.play(LOGIN)
    terminal = ntp_node(daemon)
    yield "london", terminal.type("show timezone").shown() + stage.shell("readlink /etc/localtime")
    terminal.type(f"ntp server {FIRST} {SECOND}", "ntp enable", "do write file").shown()
    daemon.stop()
    stage.play(None)
    yield "london-again", stage.shell("readlink /etc/localtime")


def zone_taken_away(stage: Stage) -> Sessions:
    daemon, _ = stage.play(configured(FIRST, SECOND))
    yield "no-timezone", ntp_node(daemon).type("no timezone", "show timezone", "do write file").shown()
    daemon.stop()
    daemon, _ = stage.play(None)
    again = ntp_node(daemon).type("show timezone").shown()
    yield "no-timezone-again", again + stage.shell("test -e /etc/localtime || echo there is no /etc/localtime")


def zone_set_by_others(stage: Stage) -> Sessions:
    daemon, _ = stage.play(configured(FIRST, SECOND))
    terminal = ntp_node(daemon).type("timezone continent Europe location Paris", "do write file")
    terminal.shown()
    there = stage.shell("ln -sfn /usr/share/zoneinfo/Asia/Tokyo /etc/localtime")
    yield "zone-by-others", there + terminal.type("show timezone").shown()
    daemon.stop()
    stage.play(None)
    yield "zone-by-others-again", stage.shell("readlink /etc/localtime")


def full_disk(stage: Stage) -> Sessions:
    stage.shell("mount -t tmpfs -o size=64k small /etc/frr")
    try:
        daemon, _ = stage.play(configured(FIRST, SECOND))
        terminal = ntp_node(daemon)
        stage.shell("cat /dev/zero >/etc/frr/filler")
        shown = terminal.type("do write file").shown()
        yield "full-disk", shown + stage.shell("wc -c /etc/frr/horad.conf")
        daemon.stop()
        # The unit's first step.
        said = stage.shell(f"{PROJECT}/packaging/restore-configuration")
        yield "full-disk-restored", said.partition("\n")[2]
    finally:
        stage.shell("umount --lazy /etc/frr")


def hidden_passwords(stage: Stage) -> Sessions:
    daemon, _ = stage.play(LOGIN + "enable password 8x4ra\n")
    terminal = Terminal(daemon).type("8x4ra", "enable", "8x4ra", "configure terminal")
    terminal.shown()
    typed = terminal.type("service password-encryption", "do write file").shown()
    # The text itself is another one each time.
    yield "password-hidden", typed + stage.shell("grep -o '.*password .[^ ]*' /etc/frr/horad.conf")
    daemon.stop()
    daemon, _ = stage.play(None)
    terminal = Terminal(daemon).type("8x4ra", "enable", "8x4ra", "configure terminal")
    terminal.shown()
    typed = terminal.type("no service password-encryption", "do write file").shown()
    yield "password-lost", typed + stage.shell("grep -c password /etc/frr/horad.conf")


def refused(stage: Stage) -> Sessions:
    daemon, _ = stage.play(LOGIN)
    typed = ["show ntp", "timezone continent Europe location Paris", "ntp enable", "ntp server 0.0.0.0"]
    yield "refused", ntp_node(daemon).type(*typed).shown()


def no_password(stage: Stage) -> Sessions:
    daemon, _ = stage.play("hostname olt\n")
    yield "no-password", readable(daemon.connect().read_to_end())


def no_listener(stage: Stage) -> Sessions:
    stage.play(LOGIN, ready=False, arguments=["-A", "192.0.2.9"])
    # It makes this one after it has tried to listen.
    wait_for("the local session socket", stage.world.path("/run/frr/horad.vty").exists)
    yield "no-listener", stage.shell("ss -ltn 'sport = :2705'")


def port_taken(stage: Stage) -> Sessions:
    with stage.world.socket("daemon", socket.SOCK_DGRAM) as other:
        other.bind(("0.0.0.0", 123))
        daemon, _ = stage.play(configured(FIRST, SECOND))
        yield "port-taken-output", Output(daemon, since_start=True).text()
        yield "port-taken", ntp_node(daemon).type("show ntp").shown()


def unknown_name(stage: Stage) -> Sessions:
    daemon, _ = stage.play(configured("ntp7.example.net", SECOND))
    yield "unknown-name", Output(daemon, since_start=True).text(2)


def ipv6_only(stage: Stage) -> Sessions:
    with stage.world.path("/etc/hosts").open("a") as hosts:
        hosts.write("2001:db8::8 ntp8.example.net\n")
    daemon, _ = stage.play(configured("ntp8.example.net", SECOND))
    yield "ipv6-only", Output(daemon, since_start=True).text(2)


def clock_refused(stage: Stage) -> Sessions:
    stage.serve(FIRST, ahead(SLOW))
    daemon, _ = stage.play(configured(FIRST, SECOND), settimeofday_errno=errno.EPERM)
    yield "clock-refused", Output(daemon, since_start=True).text()


def wrong_length(stage: Stage) -> Sessions:
    daemon, shim = stage.play(configured(FIRST, SECOND))
    shim.requests(1)
    send_from(stage.world, "10.77.0.9", 4000, bytes(12))
    yield "wrong-length", Output(daemon, since_start=True).text()


def read_only(stage: Stage) -> Sessions:
    daemon, _ = stage.play(configured(FIRST, SECOND))
    terminal = ntp_node(daemon)
    output = Output(daemon)
    stage.shell("mount -o remount,ro /etc")
    try:
        yield "read-only", terminal.type("timezone continent Europe location Paris", "show timezone").shown()
        yield "read-only-output", output.text(2)
    finally:
        stage.shell("mount -o remount,rw /etc")


def corrupt_database(stage: Stage) -> Sessions:
    stage.serve(FIRST, ahead(SLOW))
    database = stage.world.path("/var/lib/horad/config.db")
    database.parent.mkdir()
    database.write_text("no database")
    daemon, shim = stage.play(configured(FIRST, SECOND))
    shim.wait_events("flush")
    # The same one at the start, for the step and for the change.
    yield "database-corrupt", Output(daemon, since_start=True).lines(4)[-1]
    moved = stage.shell("cd /var/lib/horad && mkdir damaged && mv config.db* damaged/")
    typed = ntp_node(daemon).type("ntp enable").shown()
    shim.wait_events("flush", 2)
    query = "sqlite3 /var/lib/horad/config.db 'SELECT utc, diff FROM clock_step'"
    yield "database-moved", moved + typed + stage.shell(query)


PLAYS: list[Callable[[Stage], Sessions]] = [
    first_use, trace, two_silent, one_silent, no_route, weeks, running_configuration, one_server, switched_off,
    zone_never_set, zone_taken_away, zone_set_by_others, full_disk, hidden_passwords, refused, no_password, no_listener,
    port_taken, unknown_name, ipv6_only, clock_refused, wrong_length, read_only, corrupt_database, *status_sessions.PLAYS,
]


def record() -> dict[str, str]:
    build = Build(Path(os.environ.get("HORAD_BUILD") or PROJECT / "build" / "release").resolve())
    sessions: dict[str, str] = {}
    with World(visible=build.folders) as world:
        for play in PLAYS:
            world.reset()
            with world.path("/etc/hosts").open("a") as hosts:
                hosts.writelines(f"{address} {name}\n" for name, address in ADDRESSES.items())
            with Stage(world, build) as stage:
                sessions.update(play(stage))
    return sessions


def with_sessions(guide: str, sessions: dict[str, str]) -> str:
    def block(found: re.Match[str]) -> str:
        return f"<!-- session: {found[1]} -->\n```text\n{sessions[found[1]].strip(chr(10))}\n```\n<!-- end -->"

    named = SESSION.findall(guide)
    if sorted(named) != sorted(sessions):
        wrong = sorted(name for name in {*named, *sessions} if named.count(name) != 1 or name not in sessions)
        raise SystemExit(f"record-sessions: not once here and once in docs/{GUIDE.name}: {', '.join(wrong)}")
    return SESSION.sub(block, guide)


def main() -> int:
    if sys.argv[1:] in (["-h"], ["--help"]):
        print(__doc__)
        return 0
    if sys.argv[1:] not in ([], ["--check"]):
        print(__doc__, file=sys.stderr)
        return 2
    if shutil.which("sqlite3") is None:
        raise SystemExit("record-sessions: there is no sqlite3")
    old = GUIDE.read_text()
    new = with_sessions(old, record())
    if sys.argv[1:] == []:
        GUIDE.write_text(new)
        return 0
    lines = (text.splitlines(keepends=True) for text in (old, new))
    differences = list(difflib.unified_diff(*lines, "docs/guide.md", "what the daemon shows"))
    sys.stdout.writelines(differences)
    return 1 if differences else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except Unavailable as reason:
        sys.exit(f"record-sessions: {reason}")
