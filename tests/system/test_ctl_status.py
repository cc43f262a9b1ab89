# SPDX-License-Identifier: GPL-2.0-or-later
"""horadctl status, and waiting for the clock, with daemons that have the module or only seem to."""
from __future__ import annotations

import json
import signal

import subprocess
import time
from typing import Any

import pytest

from lab import Daemon, wait_for
from lab.bench import PRIMARY, SECONDARY, START, Bench
from lab.ctl import SOCKET, Ctl, Told, socket_at, with_module
from lab.database import DATABASE
from lab.servers.ntp_server import truthful
from lab.servers.packet import timestamp

ANSWER = {"time": "2026-11-23T08:00:00Z", "address": PRIMARY, "offsetMicroseconds": 12.5,
          "roundTripMicroseconds": 8400, "steppedSeconds": 12}

# A daemon with the module, as far as the socket shows it: each line gets its answer.
FAKE = """
import json, os, socket, sys
answers = json.loads(sys.argv[2])
listener = socket.socket(socket.AF_UNIX)
listener.bind(sys.argv[1])
listener.listen()
while True:
    session, _ = listener.accept()
    heard = b""
    while data := session.recv(4096):
        heard += data
        while b"\\0" in heard:
            line, heard = heard.split(b"\\0", 1)
            text, code = answers.get(line.decode(), ["", 0])
            session.sendall(text.encode() + bytes([0, 0, 0, code]))
"""


@pytest.fixture
def ctl(bench: Bench) -> Ctl:
    return Ctl(bench.world, bench.build)


def pretend(bench: Bench, state: str, last_answer: Any = None) -> str:
    """Starts such a daemon; what its JSON is."""
    told = json.dumps({"state": state, "reason": "", "lastAnswer": last_answer}, indent=2) + "\n"
    answers = {"show ntp status json": [told, 0], "show ntp status": ["State  " + state + "\r\n", 0]}
    socket_at(bench.world)
    bench.world.spawn("daemon", ["/usr/bin/python3", "-c", FAKE, SOCKET, json.dumps(answers)])
    wait_for("the socket", lambda: bench.world.path(SOCKET).exists())
    return told


# --- with the module


@pytest.mark.parametrize("state", ["off", "lookingUp", "waiting", "retrying", "resting", "dead"])
@pytest.mark.parametrize("last_answer", [None, ANSWER], ids=["no answer", "answer"])
def test_status(bench: Bench, ctl: Ctl, state: str, last_answer: Any) -> None:
    told = pretend(bench, state, last_answer)
    status = 0 if last_answer and state not in ("off", "dead") else 1
    assert ctl("status", "--json") == Told(status, told, "")
    assert ctl("status") == Told(status, f"State  {state}\n", "")


def test_the_real_module(bench: Bench, ctl: Ctl) -> None:
    """Off, then without an answer, then with one, then off again."""
    server = bench.server()
    options = with_module(bench.world, bench.build)
    daemon = bench.daemon(arguments=options, clock_frozen=START, scale=0.001)
    assert daemon.shim is not None
    told = ctl("status", "--json")
    assert (told.status, told.json["state"]) == (1, "off")
    assert "unknown" not in ctl("status").stdout

    assert ctl("-c", f"ntp server {PRIMARY} {PRIMARY}", "-c", "ntp enable").status == 0
    daemon.shim.requests(1)
    told = ctl("status", "--json")
    assert (told.status, told.json["lastAnswer"]) == (1, None)
    assert ctl("wait", "--timeout", "0").status == 1

    server.answer = truthful(timestamp(START + 1000))
    assert ctl("wait", "--timeout", "20").status == 0
    told = ctl("status", "--json")
    assert (told.status, told.json["lastAnswer"]["address"]) == (0, PRIMARY)
    told = ctl("status")
    assert (told.status, told.stderr) == (0, "")
    assert PRIMARY in told.stdout

    assert ctl("ntp", "disable").status == 0
    wait_for("the state off", lambda: ctl("status", "--json").json["state"] == "off")
    assert ctl("status").status == 1
    # The clock was set all the same.
    assert ctl("wait", "--timeout", "0").status == 0


def test_the_real_module_of_a_dead_client(bench: Bench, ctl: Ctl) -> None:
    taken = ("import socket, time; s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM); s.bind(('', 123)); "
             "print(flush=True); time.sleep(600)")
    other = bench.world.spawn("daemon", ["/usr/bin/python3", "-c", taken], stdout=subprocess.PIPE)
    assert other.stdout is not None and other.stdout.readline() == b"\n"
    bench.polling(PRIMARY, arguments=with_module(bench.world, bench.build)).wait_stderr(b"Address already in use")
    bench.world.end(other)
    told = ctl("status", "--json")
    assert (told.status, told.json["state"], told.json["reason"]) == (1, "dead", "bind: Address already in use")


def test_an_answer_that_is_none(bench: Bench, ctl: Ctl) -> None:
    socket_at(bench.world)
    answers = {"show ntp status json": ["{", 0]}
    bench.world.spawn("daemon", ["/usr/bin/python3", "-c", FAKE, SOCKET, json.dumps(answers)])
    wait_for("the socket", lambda: bench.world.path(SOCKET).exists())
    told = ctl("status", "--json")
    assert (told.status, told.stdout) == (1, "")
    assert told.stderr == (
        'horadctl: the daemon\'s answer to "show ntp status json" is not understood: '
        "are daemon and horadctl of one version?\n"
    )


# --- without it

# The lab's /proc is that of all processes; one of the lab's own tells who holds a port.
OWN_PROCESSES = ["unshare", "--mount", "sh", "-c", 'mount -t proc proc /proc && exec "$@"', "sh"]


def bare(bench: Bench, *servers: str, **options: Any) -> Daemon:
    return bench.polling(*servers, arguments=socket_at(bench.world), **options)


def test_without_the_module(bench: Bench, ctl: Ctl) -> None:
    bench.server(answer=truthful(timestamp(START + 1234)))
    daemon = bare(bench, PRIMARY, SECONDARY, clock_frozen=START)
    assert daemon.shim is not None
    daemon.shim.wait_events("diff_time_done")
    told = ctl("status", "--json", before=OWN_PROCESSES)
    assert (told.status, told.stderr) == (1, "")
    assert told.json == {
        "state": "unknown",
        "reason": "the module horad_status is not loaded",
        "enabled": True,
        "servers": [PRIMARY, SECONDARY],
        "portHolder": "the daemon",
        "lastStep": {"time": "2020-09-13T12:47:14Z", "seconds": 1234},
        "databaseTrouble": None,
    }
    told = ctl("status", before=OWN_PROCESSES)
    assert (told.status, told.stderr) == (1, "")
    assert told.stdout == (
        "State          unknown: the module horad_status is not loaded (option -M horad_status)\n"
        "NTP            on\n"
        f"Servers        {PRIMARY}, {SECONDARY}\n"
        "UDP port 123   held by the daemon\n"
        "Last step      2020-09-13T12:47:14Z, by 1234 s\n"
    )


def test_the_port_of_a_client_that_is_off(bench: Bench, ctl: Ctl) -> None:
    bench.daemon(arguments=socket_at(bench.world))
    told = ctl("status", "--json", before=OWN_PROCESSES).json
    assert (told["enabled"], told["portHolder"], told["lastStep"]) == (False, "nobody", None)


def test_the_port_that_another_program_has(bench: Bench, ctl: Ctl) -> None:
    taken = ("import socket, time; s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM); s.bind(('', 123)); "
             "print(flush=True); time.sleep(600)")
    other = bench.world.spawn("daemon", ["/usr/bin/python3", "-c", taken], stdout=subprocess.PIPE)
    assert other.stdout is not None and other.stdout.readline() == b"\n"
    daemon = bare(bench, PRIMARY)
    daemon.wait_stderr(b"Address already in use")
    assert ctl("status", "--json", before=OWN_PROCESSES).json["portHolder"] == "another program"
    bench.world.end(other)
    # The client is dead all the same.
    assert ctl("status", "--json", before=OWN_PROCESSES).json["portHolder"] == "nobody"


def test_the_port_where_processes_are_not_to_be_seen(bench: Bench, ctl: Ctl) -> None:
    """Numbers of processes mean others there."""
    bare(bench, PRIMARY)
    assert ctl("status", "--json").json["portHolder"] == "unknown"


def test_a_database_that_cannot_be_read(bench: Bench, ctl: Ctl) -> None:
    bench.daemon(arguments=socket_at(bench.world))
    told = ctl("status", "--json", "--database", "/none").json
    assert told["lastStep"] is None
    assert told["databaseTrouble"].startswith("/none: No such file or directory: ")
    assert "Last step      unknown: /none: No such" in ctl("status", "--database", "/none").stdout


# --- waiting


def record(bench: Bench, *times: float) -> None:
    """Steps in the database, recorded at these times."""
    path = bench.world.path(DATABASE)
    path.parent.mkdir(parents=True, exist_ok=True)
    # Made elsewhere: SQLite follows the path to a place outside the lab.
    lines = "; ".join(f"c.execute('INSERT INTO clock_step VALUES (NULL, {int(at)}, 5, 4, 1)')" for at in times)
    script = ("import sqlite3; c = sqlite3.connect('" + DATABASE + "', isolation_level=None); "
              "c.execute('PRAGMA journal_mode = WAL'); c.execute('CREATE TABLE IF NOT EXISTS clock_step (seq INTEGER PRIMARY KEY, "
              "time INTEGER NOT NULL, diff INTEGER NOT NULL, area INTEGER NOT NULL, id INTEGER NOT NULL)'); " + lines)
    process = bench.world.spawn("daemon", ["/usr/bin/python3", "-c", script])
    assert process.wait(10) == 0


def boot() -> float:
    return time.time() - time.clock_gettime(time.CLOCK_BOOTTIME)


def test_wait_ends_with_the_modules_answer(bench: Bench, ctl: Ctl) -> None:
    pretend(bench, "resting", ANSWER)
    assert ctl("wait").status == 0


def test_wait_ends_with_a_step_since_boot(bench: Bench, ctl: Ctl) -> None:
    """No daemon is needed then."""
    record(bench, boot() - 604800, time.time() - 1)
    told = ctl("wait")
    assert (told.status, told.stdout, told.stderr) == (0, "", "")


@pytest.mark.parametrize("at", ["before boot", "in the future"])
def test_wait_does_not_take_a_step_of_another_time(bench: Bench, ctl: Ctl, at: str) -> None:
    record(bench, boot() - 100 if at == "before boot" else time.time() + 1000)
    assert ctl("wait", "--timeout", "0").status == 1


def test_wait_does_not_take_an_old_step_when_the_clock_reaches_it(bench: Bench, ctl: Ctl) -> None:
    record(bench, time.time() + 3)
    assert ctl("wait", "--timeout", "6").status == 1


def test_wait_gives_up(bench: Bench, ctl: Ctl) -> None:
    pretend(bench, "waiting")
    begin = time.monotonic()
    told = ctl("wait", "--timeout", "2.5")
    assert 2.5 <= time.monotonic() - begin < 6
    assert (told.status, told.stdout) == (1, "")
    assert told.stderr == (
        "horadctl: the clock was not set in time: no server has answered (horadctl status tells more)\n"
    )


def test_wait_for_a_daemon_that_is_not_there_yet(bench: Bench, ctl: Ctl) -> None:
    process = ctl.start("wait", "--timeout", "60")
    time.sleep(1.5)
    assert process.poll() is None
    pretend(bench, "resting", ANSWER)
    assert ctl.told(process).status == 0


def test_wait_for_a_step_that_comes(bench: Bench, ctl: Ctl) -> None:
    """Without the module: the row of the step tells, as soon as it is there."""
    process = ctl.start("wait", "--timeout", "60")
    bench.server(answer=truthful(timestamp(int(time.time()) - 1)))
    bare(bench, PRIMARY)
    assert ctl.told(process).status == 0


def test_wait_without_a_daemon_tells_so(ctl: Ctl) -> None:
    told = ctl("wait", "--timeout", "0")
    assert told.status == 1
    assert told.stderr.startswith(f"horadctl: the clock was not set in time: {SOCKET}: no daemon there: ")


def test_wait_beside_a_wedged_daemon(bench: Bench, ctl: Ctl) -> None:
    daemon = bench.daemon(arguments=socket_at(bench.world))
    daemon.send_signal(signal.SIGSTOP)
    begin = time.monotonic()
    told = ctl("wait", "--timeout", "1")
    assert time.monotonic() - begin < 4
    assert told.status == 1
    assert told.stderr.endswith(f"in time: {SOCKET}: the daemon does not answer in time\n")
    # The database is looked at all the same.
    process = ctl.start("wait", "--timeout", "60")
    record(bench, time.time() - 1)
    assert ctl.told(process).status == 0
    daemon.send_signal(signal.SIGCONT)


def test_wait_where_it_may_not_look(bench: Bench, ctl: Ctl) -> None:
    """Waiting would not mend it."""
    bench.daemon(arguments=socket_at(bench.world))
    nobody = ["setpriv", "--reuid", "65534", "--regid", "65534", "--clear-groups", "--"]
    told = ctl("wait", before=nobody)
    assert (told.status, told.stderr) == (2, f"horadctl: {SOCKET}: permission denied: run this as root\n")
