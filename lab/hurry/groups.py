# SPDX-License-Identifier: GPL-2.0-or-later
"""Control groups with a share of the processors, as systemd makes them of services."""
from __future__ import annotations

import contextlib
import os
from pathlib import Path
from typing import Callable, Iterator

#: What CPUWeight= is when nobody sets it.
USUAL_WEIGHT = 100

_V1 = Path("/sys/fs/cgroup/cpu")
_V2 = Path("/sys/fs/cgroup")

#: Puts a process, by its number, into a group of its own with this weight.
Grouping = Callable[[int, int], None]


def _place() -> tuple[Path, Callable[[int], tuple[str, int]]] | None:
    """Where groups of processes get shares, and which file says how much; None where they do not, or nobody may."""
    if (_V1 / "cpu.shares").exists() and os.access(_V1, os.W_OK):
        return _V1, lambda weight: ("cpu.shares", 1024 * weight // USUAL_WEIGHT)
    with contextlib.suppress(OSError):
        if "cpu" in (_V2 / "cgroup.subtree_control").read_text().split() and os.access(_V2, os.W_OK):
            return _V2, lambda weight: ("cpu.weight", weight)
    return None


@contextlib.contextmanager
def control_groups() -> Iterator[Grouping | None]:
    """Gives a way to group processes, None where there is none.  The groups end with it, and with their processes."""
    place = _place()
    if place is None:
        yield None
        return
    root, setting = place
    made: list[Path] = []

    def group(pid: int, weight: int) -> None:
        folder = root / f"horad-bench-{os.getpid()}-{len(made)}"
        folder.mkdir()
        made.append(folder)
        name, value = setting(weight)
        (folder / name).write_text(str(value))
        (folder / "cgroup.procs").write_text(str(pid))

    try:
        yield group
    finally:
        for folder in made:
            with contextlib.suppress(OSError):
                folder.rmdir()
