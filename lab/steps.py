# SPDX-License-Identifier: GPL-2.0-or-later
"""A server that moves the clock by another amount each time, and what is kept of the steps."""
from __future__ import annotations

import random
from typing import Sequence

from lab import Shim, World

from .bench import START
from .database import rows
from .servers.ntp_server import Request
from .servers.packet import Packet, timestamp


def restless(_: Request) -> Sequence[Packet]:
    """A time at random: any two steps differ, as good as always.

    Answered as if asked at START: a late answer, after a step of another, must not seem
    to be faster than light, which the client takes for trouble and waits 300 s.
    """
    now = timestamp(START + random.randrange(10**8))
    return [Packet(originate=timestamp(START), receive=now, transmit=now)]


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
