# SPDX-License-Identifier: GPL-2.0-or-later
"""The process: its options, the files it leaves, what it exports."""
from __future__ import annotations

import os
import re
import shlex
import signal
import socket
import subprocess
from pathlib import Path

import pytest

from lab import BASE_CONFIG, CONFIG, DAEMON_ADDRESS, PROJECT, Build, World, number_inside, wait_for
from lab.bench import PRIMARY, Bench, configured

EXPORTED = {
    *("ctime", "ctime_r", "gmtime", "gmtime_r", "localtime", "localtime_r", "mktime", "tzset"),
    *("icalloc", "icatalloc", "icfree", "icpyalloc", "ifree", "imalloc", "irealloc", "scheck"),
    *("localtime_rz", "mktime_z", "tzalloc", "tzfree"),
    *("contemplate_data", "find_df", "find_df_center", "find_shift", "interpolate", "next_dn", "next_up"),
    *("polygon_point", "polygon_reset", "search"),
    "get_is_using_dst",
    "horad_client_status",
    "horad_client_watch",
    "ntp_lock",
    "ntp_unlock",
    "set_g_ntp_en",
    "set_is_using_dst",
    *("get_system_timezone", "get_timezone_east", "get_timezone_offset", "set_timezone_east", "set_timezone_offset"),
    *("set_system_timezone", "set_system_timezone_by_path", "set_system_timezone_new", "show_system_timezone"),
    *("sync_sys_timezone", "systemGetDstCfg", "zdump_main"),
}


def answers(world: World, address: str, port: int) -> bool:
    with world.socket("daemon", socket.SOCK_STREAM) as probe:
        probe.settimeout(5)
        return probe.connect_ex((address, port)) == 0


def wait_answer(world: World, address: str, port: int) -> None:
    wait_for(f"an answer from {address} port {port}", lambda: answers(world, address, port))


def test_help(bench: Bench) -> None:
    daemon = bench.daemon(arguments=["--help"], ready=False)
    assert daemon.wait() == 0
    text = daemon.stdout()
    assert text.startswith(b"Usage: horad [OPTION...]\n\nImplementation of the NTP protocol.\n\n")
    assert b"-f, --config_file" in text
    assert daemon.stderr() == b""


@pytest.mark.parametrize("option", ["--nonsense", "-Q", "--vty_port"])
def test_unknown_option(bench: Bench, option: str) -> None:
    daemon = bench.daemon(arguments=[option], ready=False)
    assert daemon.wait() == 1
    assert b"Usage: horad [OPTION...]" in daemon.stderr()
    assert daemon.stdout() == b""


@pytest.mark.parametrize("option", ["-A 127.0.0.1", "-P 2705", "--vty_socket /tmp"])
def test_option_given_twice(bench: Bench, option: str) -> None:
    daemon = bench.daemon(arguments=[*option.split(), *option.split()], ready=False)
    assert daemon.wait() == 1
    assert b"option specified more than once!" in daemon.stderr()


def test_second_daemon(bench: Bench) -> None:
    """It leaves the first one alone."""
    first = bench.daemon(arguments=["-i", "/tmp/horad.pid"])
    second = bench.daemon(arguments=["-i", "/tmp/horad.pid", "-P", "0"], ready=False)
    assert second.wait() == 1
    assert first.running


VERSION = b"horad version "


@pytest.mark.parametrize(
    "line",
    ["--version", "-v", "--vers", "--ve", "-dv", "-vd", "-d -v", "-P 0 --version", "--log=stdout -v",
     "--log stdout -v", "-N -N -v", "-v --help", "-v --nonsense", "word -v"],
)
def test_version(bench: Bench, line: str) -> None:
    daemon = bench.daemon(arguments=line.split(), ready=False)
    assert daemon.wait() == 0
    assert re.fullmatch(
        rb"horad version \d+\.\d+\.\d+\n"
        rb"revision \S+\n"
        rb"built for (x86_64|aarch64) by \S+ [\d.]+, \S+\n"
        rb"with libfrr \d+\.\d+\S*\n",
        daemon.stdout(),
    )
    assert daemon.stderr() == b""


@pytest.mark.parametrize("line", ["-N -v", "-N --version", "--pathspace -v", "-- -v", "-- --version", "-d -f -v"])
def test_argument_that_reads_like_version(bench: Bench, line: str) -> None:
    """It is the value of another option, or no option at all: the daemon starts."""
    daemon = bench.daemon(arguments=line.split(), ready=False)
    wait_answer(bench.world, "127.0.0.1", 2705)
    assert VERSION not in daemon.stdout()
    if "-d" in line.split():
        assert daemon.wait() == 0  # the one in the background may answer before it
    for pid in bench.world.orphans():
        os.kill(pid, signal.SIGTERM)
    wait_for("the end of those in the background", lambda: not bench.world.orphans())


@pytest.mark.parametrize(
    ("line", "status", "said"),
    [
        ("--help -v", 0, b"Usage: horad"),
        ("-hv", 0, b"Usage: horad"),
        ("--nonsense -v", 1, b"unrecognized option '--nonsense'"),
        ("-Q -v", 1, b"invalid option -- 'Q'"),
        ("--v", 1, b"option '--v' is ambiguous"),
        ("--version=3", 1, b"option '--version' doesn't allow an argument"),
        ("--versions", 1, b"unrecognized option '--versions'"),
        ("-A -v -A -v", 1, b"-A option specified more than once!"),
        ("-P -v", 1, b'invalid port number "-v" for -P option'),
        ("-P --version", 1, b'invalid port number "--version" for -P option'),
    ],
)
def test_another_answer_than_the_version(bench: Bench, line: str, status: int, said: bytes) -> None:
    daemon = bench.daemon(arguments=line.split(), ready=False)
    assert daemon.wait() == status
    assert said in (daemon.stderr() if status else daemon.stdout())
    assert VERSION not in daemon.stdout()


def test_version_is_the_projects(bench: Bench) -> None:
    """In what the program says, the man page and the package."""
    version = re.search(r"project\(horad VERSION (\S+)", (PROJECT / "CMakeLists.txt").read_text())
    assert version is not None
    daemon = bench.daemon(arguments=["--version"], ready=False)
    daemon.wait()
    assert daemon.stdout().startswith(f"horad version {version[1]}\n".encode())
    assert f'"horad {version[1]}"' in (PROJECT / "docs" / "horad.8").read_text()
    assert (PROJECT / "packaging" / "debian" / "changelog").read_text().startswith(f"horad ({version[1]}) ")


@pytest.mark.parametrize("option", ["-f", "--config_file"])
def test_configuration_file(bench: Bench, option: str) -> None:
    bench.world.path("/etc/other.conf").write_text(configured(PRIMARY))
    daemon = bench.daemon("password wrong\n", arguments=[option, "/etc/other.conf"])
    assert bench.vty(daemon).command("show ntp").startswith(b"NTP server is 10.77.0.1, ")
    # It is also where the configuration is saved.
    answer = bench.vty(daemon, "enable").command("write file")
    assert answer == b"Configuration saved to /etc/other.conf\r\n"


def test_pid_file(bench: Bench) -> None:
    daemon = bench.daemon(arguments=["-i", "/tmp/my.pid"])
    inside = number_inside(Path(f"/proc/{daemon.pid}/status").read_text())
    assert bench.world.path("/tmp/my.pid").read_text() == f"{inside}\n"


def test_default_places(bench: Bench) -> None:
    bench.daemon()
    assert bench.world.path("/run/frr/horad.pid").exists()
    assert bench.world.path("/run/frr/horad.vty").is_socket()


def test_port_and_address(bench: Bench) -> None:
    bench.daemon(arguments=["-P", "2799", "-A", DAEMON_ADDRESS], ready=False)
    wait_answer(bench.world, DAEMON_ADDRESS, 2799)
    assert not answers(bench.world, "127.0.0.1", 2799)
    assert not answers(bench.world, DAEMON_ADDRESS, 2705)


def test_default_port(bench: Bench) -> None:
    bench.daemon()
    for address in ("127.0.0.1", DAEMON_ADDRESS):
        assert answers(bench.world, address, 2705)


def test_no_port(bench: Bench) -> None:
    bench.daemon(arguments=["-P", "0"], ready=False)
    wait_for("the local socket", bench.world.path("/run/frr/horad.vty").exists)
    assert not answers(bench.world, "127.0.0.1", 2705)


def test_folder_of_the_local_socket(bench: Bench) -> None:
    bench.daemon(arguments=["--vty_socket", "/tmp"])
    assert bench.world.path("/tmp/horad.vty").is_socket()
    assert not bench.world.path("/run/frr/horad.vty").exists()


def test_log_option(bench: Bench) -> None:
    log = bench.world.path("/tmp/horad.log")
    daemon = bench.daemon(arguments=["--log", "file:/tmp/horad.log", "--log-level", "info"])
    daemon.send_signal(signal.SIGHUP)
    wait_for("the message", lambda: log.exists() and b"SIGHUP received\n" in log.read_bytes())
    assert b" HORAD: " in log.read_bytes().splitlines()[-1]


def test_log_on_standard_output(bench: Bench) -> None:
    daemon = bench.daemon(arguments=["--log", "stdout", "--log-level", "info"])
    daemon.send_signal(signal.SIGHUP)
    daemon.wait_stdout(b"SIGHUP received\n")


def test_daemonised(bench: Bench) -> None:
    daemon = bench.daemon(configured(PRIMARY), arguments=["-d", "-i", "/tmp/my.pid"], ready=False)
    assert daemon.wait() == 0
    (pid,) = wait_for("the daemon in the background", bench.world.orphans)
    wait_answer(bench.world, "127.0.0.1", 2705)
    assert bench.world.path("/tmp/my.pid").read_text() == (
        f"{number_inside(Path(f'/proc/{pid}/status').read_text())}\n"
    )
    # The client was started after the fork, in the process that stayed.
    assert daemon.shim is not None
    daemon.shim.requests(1)
    assert bench.vty(daemon).command("show ntp").startswith(b"NTP server is")
    os.kill(pid, signal.SIGTERM)
    wait_for("its end", lambda: not bench.world.orphans())


@pytest.mark.parametrize("closed", ["<&-", ">&-", "2>&-", "<&- >&-", "<&- >&- 2>&-"])
def test_started_without_standard_streams(bench: Bench, closed: str) -> None:
    """Their places are not taken by what the daemon opens."""
    bench.world.path(CONFIG).write_text(BASE_CONFIG)
    words = shlex.join(bench.build.command())
    process = bench.world.spawn(
        "daemon", ["sh", "-c", f"exec {words} {closed}"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL
    )
    try:
        wait_answer(bench.world, "127.0.0.1", 2705)
        assert [os.readlink(f"/proc/{process.pid}/fd/{stream}") for stream in range(3)] == ["/dev/null"] * 3
    finally:
        bench.world.end(process)


def test_output_in_a_file_is_there_line_by_line(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, unbuffered=0)
    bench.vty(daemon).command("timezone continent Europe location Pariss")
    assert daemon.running
    assert daemon.stdout() == b"\r\nThe location name is wrong or does not exist in Europe!\r\n"


def test_client_thread_has_its_name(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY)
    wait_for("the client thread", lambda: daemon.thread("ntpClient"))


def test_working_without_a_terminal_or_shim(bench: Bench) -> None:
    """As it is shipped: nothing preloaded."""
    daemon = bench.daemon(BASE_CONFIG, shim=False)
    assert bench.vty(daemon).command("show ntp") == b"NTP protcol is disable!\r\r\n"


@pytest.mark.uncounted_build
def test_exported_names(build: Build) -> None:
    listing = subprocess.run(
        ["nm", "-D", "--defined-only", str(build.daemon)], check=True, capture_output=True, text=True
    ).stdout
    # What libfrr calls here instead of its own is for nobody else.
    replaced = {"print_version"}
    code = {line.split()[-1] for line in listing.splitlines() if line.split()[-2] in "TW"}
    runtime = {name for name in code if name.startswith(("_", "__"))}
    assert code - runtime - replaced == EXPORTED
