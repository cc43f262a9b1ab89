# SPDX-License-Identifier: GPL-2.0-or-later
"""NTP packets, put together and taken apart field by field."""
from __future__ import annotations

import struct
from dataclasses import dataclass, replace

UNIX_EPOCH = 2208988800  # in seconds since 1900
_FORMAT = ">BBBbiiI8I"

Timestamp = tuple[int, int]  # seconds since 1900, units of 2^-32 s


def timestamp(unix_seconds: int, fraction: int = 0) -> Timestamp:
    return (unix_seconds + UNIX_EPOCH) % 2**32, fraction


def usec_of(fraction: int) -> int:
    """A fraction as the daemon reads it."""
    return (fraction >> 12) - 759 * (((fraction >> 10) + 32768) >> 16)


@dataclass(frozen=True)
class Packet:
    """One packet of 48 bytes; the defaults are those of a sound server's reply."""

    leap: int = 0
    version: int = 3
    mode: int = 4
    stratum: int = 2
    poll: int = 4
    precision: int = -20
    root_delay: int = 0
    root_dispersion: int = 0
    reference_id: int = 0
    reference: Timestamp = (0, 0)
    originate: Timestamp = (0, 0)
    receive: Timestamp = (0, 0)
    transmit: Timestamp = (0, 0)

    def pack(self) -> bytes:
        return struct.pack(
            _FORMAT,
            self.leap << 6 | self.version << 3 | self.mode,
            self.stratum,
            self.poll,
            self.precision,
            self.root_delay,
            self.root_dispersion,
            self.reference_id,
            *self.reference,
            *self.originate,
            *self.receive,
            *self.transmit,
        )

    def but(self, **fields: object) -> Packet:
        return replace(self, **fields)


def unpack(data: bytes) -> Packet:
    first, stratum, poll, precision, delay, dispersion, refid, *times = struct.unpack(_FORMAT, data[:48])
    pairs = list(zip(times[::2], times[1::2]))
    return Packet(first >> 6, first >> 3 & 7, first & 7, stratum, poll, precision, delay, dispersion, refid, *pairs)


def answer_to(request: bytes, time: Timestamp) -> Packet:
    """What a sound server whose clock shows `time` says to a request."""
    return Packet(originate=unpack(request).transmit, reference=time, receive=time, transmit=time)
