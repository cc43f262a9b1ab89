# SPDX-License-Identifier: GPL-2.0-or-later
"""A Debian system to install packages into, and to throw away."""
from __future__ import annotations

import os
import re
import shlex
import subprocess
from pathlib import Path
from typing import Iterator, Mapping

PROJECT = Path(__file__).resolve().parents[2]

# Made by tools/setup, and never changed.
BASE = PROJECT / "build" / "deps" / "debian"

# What any installation leaves behind.
_BOOKKEEPING = re.compile(r"/var/(lib/(dpkg|apt|systemd)|log|cache)(/|$)|/etc/ld\.so\.cache$")


class Debian:
    """One such system: a layer over the base.  `shared` appears in it as /packages."""

    def __init__(self, folder: Path, shared: Path) -> None:
        self._layer = folder / "layer"
        self._work = folder / "work"
        self._mounted = folder / "root"
        self._shared = shared
        for path in (self._layer, self._work, self._mounted):
            path.mkdir()

    def run(self, command: str, *, check: bool = True, network: bool = False) -> subprocess.CompletedProcess[str]:
        """Runs a shell command in it: no way to set the clock, its own processes, no network unless asked for."""
        root = shlex.quote(str(self._mounted))
        script = "\n".join([
            "set -e",
            f"mount -t overlay -o lowerdir={BASE},upperdir={self._layer},workdir={self._work} lab {root}",
            f"mount -t proc proc {root}/proc",
            f"mount --rbind /dev {root}/dev",
            f"mkdir -p {root}/packages",
            f"mount --bind {shlex.quote(str(self._shared))} {root}/packages",
            f"exec setpriv --bounding-set -sys_time --inh-caps -sys_time "
            f"env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive "
            f"chroot {root} sh -c {shlex.quote(command)}",
        ])
        done = subprocess.run(
            ["unshare", "--mount", *([] if network else ["--net"]), "--pid", "--fork", "--kill-child", "--", "sh", "-c", script],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
        )
        assert not check or done.returncode == 0, f"{command}: {done.stdout}"
        return done

    def path(self, inside: str) -> Path:
        """A file that this system has and the base has not."""
        return self._layer / inside.lstrip("/")

    def files(self) -> set[str]:
        """All its files but the package manager's own."""
        found = self.run("find / -xdev -path /packages -prune -o -print").stdout.splitlines()
        return {name for name in found if not _BOOKKEEPING.match(name)}


def tree(package: Path, folder: Path) -> Path:
    """A package unpacked, with its control files in DEBIAN."""
    subprocess.run(["dpkg-deb", "--raw-extract", str(package), str(folder)], check=True)
    return folder


def pack(folder: Path, package: Path) -> Path:
    subprocess.run(["dpkg-deb", "--root-owner-group", "--build", str(folder), str(package)],
                   check=True, stdout=subprocess.DEVNULL)
    return package


def changed(package: Path, folder: Path, fields: Mapping[str, str], files: Mapping[str, str] = {}) -> Path:
    """The same package with other control fields, and with other texts of some of its files."""
    unpacked = tree(package, folder / "tree")
    control = unpacked / "DEBIAN" / "control"
    text = control.read_text()
    for name, value in fields.items():
        text = re.sub(rf"^{name}: .*$", f"{name}: {value}", text, flags=re.MULTILINE)
    control.write_text(text)
    for name, content in files.items():
        (unpacked / name).write_text(content)
    return pack(unpacked, folder / "changed.deb")


def programs(folder: Path) -> Iterator[Path]:
    """The ELF files below a folder."""
    for path in sorted(folder.rglob("*")):
        if path.is_file() and not path.is_symlink():
            with path.open("rb") as file:
                if file.read(4) == b"\x7fELF":
                    yield path


def needed(path: Path) -> set[str]:
    """The libraries that a program asks the loader for."""
    listed = subprocess.run(["readelf", "--dynamic", "--wide", str(path)], check=True, capture_output=True, text=True,
                            env={**os.environ, "LC_ALL": "C"}).stdout
    return set(re.findall(r"\(NEEDED\).*\[(.*)\]", listed))
