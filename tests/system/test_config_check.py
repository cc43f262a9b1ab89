# SPDX-License-Identifier: GPL-2.0-or-later
"""Wrong lines of a configuration are told before the daemon serves, and by -C without one."""
from __future__ import annotations

import contextlib
import os
import signal
import socket
import threading
import time
from typing import Iterator

import pytest

from lab import BASE_CONFIG, CONFIG, TIME_FACTOR, Daemon, wait_for
from lab.bench import PRIMARY, SECONDARY, Bench, configured
from lab.database import DATABASE

WRONG = f"""{BASE_CONFIG}! a comment
ntp sever {PRIMARY}
line vty
 exec-timeout
 exec-timeout 10 0
!
debug ntp o
ntp
 ntp server {PRIMARY} 0.0.0.0
 ntp server {"p" * 128}
 ntp server {PRIMARY} {"s" * 129}
 second ntp server2
 ntp enable
 timezone continent Europe location Paris
 ntp server {PRIMARY}
 second ntp server2 {SECONDARY}
 ntp enable
 timezone continent Europe location Pariss
 dst continent Europe location Paris
 ntp disable
 timezone continent Europe location Paris
 no second ntp server2 {SECONDARY}
exit
hostname found
\tbogus\033[31m
"""

TOLD = {
    3: f"unknown command: ntp sever {PRIMARY}",
    5: "incomplete command: exec-timeout",
    8: "ambiguous command: debug ntp o",
    10: f"Slave ip address can't manually config 0.0.0.0 !!!.: ntp server {PRIMARY} 0.0.0.0",
    11: f"Master Hostname or IP address does not fit: at most 127 characters.: ntp server {'p' * 128}",
    12: f"Slave Hostname or IP address too long. Maximum is 128.: ntp server {PRIMARY} {'s' * 129}",
    13: "% Command incomplete.: second ntp server2",
    14: "ntp server ip not set!: ntp enable",
    15: "NTP protcol is disable!: timezone continent Europe location Paris",
    19: "The location name is wrong or does not exist in Europe!: timezone continent Europe location Pariss",
    20: "Operation is not supported. DST will be calculated automatically when setting time zone!: "
    "dst continent Europe location Paris",
    22: "NTP protcol is disable!: timezone continent Europe location Paris",
    26: "unknown command: ?bogus?[31m",
}


def told(daemon: Daemon) -> list[bytes]:
    """The lines of standard error that begin with the program's name."""
    return [line for line in daemon.stderr().splitlines() if line.startswith(b"horad: ")]


def expected(path: str = CONFIG) -> list[bytes]:
    return [f"horad: {path}:{number}: {text}".encode() for number, text in TOLD.items()]


def check(bench: Bench, config: str | bytes | None, *arguments: str) -> Daemon:
    daemon = bench.daemon(config, arguments=["-C", *arguments], ready=False)
    daemon.wait()
    return daemon


def test_each_wrong_line_is_named_by_the_check(bench: Bench) -> None:
    daemon = check(bench, WRONG)
    assert daemon.status == 1
    assert daemon.stderr().splitlines() == expected()
    assert daemon.stdout() == b""


def test_each_wrong_line_is_named_before_the_daemon_serves(bench: Bench) -> None:
    daemon = bench.daemon(WRONG)
    assert told(daemon) == expected()
    # The library's own words on refusals come after ours.
    assert daemon.stderr().startswith(b"\n".join(expected()))
    # The good lines count.
    assert b"NTP protcol is disable!" in bench.vty(daemon).command("show ntp")
    assert PRIMARY.encode() in bench.vty(daemon).command("show ntp json")


def test_the_check_leaves_nothing_behind_for_the_reading(bench: Bench) -> None:
    config = configured(PRIMARY, SECONDARY) + " timezone continent Europe location Pariss\n"
    daemon = bench.daemon(config)
    assert daemon.stdout().count(b"The location name is wrong or does not exist in Europe!") == 1
    assert told(daemon) == [
        f"horad: {CONFIG}:5: The location name is wrong or does not exist in Europe!: "
        "timezone continent Europe location Pariss".encode()
    ]


def test_a_zero_byte_is_told(bench: Bench) -> None:
    """It ends the line for the library."""
    daemon = check(bench, f"ntp\n ntp server {PRIMARY}\0 {SECONDARY} more\n\0bogus\nbogus\0\nhostname a\0".encode())
    assert daemon.status == 1
    hidden = "what follows a zero byte is not read"
    assert told(daemon) == [
        f"horad: {CONFIG}:2: {hidden}: ntp server {PRIMARY}".encode(),
        f"horad: {CONFIG}:3: {hidden}: ".encode(),
        f"horad: {CONFIG}:4: unknown command: bogus".encode(),
        f"horad: {CONFIG}:5: {hidden}: hostname a".encode(),
    ]


def test_in_the_background_it_is_told_before_the_start_returns(bench: Bench) -> None:
    daemon = bench.daemon("bogus\n", arguments=["-d"], ready=False)
    assert daemon.wait() == 0
    assert told(daemon) == [f"horad: {CONFIG}:1: unknown command: bogus".encode()]


def test_it_is_read_as_root(bench: Bench) -> None:
    """As the start will read it."""
    daemon = bench.daemon("bogus\n", ready=False, kill_before="seteuid")
    daemon.wait()
    assert daemon.stderr() == b""
    # The database was opened before that, as whoever started the daemon.
    assert bench.world.path(DATABASE).exists()


@contextlib.contextmanager
def pipe_with(bench: Bench, config: str) -> Iterator[str]:
    """It can be read once."""
    pipe = bench.world.path("/tmp/pipe")
    os.mkfifo(pipe)
    writer = threading.Thread(target=pipe.write_text, args=(config,), daemon=True)
    writer.start()
    yield "/tmp/pipe"
    writer.join(10 * TIME_FACTOR)
    assert not writer.is_alive(), "nobody has read it"


def test_a_pipe_is_left_to_the_start(bench: Bench) -> None:
    with pipe_with(bench, f"{BASE_CONFIG}hostname once\n") as pipe:
        daemon = bench.daemon(None, arguments=["-f", pipe])
    assert told(daemon) == []
    assert bench.vty(daemon, "enable").command("show running-config").count(b"hostname once") == 1


def test_a_pipe_is_checked_when_nothing_starts(bench: Bench) -> None:
    with pipe_with(bench, "bogus\n") as pipe:
        daemon = check(bench, None, "-f", pipe)
    assert (daemon.status, told(daemon)) == (1, [f"horad: {pipe}:1: unknown command: bogus".encode()])


def test_a_check_that_is_to_end_does_not_say_that_all_is_well(bench: Bench) -> None:
    """The time in which a daemon has to end after a signal is not the check's."""
    pipe = bench.world.path("/tmp/pipe")
    os.mkfifo(pipe)
    daemon = bench.daemon(None, arguments=["-C", "-f", "/tmp/pipe"], ready=False)

    def opened() -> int | None:
        with contextlib.suppress(OSError):  # until somebody reads
            return os.open(pipe, os.O_WRONLY | os.O_NONBLOCK)
        return None

    with open(wait_for("the check", opened), "w") as writer:
        daemon.send_signal(signal.SIGTERM)
        time.sleep(3.5)
        writer.write("bogus\n")
    assert daemon.wait() == 1
    assert told(daemon) == [b"horad: /tmp/pipe:1: unknown command: bogus"]


def test_a_good_configuration_says_nothing(bench: Bench) -> None:
    config = configured(PRIMARY, SECONDARY, debug=True) + " timezone continent Europe location Paris\nline vty\nexit\n"
    daemon = check(bench, config)
    assert (daemon.status, daemon.stderr(), daemon.stdout()) == (0, b"", b"")
    assert told(bench.daemon(config)) == []


def test_what_the_daemon_writes_passes_the_check(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, SECONDARY)
    bench.vty(daemon).command("timezone continent Pacific location Chatham")
    bench.vty(daemon, "enable").command("write file")
    assert daemon.stop() == 0
    assert check(bench, bench.world.path(CONFIG).read_bytes()).status == 0


def test_lines_are_looked_for_in_the_nodes_above(bench: Bench) -> None:
    config = f"ntp\nhostname above\n ntp server {PRIMARY} {SECONDARY}\nline vty\nntp terminal\n ntp enable\n"
    daemon = check(bench, config)
    # After "hostname" the daemon's node is left.
    assert daemon.stderr().splitlines() == [f"horad: {CONFIG}:3: unknown command: ntp server {PRIMARY} {SECONDARY}".encode(),
                                            f"horad: {CONFIG}:6: ntp server ip not set!: ntp enable".encode()]


def test_lines_lead_out_of_the_configuration_and_back(bench: Bench) -> None:
    many = " ".join("word" for _ in range(100))
    config = f"end\nhostname outside\nconfigure terminal\nhostname inside\nbanner motd line {many}\nquit\nhostname outside\n"
    daemon = check(bench, config)
    assert told(daemon) == [
        f"horad: {CONFIG}:2: unknown command: hostname outside".encode(),
        f"horad: {CONFIG}:7: unknown command: hostname outside".encode(),
    ]


def test_the_check_touches_nothing(bench: Bench) -> None:
    link = bench.world.path("/etc/localtime")
    before = os.readlink(link) if link.is_symlink() else link.exists()
    server = bench.server(PRIMARY)
    config = configured(PRIMARY, SECONDARY) + " timezone continent Europe location Paris\nno timezone\nlog file /tmp/log\n"
    daemon = check(bench, config)
    assert daemon.status == 0
    assert (os.readlink(link) if link.is_symlink() else link.exists()) == before
    assert not bench.world.path("/tmp/log").exists()
    assert not bench.world.path("/var/lib/horad/config.db").exists()
    assert not list(bench.world.path("/run/frr").glob("*"))
    assert server.requests == []
    assert daemon.shim is not None
    # The zone of log stamps is read; nothing else happens.
    assert {(event.name, event.data.get("writes", False)) for event in daemon.shim.events()} <= {
        ("open", False),
        ("close", False),
        ("flush", False),
    }


@pytest.mark.parametrize("how", ["check", "start"])
def test_a_missing_file(bench: Bench, how: str) -> None:
    arguments = ["-f", "/etc/frr/nowhere.conf"]
    reason = "horad: /etc/frr/nowhere.conf: No such file or directory"
    if how == "check":
        daemon = check(bench, None, *arguments)
        assert daemon.status == 1
        assert told(daemon) == [reason.encode()]
    else:
        daemon = bench.daemon(None, arguments=arguments)
        assert told(daemon) == [f"{reason}; starting without a configuration".encode()]


def test_a_missing_default_file(bench: Bench) -> None:
    daemon = check(bench, None)
    assert daemon.status == 1
    assert told(daemon) == [f"horad: {CONFIG}: No such file or directory".encode()]


def test_a_folder_in_its_place(bench: Bench) -> None:
    daemon = check(bench, None, "-f", "/etc/frr")
    assert daemon.status == 1
    assert told(daemon) == [b"horad: /etc/frr: Is a directory"]


def test_the_former_file_is_used_for_a_missing_one(bench: Bench) -> None:
    bench.world.path(f"{CONFIG}.sav").write_text("bogus\n")
    daemon = bench.daemon(None)
    assert told(daemon) == [
        f"horad: {CONFIG}: No such file or directory; using {CONFIG}.sav".encode(),
        f"horad: {CONFIG}.sav:1: unknown command: bogus".encode(),
    ]


def test_a_file_of_the_shell_keeps_the_daemons_own_from_being_read(bench: Bench) -> None:
    bench.world.path("/etc/frr/frr.conf").write_text("")
    daemon = check(bench, "bogus\n")
    assert daemon.status == 1
    assert told(daemon) == [f"horad: {CONFIG} is not read: /etc/frr/frr.conf is there; name it with -f".encode()]
    named = check(bench, "bogus\n", "-f", CONFIG)
    assert told(named) == [f"horad: {CONFIG}:1: unknown command: bogus".encode()]


def test_the_journal_is_told_a_priority(bench: Bench) -> None:
    # The journal is a socket, and takes "<4>" for a warning.
    ours, theirs = socket.socketpair()
    bench.world.path(CONFIG).write_text("bogus\n")
    process = bench.world.spawn(
        "daemon",
        [*bench.build.command(), "-C"],
        environment={"ASAN_OPTIONS": "detect_leaks=0"},  # as in every other run
        stderr=theirs.fileno(),
    )
    theirs.close()
    assert process.wait(20) == 1
    text = b""
    while piece := ours.recv(4096):
        text += piece
    ours.close()
    assert text == f"<4>horad: {CONFIG}:1: unknown command: bogus\n".encode()


def test_a_very_long_line_is_told_in_pieces_with_its_number(bench: Bench) -> None:
    """The library reads 4,095 characters at a time, and takes what follows for a line."""
    daemon = check(bench, f"hostname a\n! {'x' * 4100}\nbogus\n! {'y' * 4092}\nbogus")
    assert daemon.status == 1
    assert told(daemon) == [
        f"horad: {CONFIG}:{number}: unknown command: {text}".encode()
        for number, text in ((2, "x" * 7), (3, "bogus"), (5, "bogus"))
    ]
