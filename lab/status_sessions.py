# SPDX-License-Identifier: GPL-2.0-or-later
"""Sessions of the guide in which an operator looks whether the clock is right."""
from __future__ import annotations

import re

from lab.bench import wait_for
from lab.ctl import with_module
from lab.shim import failing
from lab.stage import FIRST, LOGIN, SECOND, SLOW, Sessions, Stage, ahead, configured

# Long enough for a look between two requests, short enough to be waited for: two minutes take 6 s.
BRISK = 0.05

STATUS = "horadctl status"


def told(stage: Stage, command: str, ends: str = "") -> str:
    """What a command shows, once that has `ends` in it.

    The seconds until the next request go on by themselves, and are shown as the first ones.
    """
    shown = [""]

    def is_there() -> bool:
        shown[0] = stage.shell(command)
        return ends in shown[0]

    wait_for(f"{ends!r} from {command}", is_there)
    return re.sub(r"in (\d) min 5\d s\b", r"in \1 min 59 s", shown[0])


def well(stage: Stage) -> Sessions:
    stage.serve(FIRST, ahead(SLOW))
    stage.play(configured(FIRST, SECOND), arguments=with_module(stage.world, stage.build))
    yield "status-well", told(stage, STATUS, "resting")
    yield "status-json", told(stage, f"{STATUS} --json | grep -v nextRequest")


def first_silent(stage: Stage) -> Sessions:
    stage.serve(SECOND, ahead(SLOW))
    stage.serve(FIRST, lambda _: [])
    stage.play(configured(FIRST, SECOND), scale=0.001, arguments=with_module(stage.world, stage.build))
    yield "status-first-silent", told(stage, STATUS, "resting")


def both_silent(stage: Stage) -> Sessions:
    servers = stage.serve(FIRST, lambda _: []), stage.serve(SECOND, lambda _: [])
    stage.play(configured(FIRST, SECOND), scale=BRISK, arguments=with_module(stage.world, stage.build))
    servers[0].wait_requests(2)
    yield "status-both-silent", told(stage, STATUS, "no answer")


def unknown(stage: Stage) -> Sessions:
    stage.play(configured("ntp7.example.net"), arguments=with_module(stage.world, stage.build))
    yield "status-unknown-name", told(stage, f"{STATUS} | head -n 8", "trying")


def no_port(stage: Stage) -> Sessions:
    stage.play(configured(FIRST), arguments=with_module(stage.world, stage.build), **failing("bind", "EADDRINUSE"))
    yield "status-port-taken", told(stage, f"{STATUS} | head -n 8", "dead")


def no_right(stage: Stage) -> Sessions:
    stage.serve(FIRST, ahead(SLOW))
    arguments = with_module(stage.world, stage.build)
    stage.play(configured(FIRST), arguments=arguments, **failing("settimeofday", "EPERM"))
    yield "status-refused", told(stage, f"{STATUS} | head -n 8", "settimeofday")


def no_database(stage: Stage) -> Sessions:
    stage.serve(FIRST, ahead(SLOW))
    stage.play(LOGIN, arguments=with_module(stage.world, stage.build))
    stage.shell("rm -r /var/lib/horad; touch /var/lib/horad")
    stage.shell(f"horadctl -c 'ntp server {FIRST}' -c 'ntp enable'")
    yield "status-no-database", told(stage, f"{STATUS} | head -n 1", "resting") + told(stage, "horadctl steps")


PLAYS = [well, first_silent, both_silent, unknown, no_port, no_right, no_database]
