# SPDX-License-Identifier: GPL-2.0-or-later
"""The lab with other zone files than the machine's."""
from __future__ import annotations

import contextlib
import shutil
import subprocess
from pathlib import Path
from typing import Iterator

from lab import World

from .exported import ZONES


def _run(world: World, *command: str) -> None:
    process = world.spawn("daemon", command, stderr=subprocess.PIPE)
    _, error = process.communicate()
    world.end(process)
    assert process.returncode == 0, error


@contextlib.contextmanager
def zone_folder(world: World) -> Iterator[Path]:
    """An empty zone folder, seen in the lab only."""
    _run(world, "mount", "-t", "tmpfs", "lab", ZONES)
    try:
        yield world.path(ZONES)
    finally:
        _run(world, "umount", "--lazy", ZONES)


def zones_without_other_names() -> list[str]:
    """The zones that are no other zone's second name."""
    lines = Path(f"{ZONES}/tzdata.zi").read_text().splitlines()
    return [line.split()[1] for line in lines if line.startswith("Z ")]


def install(folder: Path, names: list[str]) -> None:
    for name in names:
        (folder / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(f"{ZONES}/{name}", folder / name)
