# SPDX-License-Identifier: GPL-2.0-or-later
"""The lab's own promises to the machine that it runs on."""
from __future__ import annotations

import os
import subprocess
import sys

import pytest

from lab import PROJECT, Build, World, wait_for
from lab.bench import Bench

CAP_SYS_TIME = 25

# Starts what a test run starts, says who is who, and waits to be killed.
VICTIM = """
import time
from lab import World
world = World()
started = world.spawn("daemon", ["sh", "-c", "sleep 1000 & sleep 1000"])
while not world.orphans():
    time.sleep(0.01)
print(world._holder.pid, started.pid, *world.orphans(), flush=True)
time.sleep(1000)
"""


def test_nobody_can_set_the_clock(world: World) -> None:
    for network in ("daemon", "servers"):
        process = world.spawn(network, ["cat", "/proc/self/status"], stdout=subprocess.PIPE)
        text, _ = process.communicate()
        world.end(process)
        sets = [line.split()[1] for line in text.decode().splitlines() if line.startswith("Cap")]
        assert len(sets) == 5
        assert not any(int(bits, 16) >> CAP_SYS_TIME & 1 for bits in sets)


def test_machine_is_not_written_to(world: World) -> None:
    script = "for d in /etc /tmp /run /var /var/lib /var/tmp; do echo x >$d/horad-lab-was-here; done"
    process = world.spawn("daemon", ["sh", "-c", script])
    assert process.wait() == 0
    world.end(process)
    for folder in ("/etc", "/tmp", "/run", "/var", "/var/lib", "/var/tmp"):
        assert world.path(f"{folder}/horad-lab-was-here").exists()
        assert not os.path.exists(f"{folder}/horad-lab-was-here")


def test_nothing_outlives_a_killed_run() -> None:
    victim = subprocess.Popen(
        [sys.executable, "-c", VICTIM], cwd=PROJECT, stdout=subprocess.PIPE, start_new_session=True
    )
    assert victim.stdout is not None
    with victim.stdout:
        pids = [int(pid) for pid in victim.stdout.readline().split()]
    assert len(pids) >= 3
    victim.kill()
    victim.wait()
    wait_for("the end of all of them", lambda: not any(os.path.exists(f"/proc/{pid}") for pid in pids))


def test_a_sanitizers_report_fails_a_test(world: World, build: Build) -> None:
    """Even though the test itself has found nothing, and then all of it has ended."""
    world.reset()
    with pytest.raises(AssertionError, match="AddressSanitizer"), Bench(world, build) as bench:
        daemon = bench.daemon()
        world.path("/tmp/horad0.stderr").write_text("AddressSanitizer: made up\n")
    assert not daemon.running


def test_the_first_failure_is_the_one_that_is_told(world: World, build: Build) -> None:
    world.reset()
    with pytest.raises(KeyError), Bench(world, build) as bench:
        daemon = bench.daemon()
        daemon.kill()
        raise KeyError
