# SPDX-License-Identifier: GPL-2.0-or-later
"""The time daemons that bench/daemon compares, set up alike: one server, by its address.

Each is configured as Debian ships it, but for that server, and run by root in the
foreground.  None of them has a right to the machine's clock.
"""
from __future__ import annotations

from dataclasses import dataclass, field
from pathlib import Path
from typing import Mapping

from lab.build import Build
from lab.servers.peers import PEERS
from lab.world import World

SERVER = "10.77.0.1"
_CHRONY = f"""\
server {SERVER} iburst
driftfile /var/lib/chrony/chrony.drift
maxupdateskew 100.0
rtcsync
makestep 1 3
leapsectz right/UTC
"""
_NTPSEC = f"""\
server {SERVER} iburst
driftfile /var/lib/ntpsec/ntp.drift
leapfile /usr/share/zoneinfo/leap-seconds.list
restrict default kod nomodify nopeer noquery limited
restrict 127.0.0.1
"""


@dataclass(frozen=True)
class TimeDaemon:
    """How to start one; `ends` says that it only sets the clock."""

    name: str
    command: list[str]
    files: Mapping[str, str] = field(default_factory=dict)
    folders: tuple[str, ...] = ()
    ends: bool = False
    missing: str = "unpack it with tools/fetch-peers"

    @property
    def is_there(self) -> bool:
        return Path(self.command[0]).exists()

    def prepare(self, world: World) -> None:
        world.reset()
        for folder in self.folders:
            world.path(folder).mkdir(mode=0o750, parents=True)
        for name, text in self.files.items():
            world.path(name).parent.mkdir(parents=True, exist_ok=True)
            world.path(name).write_text(text)


def horad(build: Build, *more: str, server: str = SERVER, name: str = "horad") -> TimeDaemon:
    """With the options of its unit; its log is a file, there being no other."""
    command = [str(build.daemon), "-A", "127.0.0.1", "--vty_socket", "/run/horad", "-i", "/run/horad/horad.pid",
               "--log", "file:/var/log/horad.log", *more]
    config = f"hostname lab\npassword lab\nntp terminal\n ntp server {server}\n ntp enable\n"
    return TimeDaemon(name, command, {"/etc/frr/horad.conf": config}, ("/run/horad",), missing="build it")


def all_daemons(build: Build) -> list[TimeDaemon]:
    chronyd, ntpd = (str(PEERS / "usr" / "sbin" / name) for name in ("chronyd", "ntpd"))
    chrony_folders = ("/run/chrony", "/var/lib/chrony")
    ntpsec = {"/etc/ntpsec/ntp.conf": _NTPSEC}, ("/var/lib/ntpsec", "/var/log/ntpsec")
    ntpd_command = [ntpd, "-n", "-g", "-N", "-c", "/etc/ntpsec/ntp.conf"]
    return [
        horad(build, name="horad alone"),
        horad(build, "-M", str(build.folder / "lib" / "horad_status.so")),
        # Without its system-call filter (-F), which does not know our library.
        TimeDaemon("chronyd", [chronyd, "-d", "-u", "root", "-f", "/etc/chrony/chrony.conf"],
                   {"/etc/chrony/chrony.conf": _CHRONY}, chrony_folders),
        # It sets the clock by its first sample.
        TimeDaemon("chronyd -q", [chronyd, "-q", "-u", "root", f"server {SERVER} iburst maxsamples 1"],
                   folders=chrony_folders, ends=True),
        # Debian's systemd has brought it along; nothing of it is started on the machine.
        TimeDaemon("systemd-timesyncd", ["/usr/lib/systemd/systemd-timesyncd"],
                   {"/etc/systemd/timesyncd.conf": f"[Time]\nNTP={SERVER}\n"},
                   missing="it belongs to the machine's systemd; nothing is installed for a benchmark"),
        TimeDaemon("ntpd", ntpd_command, *ntpsec),
        TimeDaemon("ntpd -q", [*ntpd_command, "-q"], *ntpsec, ends=True),
    ]
