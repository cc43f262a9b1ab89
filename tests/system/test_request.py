# SPDX-License-Identifier: GPL-2.0-or-later
"""The one request that the client sends: every byte, and from where to where."""
from __future__ import annotations

import socket
import struct

import pytest

from lab import DAEMON_ADDRESS
from lab.bench import PRIMARY, START, Bench
from lab.servers.packet import UNIX_EPOCH

# All but the transmit timestamp.
FIXED = bytes.fromhex("1b0004fa" "00010000" "00010000" "00000000" + "00" * 24)


@pytest.mark.parametrize(
    ("usec", "fraction"),
    [("0", 0), ("000001", 4294), ("25", 1073741821), ("5", 2147483642), ("999999", 4294962990)],
)
def test_request_bytes(bench: Bench, usec: str, fraction: int) -> None:
    server = bench.server()
    bench.polling(PRIMARY, clock_frozen=f"{START}.{usec}")
    request = server.wait_requests(1)[0]
    assert request.data == FIXED + struct.pack(">II", START + UNIX_EPOCH, fraction)


def test_ports(bench: Bench) -> None:
    server = bench.server()
    bench.polling(PRIMARY)
    # The server hears it, so it went to port 123.
    assert server.wait_requests(1)[0].sender == (DAEMON_ADDRESS, 123)


def test_each_request_carries_its_own_time(bench: Bench) -> None:
    server = bench.server()
    bench.polling(PRIMARY, scale=0.01, clock_offset=0)
    first, second = (struct.unpack(">II", r.data[40:])for r in server.wait_requests(2))
    passed = (second[0] - first[0]) + (second[1] - first[1]) / 2**32
    assert 0.25 < passed < 30


def test_transmit_seconds_wrap_in_2036(bench: Bench) -> None:
    server = bench.server()
    bench.polling(PRIMARY, clock_frozen=2085978496 + 5)
    assert server.wait_requests(1)[0].data[40:] == struct.pack(">II", 5, 0)


def test_server_by_name(bench: Bench) -> None:
    server = bench.server("10.77.0.3")
    bench.polling("ntp3.lab")
    assert len(server.wait_requests(1)) == 1


def test_first_address_of_a_name_is_asked(bench: Bench) -> None:
    bench.world.path("/etc/host.conf").write_text("multi on\n")
    with bench.world.path("/etc/hosts").open("a") as hosts:
        hosts.write("10.77.0.4 twin.lab\n10.77.0.5 twin.lab\n")
    second = bench.server("10.77.0.5")
    first = bench.server("10.77.0.4")
    bench.polling("twin.lab", scale=0.001)
    first.wait_requests(3)
    assert second.requests == []


def test_sending_never_waits(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY)
    assert daemon.shim is not None
    assert daemon.shim.requests(1)[0]["flags"] & socket.MSG_DONTWAIT
