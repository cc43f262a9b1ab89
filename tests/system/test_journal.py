# SPDX-License-Identifier: GPL-2.0-or-later
"""What the library logs, as the service manager's journal gets it."""
from __future__ import annotations

import signal

from lab import BASE_CONFIG, Daemon
from support.bench import Bench

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


def test_log_stdout_is_lost_where_that_is_called_the_journal(bench: Bench) -> None:
    """The library then logs to a journal that it never opened: why the unit takes the variable away."""
    daemon = bench.daemon(TO_STDOUT, environment=own_output(bench))
    daemon.send_signal(signal.SIGHUP)
    assert b"Stdout logging: level debugging" in bench.vty(daemon, "view").command("show logging")
    assert daemon.stop() == 0
    assert RECEIVED not in daemon.stdout() + daemon.stderr()


def test_log_stdout_where_another_file_is_called_so(bench: Bench) -> None:
    logs_to_stdout(bench.daemon(TO_STDOUT, environment={"JOURNAL_STREAM": "1:1"}))
