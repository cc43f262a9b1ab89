# SPDX-License-Identifier: GPL-2.0-or-later
"""Who reaches what: the command line from outside, the shell and the files from anywhere."""
from __future__ import annotations

import random
import re
import shlex
import signal
import socket
import stat
import subprocess
from pathlib import Path

import pytest

from lab import CONFIG, DAEMON_ADDRESS, PROJECT, VTY_PORT, Build, Closed, Daemon, World, wait_for
from lab.bench import PRIMARY, START, STRANGER, Bench, configured
from lab.database import DATABASE
from lab.gauges import Flood, unread_bytes
from lab.servers.ntp_server import truthful
from lab.servers.packet import timestamp

SHIPPED = PROJECT / "packaging" / "horad.conf"
OPTIONS = PROJECT / "packaging" / "horad.default"
SECRET = "CHANGE-ME"
ASKED = re.compile(rb"Password: $")


def uncommented() -> str:
    """The shipped configuration with what it proposes in force: comments begin with "! "."""
    lines = SHIPPED.read_text().splitlines(keepends=True)
    return "".join(line[1:] if re.match(r"!(\S| ntp| timezone)", line) else line for line in lines)


def shipped_options() -> list[str]:
    found = re.search(r'^HORAD_OPTIONS="(.*)"$', OPTIONS.read_text(), re.MULTILINE)
    assert found is not None
    return shlex.split(found[1])


def shipped(bench: Bench) -> Daemon:
    return bench.daemon(uncommented(), shim=False, arguments=shipped_options())


def listening(daemon: Daemon) -> set[tuple[str, int]]:
    """Addresses and ports at which anything is listened to by TCP."""
    found = set()
    for file, family in (("tcp", socket.AF_INET), ("tcp6", socket.AF_INET6)):
        for line in Path(f"/proc/{daemon.pid}/net/{file}").read_text().splitlines()[1:]:
            local, state = line.split()[1], line.split()[3]
            if state == "0A":
                address, port = local.split(":")
                words = [bytes.fromhex(address[at : at + 8])[::-1] for at in range(0, len(address), 8)]
                found.add((socket.inet_ntop(family, b"".join(words)), int(port, 16)))
    return found


def reached_from_outside(world: World) -> bool:
    with world.socket("servers", socket.SOCK_STREAM) as probe:
        probe.settimeout(5)
        return probe.connect_ex((DAEMON_ADDRESS, VTY_PORT)) == 0


# --- the command line


def test_no_password_nobody_enters(bench: Bench) -> None:
    daemon = bench.daemon("hostname olt\n", shim=False)
    with daemon.connect() as session:
        session.send(b"\n\nenable\nconfigure terminal\nntp\nntp server a b\n")
        answer = session.read_to_end()
    assert b"Vty password is not set.\r\n" in answer
    assert b"olt" not in answer


def test_shipped_file_as_it_is_lets_nobody_in(bench: Bench) -> None:
    daemon = bench.daemon(SHIPPED.read_text(), shim=False, arguments=shipped_options())
    with daemon.connect() as session:
        assert b"Vty password is not set.\r\n" in session.read_to_end()


def test_shipped_listens_on_loopback_only(bench: Bench) -> None:
    daemon = shipped(bench)
    assert listening(daemon) == {("127.0.0.1", VTY_PORT)}
    assert not reached_from_outside(bench.world)


def test_without_the_option_it_listens_everywhere(bench: Bench) -> None:
    daemon = bench.daemon(uncommented(), shim=False)
    assert listening(daemon) == {("0.0.0.0", VTY_PORT), ("::", VTY_PORT)}
    assert reached_from_outside(bench.world)


def test_shipped_asks_for_the_password(bench: Bench) -> None:
    daemon = shipped(bench)
    with daemon.connect() as session:
        session.login(SECRET)
        assert session.prompt == b"olt> "
        for line in ("configure terminal", "ntp", "ntp disable", "show ntp", "show running-config", "write file"):
            assert b"Unknown command" in session.command(line)
        session.send(b"enable\n")
        session.read_until(ASKED)
        session.send(SECRET.encode() + b"\n")
        session.read_until(re.compile(rb"olt# $"))
        session.prompt = b"olt# "
        assert session.command("configure terminal") == b""
        assert session.command("ntp") == b""
        assert session.command("show ntp").startswith(b"NTP server is ntp1.example.net, ntp2.example.net.")


def test_wrong_passwords_end_the_session(bench: Bench) -> None:
    daemon = shipped(bench)
    with daemon.connect() as session:
        session.read_until(ASKED)
        for wrong in (b"", SECRET.lower().encode(), SECRET.encode() * 100):
            session.send(wrong + b"\n")
        assert b"% Bad passwords, too many failures!\r\n" in session.read_to_end()


def test_wrong_enable_passwords(bench: Bench) -> None:
    daemon = shipped(bench)
    with daemon.connect() as session:
        session.login(SECRET)
        session.send(b"enable\n" + b"wrong\n" * 3)
        assert b"% Bad enable passwords, too many failures!\r\n" in session.read_to_end()


def test_passwords_are_not_echoed(bench: Bench) -> None:
    daemon = shipped(bench)
    with daemon.connect() as session:
        assert SECRET.encode() not in session.login(SECRET)
        session.send(b"enable\n")
        session.read_until(ASKED)
        session.send(SECRET.encode() + b"\n")
        assert SECRET.encode() not in session.read_until(re.compile(rb"olt# $"))


def test_local_socket_is_the_owners(bench: Bench) -> None:
    """It asks for no password: its rights are all that guards it."""
    daemon = bench.daemon(shim=False)
    assert daemon.running
    status = bench.world.path("/run/frr/horad.vty").stat()
    assert stat.S_ISSOCK(status.st_mode)
    assert (status.st_uid, status.st_gid, stat.S_IMODE(status.st_mode) & 0o007) == (0, 0, 0)


@pytest.mark.parametrize("enabled", [False, True])
def test_udp_ports(bench: Bench, enabled: bool) -> None:
    """One, and none before NTP is enabled for the first time."""
    server = bench.server()
    daemon = bench.daemon(configured(PRIMARY, enabled=enabled), shim=False)
    if enabled:
        server.wait_requests(1)
    lines = Path(f"/proc/{daemon.pid}/net/udp").read_text().splitlines()[1:]
    assert [line.split()[1] for line in lines] == ["00000000:007B"] * enabled


def sent(daemon: Daemon) -> int:
    lines = Path(f"/proc/{daemon.pid}/net/snmp").read_text().splitlines()
    names, values = (line.split() for line in lines if line.startswith("Udp:"))
    return int(values[names.index("OutDatagrams")])


def test_nothing_is_ever_answered(bench: Bench) -> None:
    """Requests, control and private ones included: the client sends its own requests only."""
    server = bench.server()
    daemon = bench.polling(PRIMARY, shim=False)
    server.wait_requests(1)
    before = sent(daemon)
    with Flood(bench.world, STRANGER) as flood:
        for rest in (b"\x00\x03\x2a" + bytes(4), b"\x02" + bytes(46), b"\x00\x03\x2a" + bytes(189)):
            flood.pour(daemon, [bytes([first]) + rest for first in range(256)])
    assert sent(daemon) == before
    assert len(server.requests) == 1


# --- files


def mode(world: World, path: str) -> int:
    return stat.S_IMODE(world.path(path).stat().st_mode)


def test_rights_of_files(bench: Bench) -> None:
    bench.world.path("/etc/profile").write_text("umask 022\n")
    bench.world.path("/etc/profile").chmod(0o640)
    bench.server(answer=truthful(timestamp(START)))
    daemon = bench.polling(PRIMARY, calls=1, profile_commands=1)
    shim = daemon.shim
    assert shim is not None
    shim.wait_events("diff_time_done")
    assert mode(bench.world, DATABASE) == 0o640
    assert mode(bench.world, str(Path(DATABASE).parent)) == 0o750
    bench.world.path(CONFIG).chmod(0o640)
    assert b"saved" in bench.vty(daemon, "enable").command("write file")
    assert mode(bench.world, CONFIG) == 0o600  # the library's choice: passwords are in it
    assert shim.call("systemGetDstCfg", 2020, START, "Europe/London").result in (0, 1)
    assert mode(bench.world, "/tmp/dstconfig") == 0o640
    assert shim.call("set_system_timezone", "8:30").result == 0
    assert mode(bench.world, "/etc/TZ") == 0o750
    assert mode(bench.world, "/etc/profile") == 0o640


def test_files_of_a_database_at_work(bench: Bench) -> None:
    """What a killed writer leaves beside the database is no more readable than it."""
    bench.server(answer=truthful(timestamp(START)))
    daemon = bench.polling(PRIMARY, ready=False, kill_after="diff_time_done")
    assert daemon.wait() == -signal.SIGKILL
    for path in bench.world.path(str(Path(DATABASE).parent)).iterdir():
        assert stat.S_IMODE(path.stat().st_mode) == 0o640, path


# --- shells

PIECES = [
    "$(touch$IFS/tmp/reached)", "`touch${IFS}/tmp/reached`", ";touch</tmp/reached", "|sh", "&&id", ">/tmp/reached",
    "'", '"', "\\", "\\n", "%s%n", "../..", "{a,b}", "~root", "*", "$(id)", "-w", "a=b", "#", "^",
]


def test_no_text_reaches_a_shell(bench: Bench) -> None:
    seed = random.randrange(2**32)
    print(f"seed {seed}")
    chance = random.Random(seed)
    server = bench.server(answer=truthful(timestamp(START)))
    daemon = bench.polling(PRIMARY)
    shim = daemon.shim
    assert shim is not None
    shim.wait_events("flush")
    session = bench.vty(daemon)
    for _ in range(150):
        name = "".join(chance.choices(PIECES, k=chance.randint(1, 5)))[:127].replace("?", "")
        zone = chance.choice(["timezone", "dst"])
        for line in (f"ntp server {name} {name}", f"second ntp server2 {name}", "ntp enable", "show ntp",
                     f"{zone} continent Europe location {name}", f"ntp server {PRIMARY} {name}"):
            session.command(line)
    with Flood(bench.world, PRIMARY) as flood:
        flood.send([piece.encode().ljust(48, b";") for piece in PIECES])
    wait_for("an empty socket", lambda: unread_bytes(daemon) == 0)
    asked, steps = len(server.requests), len(shim.events("flush"))
    session.command("ntp enable")
    server.wait_requests(asked + 1)
    shim.wait_events("flush", steps + 1)
    commands = {event["command"] for event in shim.events("system")}
    assert commands == {"hwclock -w"}
    assert not bench.world.path("/tmp/reached").exists()


def test_system_is_the_only_way_to_a_shell(build: Build) -> None:
    """Of the calls that start another program the daemon and the device's libraries have this one."""
    ours = [build.daemon, *sorted((build.folder / "lib").glob("lib*.so"))]
    starters = re.compile(r"\b(system|popen|exec[lv]p?e?|execvpe|fexecve|posix_spawnp?|v?fork|clone)\b")
    found = {}
    for file in ours:
        if file.name in ("libclock_shim.so", "libhurry.so"):  # the lab's
            continue
        listed = subprocess.run(["nm", "-D", "--undefined-only", str(file)], check=True, capture_output=True, text=True)
        found[file.name] = set(starters.findall(listed.stdout))
    assert len(found) == 4
    assert found.pop("horad") == {"system"}
    assert set().union(*found.values()) == set()


def test_operator_without_enable_cannot_read_the_configuration(bench: Bench) -> None:
    daemon = shipped(bench)
    with daemon.connect() as session:
        session.login(SECRET)
        shown = session.command("list")
        assert b"running-config" not in shown and b"log file" not in shown
        with pytest.raises(Closed):
            session.command("exit")
