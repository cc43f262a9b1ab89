# SPDX-License-Identifier: GPL-2.0-or-later
"""What the library logs, as the service manager's journal gets it."""
from __future__ import annotations

import signal
from dataclasses import dataclass
from typing import Iterator

import pytest

from lab import BASE_CONFIG, CONFIG, Build, Daemon, World
from lab.bench import Bench
from lab.journal import Journal, with_log

# As the system's log numbers them.
ERROR, NOTICE, INFORMATION = 3, 5, 6

TO_STDOUT = BASE_CONFIG + "log stdout\n"
RECEIVED = b"SIGHUP received"


# --- standard output


def own_output(bench: Bench) -> dict[str, str]:
    """The service manager's word for a daemon whose standard output is the journal."""
    output = bench.world.path("/tmp/horad0.stdout")
    output.touch()
    status = output.stat()
    return {"JOURNAL_STREAM": f"{status.st_dev}:{status.st_ino}"}


def logs_to_stdout(daemon: Daemon) -> None:
    daemon.send_signal(signal.SIGHUP)
    daemon.wait_stdout(RECEIVED)


def test_log_stdout(bench: Bench) -> None:
    logs_to_stdout(bench.daemon(TO_STDOUT))


@pytest.mark.libfrr_from(8, 4)  # 8.0 writes it all the same
def test_log_stdout_is_lost_where_that_is_called_the_journal(bench: Bench) -> None:
    """The library then logs to a journal that it never opened: why the unit takes the variable away."""
    daemon = bench.daemon(TO_STDOUT, environment=own_output(bench))
    daemon.send_signal(signal.SIGHUP)
    assert b"Stdout logging: level debugging" in bench.vty(daemon, "view").command("show logging")
    assert daemon.stop() == 0
    assert RECEIVED not in daemon.stdout() + daemon.stderr()


def test_log_stdout_where_another_file_is_called_so(bench: Bench) -> None:
    logs_to_stdout(bench.daemon(TO_STDOUT, environment={"JOURNAL_STREAM": "1:1"}))


# --- the system's log, as the unit has it


@dataclass(frozen=True)
class Logging(Build):
    def command(self) -> list[str]:
        return with_log(super().command())


@pytest.fixture
def journal(world: World, bench: Bench) -> Iterator[Journal]:
    with Journal(world) as journal:
        yield journal


@pytest.fixture
def logging(world: World, build: Build, journal: Journal) -> Iterator[Bench]:
    with Bench(world, Logging(build.folder)) as bench:
        yield bench


def test_everything_with_its_priority(logging: Bench, journal: Journal) -> None:
    daemon = logging.daemon(BASE_CONFIG + "no such line\n", arguments=["--log", "syslog"])
    daemon.send_signal(signal.SIGHUP)
    journal.wait(INFORMATION, "SIGHUP received")
    assert daemon.stop() == 0
    entries = journal.entries()
    assert (ERROR, "No such command on config line 2: no such line") in entries
    assert (INFORMATION, "Vty connection from 127.0.0.1") in entries
    assert entries[-1] == (NOTICE, "Terminating on signal")
    # Few, and nothing of what is set.
    assert {priority for priority, _ in entries} == {ERROR, NOTICE, INFORMATION}
    assert not any("lab" in text for _, text in entries)


@pytest.mark.libfrr_from(8, 4)  # 8.0 then sends nothing to the system's log
def test_a_level_is_for_all_targets(logging: Bench, journal: Journal) -> None:
    """Why the unit gives none: the options' own log files would become silent."""
    file = logging.world.path("/tmp/log")
    arguments = ["--log", "syslog", "--log-level", "warnings", "--log", "file:/tmp/log"]
    daemon = logging.daemon(BASE_CONFIG + "no such line\n", arguments=arguments)
    assert daemon.stop() == 0
    assert [priority for priority, _ in journal.entries()] == [ERROR]
    assert b"config line 2" in file.read_bytes() and b"Terminating" not in file.read_bytes()


@pytest.mark.parametrize("line", ["log syslog warnings", "no log syslog"])
def test_a_line_of_the_configuration_takes_nothing_away(logging: Bench, journal: Journal, line: str) -> None:
    daemon = logging.daemon(f"{BASE_CONFIG}{line}\n", arguments=["--log", "syslog"])
    assert daemon.stop() == 0
    assert journal.entries()[-1] == (NOTICE, "Terminating on signal")


def test_no_log_until_the_next_start(logging: Bench, journal: Journal) -> None:
    daemon = logging.daemon(arguments=["--log", "syslog"])
    session = logging.vty(daemon, "enable")
    session.command("clear log cmdline-targets")
    assert daemon.stop() == 0
    assert journal.entries()[-1] == (INFORMATION, "Vty connection from 127.0.0.1")


def test_it_is_not_saved(logging: Bench, journal: Journal) -> None:
    """A remark in the file says where it comes from."""
    logging.vty(logging.daemon(arguments=["--log", "syslog"]), "enable").command("write file")
    lines = logging.world.path(CONFIG).read_text().splitlines()
    assert [line for line in lines if "log" in line] == [
        '! "log syslog debugging" enabled by "--log" startup option',
        '! use "clear log cmdline-targets" to remove this target',
    ]
