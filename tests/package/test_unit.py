# SPDX-License-Identifier: GPL-2.0-or-later
"""The systemd unit, and the daemon at work within its restrictions.

    /usr/bin/python3 -m pytest tests/package/test_unit.py

HORAD_ROOT names a folder that a package is unpacked in; without it the packages are
built.  The library with the fakes is that of HORAD_BUILD, or of build/release.  Needs
root, systemd's tools and python3-seccomp.
"""
from __future__ import annotations

import errno
import json
import os
import shutil
import signal
import subprocess
import time
from dataclasses import dataclass
from pathlib import Path
from typing import Iterator

import pytest

from lab import BASE_CONFIG, CONFIG, PROJECT, Build, Daemon, World, chrony, wait_for
from lab.bench import PRIMARY, SECONDARY, Bench
from lab.database import rows
from lab.journal import Journal, with_log
from tests.package.unit_file import Unit
from tests.package.unit_sandbox import LEFT, STEPS, capability_set

# Tenths of what `systemd-analyze security` says; less is better.
EXPOSURE = 27

# Puts a command under the restrictions, from any folder.
SANDBOX = ["env", "-C", str(PROJECT), "/usr/bin/python3", "-m", "tests.package.unit_sandbox"]
KEPT = "/tmp/shim"
DAY = 86400


@dataclass(frozen=True)
class Installed(Build):
    """The daemon as it is installed below `root`, started as its unit says."""

    root: Path = Path("/")

    def command(self) -> list[str]:
        return with_log([*SANDBOX, "--keep", KEPT, str(self.root)])

    def preload(self, library: Path) -> dict[str, str]:
        return {"SANDBOX_PRELOAD": f"{KEPT}/{library.name}"}


BUILD = Path(os.environ.get("HORAD_BUILD") or PROJECT / "build" / "release").resolve()

# --- what the tests stand on


@pytest.fixture(scope="session", autouse=True)
def machine_stays() -> Iterator[None]:
    """The machine's own clock and folders are as they were."""

    def state() -> list[object]:
        link = "/etc/localtime"
        files = [Path(path) for path in ("/etc/TZ", "/etc/profile", "/etc/adjtime", CONFIG, "/var/lib/horad")]
        return [
            os.readlink(link) if os.path.islink(link) else None,
            *(path.stat().st_mtime_ns if path.exists() else None for path in files),
        ]

    def boot() -> float:
        return time.time() - time.monotonic()

    before, started = state(), boot()
    yield
    assert state() == before
    assert abs(boot() - started) < 60, "the machine's clock was set"


@pytest.fixture(scope="session")
def root(request: pytest.FixtureRequest, tmp_path_factory: pytest.TempPathFactory) -> Path:
    if named := os.environ.get("HORAD_ROOT"):
        return Path(named).resolve()
    package = request.getfixturevalue("packages")[request.getfixturevalue("native")]
    folder = tmp_path_factory.mktemp("root")
    subprocess.run(["dpkg-deb", "--extract", str(package), str(folder)], check=True)
    return folder


@pytest.fixture(scope="session")
def unit(root: Path) -> Unit:
    return Unit(root)


@pytest.fixture(scope="session")
def world(root: Path) -> Iterator[World]:
    with World(visible=[root, *Build(BUILD).folders]) as lab:
        yield lab


@pytest.fixture
def bench(world: World, root: Path) -> Iterator[Bench]:
    world.reset()
    build = Installed(BUILD, root=root)
    # The package's files in /etc, and the library with the fakes where the sandbox keeps it.
    shutil.copytree(root / "etc", world.path("/etc"), dirs_exist_ok=True)
    world.path(KEPT).mkdir()
    shutil.copy(build.shim, world.path(KEPT))
    with Bench(world, build) as bench:
        yield bench


def run(bench: Bench, command: list[str]) -> subprocess.CompletedProcess[bytes]:
    """Runs a program of the lab to its end."""
    process = bench.world.spawn("daemon", command, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    try:
        output, errors = process.communicate(timeout=60)
    finally:
        bench.world.end(process)
    return subprocess.CompletedProcess(command, process.returncode, output, errors)


def check_fakes(daemon: Daemon) -> None:
    """Before anything sets the clock."""
    assert "libclock_shim.so" in Path(f"/proc/{daemon.pid}/maps").read_text()


# --- the unit as a text


def test_every_directive_is_decided(unit: Unit) -> None:
    """A new one has to get a step in the sandbox, or a reason for having none."""
    assert set(STEPS).isdisjoint(LEFT)
    assert set(unit.service) == set(STEPS) | set(LEFT)


def test_the_service_manager_understands_it(bench: Bench, unit: Unit, root: Path) -> None:
    text = unit.path.read_text()
    for start in ("ExecStart=", "ExecStartPre=-"):
        text = text.replace(f"{start}/", f"{start}{root}/")
    bench.world.path("/tmp/horad.service").write_text(text)
    verified = run(bench, ["systemd-analyze", "verify", "--man=no", "/tmp/horad.service"])
    assert (verified.returncode, verified.stdout, verified.stderr) == (0, b"", b"")


def test_it_is_exposed_no_more_than_it_was(bench: Bench, unit: Unit) -> None:
    asked = ["systemd-analyze", "security", "--offline=true", "--no-pager", f"--threshold={EXPOSURE}"]
    judged = run(bench, [*asked, str(unit.path)])
    assert judged.returncode == 0, judged.stdout.decode()


def test_other_time_daemons_are_gone_first(unit: Unit) -> None:
    others = unit.words("Unit", "Conflicts")
    assert {"systemd-timesyncd.service", "chrony.service", "ntpsec.service", "openntpd.service"} <= set(others)
    assert set(others) <= set(unit.words("Unit", "After"))


def test_it_promises_no_right_clock(unit: Unit) -> None:
    """Nobody knows when the first reply comes."""
    named = " ".join(line for lines in unit.sections["Unit"].values() for line in lines)
    assert "time-sync.target" not in named
    assert "time-set.target" not in unit.words("Unit", "Before") + unit.words("Unit", "Wants")


def test_a_crash_loop_ends_and_an_operator_does_not_end_it(unit: Unit) -> None:
    def seconds(section: str, name: str) -> int:
        (text,) = unit.words(section, name)
        return int(text.removesuffix("min")) * 60 if text.endswith("min") else int(text)

    interval = seconds("Unit", "StartLimitIntervalSec")
    starts = int(unit.words("Unit", "StartLimitBurst")[0])
    # Of a daemon that dies within two seconds.
    assert starts * (seconds("Service", "RestartSec") + 2) < interval
    # Of an operator who tries something every 15 seconds.
    assert interval // 15 <= starts


def test_command_line(unit: Unit) -> None:
    assert unit.command() == [
        "/usr/sbin/horad", "--vty_socket", "/run/horad", "-i", "/run/horad/horad.pid",
        "--log", "syslog", "-M", "horad_status", "-f", "/etc/frr/horad.conf", "-A", "127.0.0.1",
    ]


MODULE = ["-M", "horad_status"]


@pytest.mark.parametrize(
    ("options", "words"),
    [
        (None, ["--log", "syslog", *MODULE, "-A", "127.0.0.1"]),
        ("HORAD_OPTIONS=\n", ["--log", "syslog", *MODULE]),
        ("# -P 1\nHORAD_OPTIONS='-P 0  --log \"file:/tmp/a b\"'\n",
         ["--log", "syslog", *MODULE, "-P", "0", "--log", "file:/tmp/a b"]),
        ("HORAD_LOG=\nHORAD_OPTIONS=\"-P 0\"\n", [*MODULE, "-P", "0"]),
        ("HORAD_MODULES=\nHORAD_OPTIONS=\"-P 0\"\n", ["--log", "syslog", "-P", "0"]),
    ],
)
def test_options_of_the_machine(unit: Unit, tmp_path: Path, options: str | None, words: list[str]) -> None:
    copy = tmp_path / unit.path.relative_to(unit.root)
    copy.parent.mkdir(parents=True)
    shutil.copy(unit.path, copy)
    if options is not None:
        (tmp_path / "etc/default").mkdir(parents=True)
        (tmp_path / "etc/default/horad").write_text(options)
    assert Unit(tmp_path).command()[5:] == words


# --- the daemon at work


def test_it_sets_the_clock_and_comes_back(bench: Bench) -> None:
    bench.peer(chrony, PRIMARY)
    daemon = bench.daemon(clock_offset=-DAY)
    check_fakes(daemon)
    session = bench.vty(daemon)
    session.command(f"ntp server ntp1.lab {SECONDARY}")
    session.command("ntp enable")
    assert daemon.shim is not None
    daemon.shim.wait_events("settimeofday")
    [(diff,)] = wait_for("the step's row", lambda: rows(bench.world, "SELECT diff FROM clock_step"))
    assert abs(diff - DAY) <= 1

    session.command("timezone continent Europe location Paris")
    assert os.readlink(bench.world.path("/etc/localtime")) == "/usr/share/zoneinfo/Europe/Paris"
    assert session.command("do write file") == b"Configuration saved to /etc/frr/horad.conf\r\n"
    shown = session.command("show ntp")
    assert b"ntp1.lab" in shown and b"Europe-Paris" in shown
    assert daemon.stop() == 0

    again = bench.daemon(config=None)
    check_fakes(again)
    assert again.shim is not None
    again.shim.requests(1)
    assert bench.vty(again).command("show ntp") == shown


def test_an_empty_configuration_is_put_right_before_the_start(bench: Bench, unit: Unit) -> None:
    folder, file = bench.world.path("/etc/frr"), bench.world.path(CONFIG)
    file.write_text("")
    saved = file.with_name("horad.conf.sav")
    saved.write_text(BASE_CONFIG)
    for path in (folder, file, saved):  # the routing package's, as below
        os.chown(path, 123, 123)
    program, *arguments = unit.command("ExecStartPre")
    assert program.startswith("-"), "it may fail"
    assert arguments == ["--journal", "-f", CONFIG, "-A", "127.0.0.1"]
    assert run(bench, [*bench.build.command(), program[1:], *arguments]).stderr.startswith(b"<4>horad: ")
    bench.vty(bench.daemon(config=None))


def test_it_starts_without_a_complaint(bench: Bench) -> None:
    daemon = bench.daemon()
    assert daemon.stderr() == b""
    assert bench.world.path("/run/horad/horad.pid").read_text().split() == [
        line.split()[-1] for line in Path(f"/proc/{daemon.pid}/status").read_text().splitlines() if "NSpid" in line
    ]
    assert bench.world.path("/run/horad/horad.vty").is_socket()


def test_it_exports_a_zone_by_offset(bench: Bench) -> None:
    bench.world.path("/etc/profile").write_text("export TZ=UTC\n")
    daemon = bench.daemon(calls=1, profile_commands=1)
    check_fakes(daemon)
    assert daemon.shim is not None
    assert daemon.shim.call("set_system_timezone", "8:30").result == 0
    assert bench.world.path("/etc/TZ").read_text() == "UTC-8:30"
    assert bench.world.path("/etc/profile").read_text() == "export TZ=UTC-8:30\n"
    assert daemon.shim.call("zdump_main", "zdump", "-c", "2020,2021", "-v", "Europe/Paris").result == 0


def test_it_writes_a_folder_of_the_routing_package(bench: Bench) -> None:
    """Which takes /etc/frr and all of root's files in it for a user of its own."""
    folder, file = bench.world.path("/etc/frr"), bench.world.path(CONFIG)
    file.write_text(BASE_CONFIG)
    for path, mode in ((folder, 0o750), (file, 0o640)):
        os.chown(path, 123, 123)
        path.chmod(mode)
    daemon = bench.daemon(config=None)
    session = bench.vty(daemon, "enable")
    for _ in "once", "and once more, with a saved one beside it":
        assert session.command("write file") == b"Configuration saved to /etc/frr/horad.conf\r\n"


def test_its_own_log_folder(bench: Bench) -> None:
    session = bench.vty(bench.daemon(), "config")
    assert session.command("log file /var/log/horad/horad.log") == b""
    assert bench.world.path("/var/log/horad/horad.log").exists()
    elsewhere = "/var/log/horad.log"
    assert b"can't open logfile" in session.command(f"log file {elsewhere}")
    assert not bench.world.path(elsewhere).exists()


def test_log_stdout_goes_to_the_journal(bench: Bench) -> None:
    """Also as the service manager starts it: with a variable that turns this off in the library."""
    output = bench.world.path("/tmp/horad0.stdout")
    output.touch()
    stream = f"{output.stat().st_dev}:{output.stat().st_ino}"
    daemon = bench.daemon(BASE_CONFIG + "log stdout\n", environment={"JOURNAL_STREAM": stream})
    daemon.send_signal(signal.SIGHUP)
    daemon.wait_stdout(b"SIGHUP received")


def test_the_library_logs_to_the_journal(bench: Bench) -> None:
    with Journal(bench.world) as journal:
        daemon = bench.daemon(BASE_CONFIG + "no such line\n")
        error, information = 3, 6
        journal.wait(error, "No such command on config line 2: no such line")
        daemon.send_signal(signal.SIGHUP)
        journal.wait(information, "SIGHUP received")


def test_the_daemon_is_confined(bench: Bench, unit: Unit) -> None:
    daemon = bench.daemon()
    given = set(unit.words("Service", "CapabilityBoundingSet")) - {"CAP_SYS_TIME"}  # nothing in the lab has it
    for kind in ("CapBnd", "CapPrm", "CapEff"):
        assert capability_set(kind, str(daemon.pid)) == given
    assert daemon.status_field("NoNewPrivs") == 1
    assert daemon.status_field("Seccomp") == 2


# --- what gets through, tried by a program in the daemon's place

PROBE = r"""
import ctypes, errno, json, mmap, os, shutil, socket, subprocess

libc = ctypes.CDLL(None, use_errno=True)

def call(name, *arguments):
    if getattr(libc, name)(*arguments) == -1:
        raise OSError(ctypes.get_errno(), name)

def writable(path):
    if not os.access(path, os.W_OK):
        raise OSError(errno.EROFS, path)

def open_in(folder):
    if os.stat(folder).st_mode & 0o777 == 0:
        raise OSError(errno.EACCES, folder)

def run_from(folder):
    shutil.copy("/usr/bin/true", folder + "/program")
    try:
        subprocess.run([folder + "/program"], check=True)
    finally:
        os.unlink(folder + "/program")

def set_id(path):
    open(path, "w").close()
    os.chmod(path, 0o4755)

scheduling = os.sched_param(1)
probes = {
    "write /usr": lambda: writable("/usr"),
    "write /var": lambda: writable("/var"),
    "write /sys": lambda: writable("/sys/kernel"),
    "write /proc/sys": lambda: writable("/proc/sys/kernel/domainname"),
    "see /home": lambda: open_in("/home"),
    "see /root": lambda: open_in("/root"),
    "see /var/lib": lambda: open("/var/lib/other/file"),
    "see /run/frr": lambda: os.stat("/run/frr/other.vty"),
    "see /tmp": lambda: os.stat("/tmp/other"),
    "see host keys": lambda: open("/etc/ssh/key"),
    "see passwords": lambda: open("/etc/shadow").read()[0],
    "run from /etc": lambda: run_from("/etc"),
    "run from /tmp": lambda: run_from("/tmp"),
    "run from /run": lambda: run_from("/run/horad"),
    "netlink socket": lambda: socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, 0),
    "packet socket": lambda: socket.socket(socket.AF_PACKET, socket.SOCK_RAW, 0),
    "raw socket": lambda: socket.socket(socket.AF_INET, socket.SOCK_RAW, 1),
    "host name": lambda: socket.sethostname(socket.gethostname()),
    "made code": lambda: mmap.mmap(-1, 4096, prot=mmap.PROT_WRITE | mmap.PROT_EXEC),
    "real time": lambda: os.sched_setscheduler(0, os.SCHED_FIFO, scheduling),
    "set-id bit": lambda: set_id("/etc/set-id"),
    "owner": lambda: os.chown("/etc/nsswitch.conf", 123, -1),
    "user": lambda: os.setresuid(0, 0, 0),
    "personality": lambda: call("personality", 0x0040000),
    "memory lock": lambda: call("mlock", ctypes.create_string_buffer(1), 1),
    "shared memory": lambda: call("shmget", 0, 4096, 0o600),
    "root folder": lambda: os.chroot("/"),
    "UTS namespace": lambda: call("unshare", 0x04000000),
    "mount": lambda: call("mount", b"none", b"/", None, ctypes.c_ulong(0x44000), None),  # private, as it is
    # These are the daemon's work.
    "write /etc": lambda: writable("/etc"),
    "UDP socket": lambda: socket.socket(socket.AF_INET, socket.SOCK_DGRAM),
    "IPv6 socket": lambda: socket.socket(socket.AF_INET6, socket.SOCK_DGRAM),
    "local socket": lambda: socket.socket(socket.AF_UNIX, socket.SOCK_STREAM),
    "read frequency": lambda: call("adjtimex", (ctypes.c_long * 64)()),
    # The monotonic clock: the kernel itself refuses that, as what it is.
    "set a clock": lambda: call("clock_settime", 1, (ctypes.c_long * 2)()),
    # Anybody may have one, so nothing but the filter refuses it.  It takes all rights
    # along that the others need: the last.
    "users' namespace": lambda: call("unshare", 0x10000000),
}

def outcome(probe):
    try:
        probe()
        return "done"
    except IndexError:
        return "empty"
    except OSError as error:
        return errno.errorcode[error.errno]

print(json.dumps({name: outcome(probe) for name, probe in probes.items()}))
"""

REFUSED = {
    "write /usr": "EROFS",
    "write /var": "EROFS",
    "write /sys": "EROFS",
    "write /proc/sys": "EROFS",
    "see /home": "EACCES",
    "see /root": "EACCES",
    "see /var/lib": "ENOENT",
    "see /run/frr": "ENOENT",
    "see /tmp": "ENOENT",
    "see host keys": "ENOENT",
    "see passwords": "empty",
    "run from /etc": "EACCES",
    "run from /tmp": "EACCES",
    "run from /run": "EACCES",
    "netlink socket": "EAFNOSUPPORT",
    "packet socket": "EAFNOSUPPORT",
    "raw socket": "EPERM",
    "UTS namespace": "EPERM",
    "host name": "EPERM",
    "made code": "EPERM",
    "real time": "EPERM",
    "set-id bit": "EPERM",
    "owner": "EPERM",
    "user": "EPERM",
    "personality": "EPERM",
    "memory lock": "EPERM",
    "shared memory": "EPERM",
    "root folder": "EPERM",
    "mount": "EPERM",
    "users' namespace": "EPERM",
}
ALLOWED = {"write /etc", "UDP socket", "IPv6 socket", "local socket", "read frequency"}


def probe(bench: Bench, *before: str) -> dict[str, str]:
    hidden = ("/var/lib/other/file", "/run/frr/other.vty", "/tmp/other", "/etc/ssh/key", "/etc/shadow")
    for path in (*hidden, "/run/horad/file"):
        bench.world.path(path).parent.mkdir(exist_ok=True)
        bench.world.path(path).write_text("secret\n")
    tried = run(bench, [*before, "/usr/bin/python3", "-c", PROBE])
    assert tried.stderr == b""
    return json.loads(tried.stdout)


def test_only_what_it_needs_gets_through(bench: Bench) -> None:
    found = probe(bench, *bench.build.command())
    # Past the filter, and refused by the kernel for what it is.
    assert found.pop("set a clock") == errno.errorcode[errno.EINVAL]
    assert found == {**REFUSED, **dict.fromkeys(ALLOWED, "done")}


def test_all_of_it_gets_through_without_the_sandbox(bench: Bench) -> None:
    """So that it is the sandbox that refuses."""
    found = probe(bench)
    assert {name: found[name] for name in REFUSED} == dict.fromkeys(REFUSED, "done")


def test_the_hardware_clock_is_all_that_is_missing(bench: Bench) -> None:
    """Nothing of the sandbox is in the way of the program that sets it, up to the clock itself."""
    errors = run(bench, [*bench.build.command(), "hwclock", "-w"]).stderr
    assert b"Cannot access the Hardware Clock" in errors or b"RTC_SET_TIME" in errors, errors


def test_the_sandbox_refuses_the_machine_itself(root: Path) -> None:
    without_clock = ["setpriv", "--bounding-set", "-sys_time", "--inh-caps", "-sys_time", "--"]
    for before, reason in (([], "clock"), (without_clock, "folders")):
        refused = subprocess.run(
            [*before, *SANDBOX, str(root), "true"], capture_output=True, text=True, check=False
        )
        assert refused.returncode == 1 and reason in refused.stderr
