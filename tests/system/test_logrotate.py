# SPDX-License-Identifier: GPL-2.0-or-later
"""The package's snippet for logrotate."""
from __future__ import annotations

import subprocess
from signal import SIGHUP

import pytest

from lab import BASE_CONFIG, PROJECT, World, wait_for
from lab.bench import Bench

LOG = "/var/log/horad/horad.log"
MESSAGE = b"SIGHUP received\n"


@pytest.fixture(autouse=True)
def snippet(world: World, bench: Bench) -> None:
    for folder in ("/etc/logrotate.d", "/run/horad"):
        world.path(folder).mkdir()
    world.path("/etc/logrotate.d/horad").write_text((PROJECT / "packaging/debian/horad.logrotate").read_text())


def rotate(world: World) -> None:
    command = ["logrotate", "--force", "--state", "/tmp/logrotate.state", "/etc/logrotate.d/horad"]
    process = world.spawn("daemon", command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    output, _ = process.communicate(timeout=20)
    world.end(process)
    assert (process.returncode, output) == (0, b"")


def test_the_daemon_goes_on_in_a_new_file(bench: Bench) -> None:
    world = bench.world
    world.path("/var/log/horad").mkdir()
    daemon = bench.daemon(f"{BASE_CONFIG}log file {LOG}\n", arguments=["-i", "/run/horad/horad.pid"])

    def told(name: str) -> int:
        daemon.send_signal(SIGHUP)
        wait_for("the message", lambda: world.path(name).exists() and MESSAGE in world.path(name).read_bytes())
        return world.path(name).read_bytes().count(MESSAGE)

    assert told(LOG) == 1
    rotate(world)
    assert told(LOG) == 1
    assert world.path(f"{LOG}.1").read_bytes().count(MESSAGE) == 1
    rotate(world)
    assert told(LOG) == 1
    assert world.path(f"{LOG}.2.gz").exists()


def test_without_logs(bench: Bench) -> None:
    rotate(bench.world)


def test_without_a_daemon(bench: Bench) -> None:
    bench.world.path("/var/log/horad").mkdir()
    bench.world.path(LOG).write_bytes(MESSAGE)
    rotate(bench.world)
    assert bench.world.path(f"{LOG}.1").read_bytes() == MESSAGE
