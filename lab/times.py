# SPDX-License-Identifier: GPL-2.0-or-later
"""Deadlines.  One factor stretches them all, for slow builds and busy machines."""
from __future__ import annotations

import os
import time
from typing import Callable, TypeVar

TIME_FACTOR = float(os.environ.get("HORAD_TIME_FACTOR", "1"))

_T = TypeVar("_T")


class Timeout(AssertionError):
    """What was waited for did not come."""


def deadline(seconds: float) -> float:
    return time.monotonic() + seconds * TIME_FACTOR


def wait_for(what: str, probe: Callable[[], _T], seconds: float = 10) -> _T:
    """Polls until `probe` gives something true, and returns it."""
    end = deadline(seconds)
    while True:
        found = probe()
        if found:
            return found
        if time.monotonic() > end:
            raise Timeout(f"{what}: not within {seconds * TIME_FACTOR:g} s")
        time.sleep(0.005)
