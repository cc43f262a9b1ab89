# SPDX-License-Identifier: GPL-2.0-or-later
"""Calls of the daemon's exported time-zone functions, and the files they leave."""
from __future__ import annotations

import os

from lab import BASE_CONFIG, Called, Shim, World

from .bench import Bench

ZONES = "/usr/share/zoneinfo"
TZ_FILE = "/etc/TZ"
PROFILE = "/etc/profile"
LINK = "/etc/localtime"
DUMP = "/tmp/dstconfig"


def calls(bench: Bench, config: str = BASE_CONFIG, **settings: float | str) -> Shim:
    """Starts a daemon that makes calls; /etc/profile is really changed."""
    daemon = bench.daemon(config, calls=1, profile_commands=1, **settings)
    assert daemon.shim is not None
    return daemon.shim


def content(world: World, path: str) -> bytes | None:
    """A file's bytes; None when there is no file."""
    file = world.path(path)
    return file.read_bytes() if file.exists() else None


def link(world: World) -> str | None:
    """Where /etc/localtime points to."""
    path = world.path(LINK)
    return os.readlink(path) if os.path.lexists(path) else None


def years(shim: Shim, cut_off: str | None, *zones: str) -> Called:
    """Lists the changes of zones in some years, such as "2020,2021"."""
    return shim.call("zdump_main", "zdump", "-c", cut_off, "-v", *zones)


def profile_commands(text: str) -> list[str]:
    """What a shell is given to export a TZ text."""
    return [
        '[ ! -z "$(cat /etc/profile | grep -w TZ)" ] && '
        f"sed -i 's/^.*export TZ=.*/export TZ={text}/g' /etc/profile || "
        f'echo "export TZ={text}" >> /etc/profile',
        "source /etc/profile",
    ]
