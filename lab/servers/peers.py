# SPDX-License-Identifier: GPL-2.0-or-later
"""Real NTP servers for the lab: unpacked by tools/fetch-peers, never installed.

They serve the machine's clock as it is and cannot set it: the lab's processes
lack the capability, and the configuration here does not ask for it.
"""
from __future__ import annotations

import subprocess

from lab.world import PROJECT, Unavailable, World

PEERS = PROJECT / "build" / "deps" / "peers"


class Peer:
    """A server on one of the lab's server addresses."""

    def __init__(self, world: World, name: str, program: str, config: str, options: list[str]) -> None:
        self.world = world
        self.folder = f"/tmp/{name}"
        world.path(self.folder).mkdir()
        world.path(f"{self.folder}/conf").write_text(config)
        binary = PEERS / "usr" / "sbin" / program
        if not binary.exists():
            raise Unavailable(f"no {program}: run tools/fetch-peers")
        with world.path(f"{self.folder}/log").open("wb") as log:
            self.process = world.spawn("servers", [str(binary), *options], stdout=log, stderr=subprocess.STDOUT)

    def log(self) -> str:
        return self.world.path(f"{self.folder}/log").read_text(errors="replace")

    def stop(self) -> None:
        self.world.end(self.process)


def chrony(world: World, address: str) -> Peer:
    folder = "/tmp/chrony"
    config = (
        "local stratum 10\nallow\ncmdport 0\n"
        f"bindaddress {address}\nbindcmdaddress /\n"
        f"driftfile {folder}/drift\npidfile {folder}/pid\n"
    )
    # -x: leaves the clock alone; -d: stays in the foreground.
    return Peer(world, "chrony", "chronyd", config, ["-x", "-d", "-u", "root", "-f", f"{folder}/conf"])


def ntpsec(world: World, address: str) -> Peer:
    folder = "/tmp/ntpsec"
    config = (
        "disable ntp\n"
        "refclock local stratum 10\nrestrict default noquery\n"
        f"interface ignore wildcard\ninterface listen {address}\n"
    )
    return Peer(world, "ntpsec", "ntpd", config, ["-n", "-c", f"{folder}/conf", "-p", f"{folder}/pid"])

