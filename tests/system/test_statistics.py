# SPDX-License-Identifier: GPL-2.0-or-later
"""The line on standard output that every accepted answer leaves.

The arithmetic behind it: tests/unit/client/ntp_time_test.cpp, packet_test.cpp, statistics_test.cpp.
"""
from __future__ import annotations

import pytest

from lab import wait_for
from lab.bench import PRIMARY, START, Bench
from lab.servers.ntp_server import truthful
from lab.servers.packet import Packet, timestamp

NOW = timestamp(START)
LATER = timestamp(START + 3600)


@pytest.mark.parametrize(
    ("packet", "settings", "line"),
    [
        (
            Packet(originate=NOW, receive=timestamp(START + 1), transmit=timestamp(START + 1), root_dispersion=65536),
            {"clock_frozen": START, "adjtimex_freq": -77},
            b"44085 44800.000       0.0      0.0  1000000.0 1000000.0       -77\n",
        ),
        (
            Packet(originate=NOW, receive=LATER, transmit=timestamp(START + 3600, 2**30), root_dispersion=-12345),
            {"clock_frozen": f"{START}.999999", "adjtimex_freq": -(2**31)},
            b"44085 44800.999  999999.0 250000.0  3599625000.5 -188369.8 -2147483648\n",
        ),
        # The first day of an era.
        (
            Packet(originate=(3, 0), receive=(3, 0), transmit=(3, 0)),
            {"clock_frozen": 2085978496 + 3},
            b"0 00003.000       0.0      0.0       0.0      0.0         0\n",
        ),
    ],
)
def test_line(bench: Bench, packet: Packet, settings: dict[str, float | str], line: bytes) -> None:
    bench.server(answer=lambda _: [packet])
    # Left as it is buffered: it comes out at once all the same.
    daemon = bench.polling(PRIMARY, unbuffered=0, **settings)
    wait_for("the statistics line", lambda: b"\n" in daemon.stdout())
    assert daemon.stdout() == line


def test_one_line_for_each_answer(bench: Bench) -> None:
    bench.server(answer=truthful(NOW))
    daemon = bench.polling(PRIMARY, clock_frozen=START)
    assert daemon.shim is not None
    daemon.shim.wait_events("flush")
    daemon.shim.skip()
    daemon.shim.wait_events("flush", 2)
    assert daemon.stdout().count(b"\n") == 2
