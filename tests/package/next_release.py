# SPDX-License-Identifier: GPL-2.0-or-later
"""An upgrade of a whole system to another release of Debian, with the package on it.

    HORAD_RELEASE=trixie /usr/bin/python3 -m pytest tests/package/next_release.py

is a part of ./test --on trixie, which has made that release's package.  It needs a network, and
is not among the tests that are found by themselves.
"""
from __future__ import annotations

import os
import platform
import re
import sqlite3
import subprocess
from pathlib import Path

import pytest

from tests.package.throwaway import PROJECT, Debian

RELEASE = os.environ.get("HORAD_RELEASE", "")
CONFIGURATION = "/etc/frr/horad.conf"
DATABASE = "/var/lib/horad/config.db"
MINE = "hostname mine\npassword secret\nntp terminal\n ntp server 10.0.0.1 10.0.0.2\n"
# It waits for nobody's answer: what asks keeps what is there.
APT = "apt-get --yes -o Dpkg::Options::=--force-confold -o Dpkg::Use-Pty=0 -o APT::Sandbox::User=root"
# The daemon for a moment, long enough to open its database.
FOR_A_MOMENT = (f"timeout --preserve-status --signal=TERM 5 horad -f {CONFIGURATION} -P 0 -i /run/horad.pid "
                "--vty_socket /run 2>&1")


def package_in(folder: Path) -> Path:
    (package,) = folder.glob(f"horad_*_{architecture()}.deb")
    return package


def architecture() -> str:
    return subprocess.run(["dpkg", "--print-architecture"], check=True, capture_output=True, text=True).stdout.strip()


@pytest.fixture
def system(tmp_path: Path) -> Debian:
    """A system of this machine's release with the daemon, configured and used; the next one's package is at hand."""
    shared = tmp_path / "packages"
    shared.mkdir()
    own = tmp_path / "own"
    subprocess.run([PROJECT / "tools" / "package", "--output", own, architecture()], check=True, stdout=subprocess.DEVNULL)
    next_one = PROJECT / "build" / "on" / RELEASE / "root" / "horad" / "build" / "packages"
    (shared / "own.deb").write_bytes(package_in(own).read_bytes())
    (shared / "next.deb").write_bytes(package_in(next_one).read_bytes())

    debian = Debian(tmp_path, shared)
    debian.run("dpkg --install /packages/own.deb")
    debian.run(f"cat >{CONFIGURATION} <<'END'\n{MINE}END\nmkdir -p /var/lib/horad /run")
    debian.run(FOR_A_MOMENT)
    with sqlite3.connect(debian.path(DATABASE)) as database:
        database.execute("INSERT INTO clock_step (time, diff, area, id) VALUES (1600000000, -42, 1, 2)")
    database.close()
    return debian


def steps(debian: Debian) -> list[tuple[int, ...]]:
    with sqlite3.connect(debian.path(DATABASE)) as database:
        found = database.execute("SELECT time, diff, area, id FROM clock_step").fetchall()
    database.close()
    return found


def is_as_it_was(debian: Debian) -> None:
    assert debian.run(f"cat {CONFIGURATION}").stdout == MINE
    assert debian.run(f"stat -c '%a %U:%G' {CONFIGURATION}").stdout == "640 root:root\n"
    # A daemon of the same process number left its folder.
    assert debian.run(f"rm -rf /var/tmp/frr; horad --dryrun -f {CONFIGURATION}").stdout == ""
    # Opened, and written to as before.
    assert "config.db" not in debian.run(FOR_A_MOMENT).stdout
    assert steps(debian) == [(1600000000, -42, 1, 2)]
    assert debian.run("dpkg --audit").stdout == ""


def version(debian: Debian) -> str:
    return debian.run("dpkg-query -W -f '${Version} ${db:Status-Status}' horad").stdout


def test_the_system_first_and_then_the_package(system: Debian) -> None:
    """As it happens to those who upgrade Debian: for a while the older package runs on the newer system."""
    before = version(system)
    is_as_it_was(system)
    codename = platform.freedesktop_os_release()["VERSION_CODENAME"]
    system.run(f"sed -i 's/\\b{codename}\\b/{RELEASE}/g' /etc/apt/sources.list.d/*")
    system.run(f"{APT} update && {APT} full-upgrade", network=True)
    assert f"VERSION_CODENAME={RELEASE}\n" in system.run("cat /etc/os-release").stdout
    # Nothing that it needs was taken away.
    assert version(system) == before and before.endswith(" installed")
    is_as_it_was(system)

    system.run(f"{APT} install /packages/next.deb", network=True)
    number = re.search(r"^VERSION_ID=\"?(\d+)", system.run("cat /etc/os-release").stdout, re.MULTILINE)
    assert number is not None
    assert version(system).endswith(f"~deb{number[1]}u1 installed")
    assert "not found" not in system.run("ldd /usr/sbin/horad /usr/lib/*/horad/*.so*").stdout
    is_as_it_was(system)
