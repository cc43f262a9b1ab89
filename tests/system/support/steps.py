# SPDX-License-Identifier: GPL-2.0-or-later
"""A server that moves the clock by another amount each time, and what is kept of the steps."""
from __future__ import annotations

import random
from typing import Sequence

from lab import Shim, World

from .bench import START
from .database import rows
from .ntp_server import Request
from .packet import Packet, answer_to, timestamp


def restless(request: Request) -> Sequence[Packet]:
    """A time at random: any two steps differ, as good as always."""
    return [answer_to(request.data, timestamp(START + random.randrange(10**8)))]


def stored(world: World) -> list[int]:
    """The steps in the database, in order; none when there is no database yet."""
    try:
        return [diff for (diff,) in rows(world, "SELECT diff FROM clock_step ORDER BY seq")]
    except Exception as error:
        if "no such table" in str(error):
            return []
        raise


def made(shim: Shim) -> list[int]:
    """The steps that a frozen clock made, in order."""
    return [event["sec"] - event["before"] for event in shim.events("settimeofday") if event["result"] == 0]
