# SPDX-License-Identifier: GPL-2.0-or-later
"""packaging/horad.nft: what anybody could do to the daemon costs nothing behind it, and all else passes."""
from __future__ import annotations

import json
import socket
import subprocess
import time
from typing import Iterator

import pytest

from lab import DAEMON_ADDRESS, PROJECT, Daemon, World, chrony, ntpsec, wait_for
from lab.bench import CALM, PRIMARY, SECONDARY, START, STRANGER, Bench
from lab.gauges import Flood, client, measured, processor_seconds, received, state, unread_bytes
from lab.servers.ntp_server import send_from, truthful
from lab.servers.packet import Packet, timestamp

RULES = PROJECT / "packaging" / "horad.nft"
SHORT = b"short"

# The kernel remembers whom another test has asked.
NEVER_ASKED = "10.77.0.8"
ASKED_ONCE = "10.77.0.7"
LATER = Packet(transmit=timestamp(START + 7))


def inside(world: World, network: str, *command: str) -> str:
    process = world.spawn(network, command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    output, _ = process.communicate(timeout=20)
    world.end(process)
    assert process.returncode == 0, output.decode()
    return output.decode()


def shell(world: World, network: str, script: str) -> str:
    return inside(world, network, "sh", "-ec", script)


def dropped(world: World) -> int:
    """Datagrams that the table has dropped."""
    listed = json.loads(inside(world, "daemon", "nft", "--json", "list", "table", "inet", "horad"))
    return sum(part["counter"]["packets"] for entry in listed["nftables"] if "rule" in entry
               for part in entry["rule"]["expr"] if "counter" in part)


@pytest.fixture(autouse=True)
def rules(world: World) -> Iterator[None]:
    # Loaded again, it replaces itself.
    for _ in "once", "and once more":
        inside(world, "daemon", "nft", "-f", str(RULES))
    assert inside(world, "daemon", "nft", "list", "tables") == "table inet horad\n"
    yield
    inside(world, "daemon", "nft", "delete", "table", "inet", "horad")


@pytest.mark.parametrize("kind", [chrony, ntpsec])
def test_real_answers_pass(bench: Bench, kind) -> None:
    bench.peer(kind, PRIMARY)
    daemon = bench.polling(PRIMARY, clock_offset=-86400)
    assert daemon.shim is not None
    daemon.shim.wait_events("settimeofday")
    daemon.shim.skip()
    daemon.shim.wait_events("settimeofday", 2)
    assert dropped(bench.world) == 0


def test_the_other_server_passes(bench: Bench) -> None:
    bench.server(PRIMARY)
    bench.server(SECONDARY, truthful(timestamp(START + 1)))
    daemon = bench.polling(PRIMARY, SECONDARY, scale=0.001)
    assert daemon.shim is not None
    daemon.shim.wait_events("settimeofday")


def test_strangers_do_not_put_the_request_off(bench: Bench) -> None:
    """From any port and any address but the server's, in the wait for an answer."""
    server = bench.server()
    daemon = bench.polling(PRIMARY, scale=CALM)
    server.wait_requests(1)
    for address, port in ((STRANGER, 123), (STRANGER, 4000), (NEVER_ASKED, 123), (PRIMARY, 4000)):
        send_from(bench.world, address, port, SHORT)
    assert daemon.shim is not None
    first, second = daemon.shim.requests(2)[:2]
    assert second.waited - first.waited == 30
    assert daemon.shim.events("recvfrom") == []
    assert dropped(bench.world) == 4


def test_a_flood_costs_the_daemon_nothing(bench: Bench) -> None:
    server = bench.server()
    daemon = bench.polling(PRIMARY, shim=False)
    server.wait_requests(1)
    wait_for("the wait", lambda: state(client(daemon)) == "S")
    before, used = received(daemon), processor_seconds(client(daemon))
    start = time.monotonic()
    with Flood(bench.world, STRANGER) as flood:
        flood.send([SHORT] * 40000)
    measured("flood behind the firewall", per_s=40000 / (time.monotonic() - start))
    assert dropped(bench.world) == 40000
    passed = received(daemon) - before
    assert (passed.read, passed.dropped) == (0, 0)
    assert processor_seconds(client(daemon)) - used <= 0.02
    assert daemon.stdout() == b""


def test_a_stopped_client_stays_idle(bench: Bench) -> None:
    server = bench.server()
    daemon = bench.polling(PRIMARY, shim=False)
    server.wait_requests(1)
    bench.vty(daemon).command("ntp disable")
    wait_for("the stop", lambda: state(client(daemon)) == "S")
    with Flood(bench.world, STRANGER) as flood:
        flood.send([SHORT] * 100)
    used = processor_seconds(client(daemon))
    time.sleep(0.5)
    assert dropped(bench.world) == 100
    assert unread_bytes(daemon) == 0
    assert processor_seconds(client(daemon)) - used <= 0.02


def test_the_server_itself_is_heard_only_when_asked(bench: Bench) -> None:
    """An unasked datagram of its address, forged or not, sets no clock in the week after an answer."""
    server = bench.server(ASKED_ONCE, truthful(timestamp(START)))
    timeout = "/proc/sys/net/netfilter/nf_conntrack_udp_timeout"
    before = shell(bench.world, "daemon", f"cat {timeout}; echo 1 >{timeout}")
    assert before == "30\n"  # as the file says
    try:
        daemon = bench.polling(ASKED_ONCE, clock_frozen=START)
        assert daemon.shim is not None
        daemon.shim.wait_events("flush")
        time.sleep(2.5)
        server.send(LATER)
        server.send(SHORT)
        wait_for("the drops", lambda: dropped(bench.world) == 2)
        assert len(daemon.shim.events("recvfrom")) == 1
        # Asked again, it is heard again.
        bench.vty(daemon).command("ntp enable")
        daemon.shim.wait_events("flush", 2)
    finally:
        shell(bench.world, "daemon", f"echo {int(before)} >{timeout}")


def test_other_traffic_is_not_cut(bench: Bench) -> None:
    world = bench.world
    daemon = bench.daemon()
    # Sessions from the network, pings, other ports.
    with world.socket("servers", socket.SOCK_STREAM) as session:
        session.settimeout(10)
        session.connect((DAEMON_ADDRESS, daemon.port))
        assert session.recv(1) != b""
    with world.socket("daemon", socket.SOCK_DGRAM) as here, world.socket("servers", socket.SOCK_DGRAM) as there:
        for each in (here, there):
            each.settimeout(10)
        here.bind((DAEMON_ADDRESS, 124))
        there.sendto(b"unasked", (DAEMON_ADDRESS, 124))
        assert here.recv(100) == b"unasked"
    # Another program of this machine that asks an NTP server, from a port of its own.
    server = bench.server(answer=truthful(timestamp(START)))
    with world.socket("daemon", socket.SOCK_DGRAM) as asking:
        asking.settimeout(10)
        asking.sendto(Packet().pack(), (server.address, 123))
        assert len(asking.recv(100)) == 48
    assert dropped(world) == 0


# A guest with an NTP server (it only echoes) behind the daemon's machine.
GUEST = """
ip netns add guest
ip link add host type veth peer name guest netns guest
ip address add 10.78.0.1/24 dev host
ip link set host up
ip -n guest address add 10.78.0.2/24 dev guest
ip -n guest link set guest up
ip -n guest route add default via 10.78.0.1
echo 1 >/proc/sys/net/ipv4/ip_forward
nft 'table ip lab { chain prerouting { type nat hook prerouting priority dstnat; udp dport 123 dnat to 10.78.0.2; }; }'
exec ip netns exec guest /usr/bin/python3 -uc '
import socket
server = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
server.bind(("0.0.0.0", 123))
print("ready")
while True:
    server.sendto(*server.recvfrom(100))
'
"""


def test_a_server_in_a_namespace_of_its_own(bench: Bench) -> None:
    """It serves others by its own address and by the machine's, and the daemon keeps time beside it."""
    world = bench.world
    bench.server(answer=truthful(timestamp(START + 1)))
    guest = world.spawn("daemon", ["sh", "-ec", GUEST], stdout=subprocess.PIPE)
    try:
        assert guest.stdout is not None and guest.stdout.readline() == b"ready\n"
        shell(world, "servers", f"ip route add 10.78.0.0/24 via {DAEMON_ADDRESS}")
        for address in ("10.78.0.2", DAEMON_ADDRESS):
            with world.socket("servers", socket.SOCK_DGRAM) as asking:
                asking.settimeout(10)
                asking.bind((STRANGER, 0))
                asking.sendto(b"a question", (address, 123))
                assert asking.recv(100) == b"a question"
        daemon: Daemon = bench.polling(PRIMARY, clock_frozen=START)
        assert daemon.shim is not None
        daemon.shim.wait_events("settimeofday")
    finally:
        world.end(guest)
        shell(world, "daemon", "nft delete table ip lab; ip netns delete guest; echo 0 >/proc/sys/net/ipv4/ip_forward")
        shell(world, "servers", "ip route delete 10.78.0.0/24 || true")
