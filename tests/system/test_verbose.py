# SPDX-License-Identifier: GPL-2.0-or-later
"""What the client tells of every exchange when a debugger has set the daemon's variable `debug`."""
from __future__ import annotations

import re
import subprocess
from pathlib import Path

from lab import Daemon, wait_for
from lab.bench import PRIMARY, START, Bench
from lab.servers.packet import Packet, timestamp

NOW = timestamp(START)
LATER = timestamp(START + 90, 2**31)

ANSWER = Packet(
    leap=3, version=4, mode=4, stratum=2, poll=255, precision=-20, root_delay=0x8000, root_dispersion=-1,
    reference_id=0xC0A80A01, reference=(1, 2), originate=NOW, receive=timestamp(START + 90), transmit=LATER,
)
EXCHANGE = (
    f"set time to {START + 90}.500000\n"
    "LI=3  VN=4  Mode=4  Stratum=2  Poll=255  Precision=-20\n"
    "Delay=500000.0  Dispersion=-15.3  Refid=192.168.10.1\n"
    "Reference 1.0000000002\n"
    f"Originate {NOW[0]}.0000000000\n"
    f"Receive   {NOW[0] + 90}.0000000000\n"
    f"Transmit  {LATER[0]}.2147483648\n"
    f"Our recv  {NOW[0]}.4294962990\n"
).encode()
INTERVALS = (
    b"Total elapsed: 999999.00\n"
    b"Server stall:  500000.00\n"
    b"Slop:          499999.00\n"
    b"Skew:          89750000.50\n"
    b"Frequency:           -77\n"
    b" day   second     elapsed    stall     skew  dispersion  freq\n"
)
LINE = b"44085 44800.999  999999.0 500000.0  89750000.5    -15.3       -77\n"


def set_debug(daemon: Daemon) -> None:
    """As a debugger does."""
    program = daemon.build.daemon
    names = subprocess.run(["nm", program], check=True, capture_output=True, text=True).stdout
    (address,) = re.findall(r"^([0-9a-f]+) [Bb] debug$", names, re.MULTILINE)
    maps = Path(f"/proc/{daemon.pid}/maps").read_text()
    begin = re.search(rf"^([0-9a-f]+)-\S+ \S+ 0+ .*{re.escape(str(program))}$", maps, re.MULTILINE)
    assert begin is not None, maps
    with open(f"/proc/{daemon.pid}/mem", "r+b", buffering=0) as memory:
        memory.seek(int(begin[1], 16) + int(address, 16))
        memory.write((1).to_bytes(4, "little"))


def answered(bench: Bench, *lines: str, **settings: float | str) -> Daemon:
    """A verbose daemon that was told to go on with these lines, and has its first answer."""
    bench.server(answer=lambda _: [ANSWER])
    daemon = bench.daemon(clock_frozen=f"{START}.999999", adjtimex_freq=-77, **settings)
    set_debug(daemon)
    session = bench.vty(daemon, "config")
    for line in (*lines, "ntp", f"ntp server {PRIMARY}", "ntp enable"):
        session.command(line)
    return daemon


def test_every_exchange(bench: Bench) -> None:
    daemon = answered(bench)
    daemon.wait_stdout(LINE)
    assert daemon.stdout() == b"Listening...\n" + EXCHANGE + INTERVALS + LINE
    assert daemon.stderr() == b"Sending ...\n"


def test_beside_the_trace(bench: Bench) -> None:
    daemon = answered(bench, "debug ntp on")
    shown = daemon.wait_stdout(LINE)
    assert b"\r\n primary_loop: enter primary_loop().\n\rListening...\n\r\n primary_loop: enter for" in shown
    assert b"\r\nsave diff time(90) to database. ret 0\r\n" + EXCHANGE + INTERVALS + LINE in shown


def test_before_the_kernel_is_asked(bench: Bench) -> None:
    """What is known of an exchange is told even when the daemon ends there."""
    daemon = answered(bench, adjtimex_errno=14)
    assert daemon.wait() == 1
    assert daemon.stdout() == b"Listening...\n" + EXCHANGE


def test_clock_that_cannot_be_set(bench: Bench) -> None:
    daemon = answered(bench, settimeofday_errno=1)
    daemon.wait_stderr(b"\nsettimeofday: Operation not permitted\n")
    assert daemon.shim is not None
    daemon.shim.wait_events("select", when=lambda event: event["timeout"] == 300)
    assert daemon.stdout() == b"Listening...\n"


def test_request_that_cannot_be_sent(bench: Bench) -> None:
    """It is told before it is tried."""
    daemon = answered(bench, sendto_errno=101)
    wait_for("the failure", lambda: b"send NTP packet" in daemon.stderr())
    assert daemon.stderr().startswith(b"Sending ...\nsend NTP packet: Network is unreachable\n")
