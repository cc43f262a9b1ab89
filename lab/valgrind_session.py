# SPDX-License-Identifier: GPL-2.0-or-later
"""An operator's whole session with the daemon under valgrind's memcheck, in the lab.

    python3 -m lab.valgrind_session [BUILD]

Ends with status 0 when memcheck found no error and no block that nobody points at
any more.  Its report is shown; BUILD is build/release unless another is named.
"""
from __future__ import annotations

import socket
import struct
import sys
import threading
from pathlib import Path

from lab import BASE_CONFIG, PROJECT, Build, Daemon, Shim, Unavailable, World, wait_for

REPORT = "/tmp/valgrind.report"
START = 1600000000
ERROR = 99

SETTING_UP = [
    "debug ntp on", "ntp terminal", "show ntp", "show ntp json", "show timezone", "ntp enable",
    "timezone continent Europe location Paris", "ntp server 0.0.0.0", f"ntp server {'x' * 200}",
    "ntp server ntp1.lab 0.0.0.0", "ntp server ntp1.lab ntp2.lab", "second ntp server2 0.0.0.0",
    "second ntp server2 ntp3.lab", "no second ntp server2", "ntp server ntp1.lab ntp2.lab", "ntp enable",
]
ZONES = [
    "show ntp", "show ntp json", "timezone continent Europe location Paris", "show timezone",
    "timezone continent Europe location Nowhere", "dst continent Asia location Tokyo",
    "timezone continent America location New_York", "timezone continent Indian_Ocean location Mahe",
]
LEAVING = ["no timezone", "show timezone", "show ntp json", "exit", "no debug ntp", "debug ntp off", "end", "disable"]
CALLS = [
    ("set_system_timezone", "8:30"), ("set_system_timezone_new", "+0530"), ("get_system_timezone",),
    ("systemGetDstCfg", 2020, START, "Europe/London"),
    ("set_system_timezone_by_path", "/usr/share/zoneinfo/Asia/Tokyo"), ("localtime_r", START),
]


class UnderValgrind(Build):
    def command(self) -> list[str]:
        return [
            "valgrind", "--leak-check=full", "--show-leak-kinds=definite", "--errors-for-leak-kinds=definite",
            f"--error-exitcode={ERROR}", f"--log-file={REPORT}", "--vgdb=no", "--fair-sched=yes",
            f"--suppressions={PROJECT}/lab/valgrind.supp", *super().command(),
        ]


def serve(server: socket.socket) -> None:
    """Answers every request with a time that is a minute further each time."""
    number = 0
    while True:
        try:
            request, sender = server.recvfrom(100)
        except OSError:  # the end of the session
            return
        number += 1
        time = struct.pack(">II", START + 60 * number + 2208988800, 0)
        server.sendto(b"\x1c\x02\x04\xec" + bytes(12) + bytes(8) + request[40:48] + time + time, sender)


def listens(daemon: Daemon) -> bool:
    if not daemon.running:
        raise RuntimeError(f"it ended at once: {daemon.stderr().decode()}")
    with daemon.world.socket("daemon", socket.SOCK_STREAM) as probe:
        return probe.connect_ex(("127.0.0.1", daemon.port)) == 0


def session(world: World, daemon: Daemon, shim: Shim) -> None:
    with daemon.vty("config") as operator:
        for line in SETTING_UP:
            operator.command(line)
        shim.wait_events("flush", 1, 30)
        for line in ZONES:
            operator.command(line)
        for text in ("ntp ", "show ", "timezone continent Asia location "):
            operator.help(text)
        operator.complete("sho")
        operator.command("ntp enable")
        shim.wait_events("flush", 2, 30)
        assert b"saved" in operator.command("do write file")
        for line in ("ntp disable", "ntp enable"):
            operator.command(line)
        shim.wait_events("flush", 3, 30)
        with world.socket("servers", socket.SOCK_DGRAM) as stranger:
            for length in (0, 47, 48, 1299, 1300, 1400):
                stranger.sendto(bytes(length), ("10.77.0.100", 123))
        shim.wait_events("recvfrom", 9, 30)
        for call in CALLS:
            shim.call(*call)
        for line in LEAVING:
            operator.command(line)
    with daemon.connect() as intruder:
        intruder.send(b"wrong\n" * 3)
        intruder.read_to_end()


def main() -> int:
    folder = Path(sys.argv[1] if len(sys.argv) > 1 else PROJECT / "build" / "release").resolve()
    with World(visible=Build(folder).folders) as world:
        server = world.socket("servers", socket.SOCK_DGRAM)
        server.bind(("10.77.0.1", 123))
        threading.Thread(target=serve, args=(server,), daemon=True).start()
        statuses = []
        for config in (BASE_CONFIG, None):  # the second run reads back what the first has written
            shim = Shim(world, clock_frozen=START, scale=0.05, calls=1, profile_commands=1)
            daemon = Daemon(world, UnderValgrind(folder), config=config, shim=shim).start(ready=False)
            wait_for("the daemon's vty", lambda: listens(daemon), 60)
            session(world, daemon, shim)
            statuses.append(daemon.stop())
            print(world.path(REPORT).read_text())
        server.close()
    return 0 if statuses == [0, 0] else 1


if __name__ == "__main__":
    try:
        sys.exit(main())
    except Unavailable as reason:
        sys.exit(f"valgrind_session: {reason}")
