# SPDX-License-Identifier: GPL-2.0-or-later
"""Debian's releases: what they call differently, and a system of another one."""
from __future__ import annotations

import os
import platform
import re
import subprocess

import pytest

from tests.tools.conftest import Clone

RELEASES = {"12": "bookworm", "13": "trixie", "": "forky"}  # the last one is in the making
every_release = pytest.mark.parametrize("release", RELEASES)


def run_on(clone: Clone, release: str, *command: str) -> subprocess.CompletedProcess[str]:
    told = clone.programs / "os-release"
    told.write_text(f"ID=debian\nVERSION_CODENAME={RELEASES[release]}\n" + (f'VERSION_ID="{release}"\n' if release else ""))
    script = f"mount --bind {told} /etc/os-release && exec \"$@\""
    return clone.run(*command, before=("unshare", "--mount", "sh", "-c", script, "sh"))


def installing(clone: Clone, release: str, *options: str) -> set[str]:
    """The packages that set-up asks for where none is there."""
    clone.program("dpkg-query", "exit 1")
    clone.program("apt-get", f'case $* in *install*) printf "%s\\n" "$@" >{clone.folder}/asked ;; esac')
    assert run_on(clone, release, "tools/setup", *options).returncode != 0  # none came
    return set((clone.folder / "asked").read_text().split())


@every_release
def test_names_of_packages(clone: Clone, release: str) -> None:
    asked = installing(clone, release, "--tests")
    newer = {"libyang-dev", "libprotobuf-c-dev", "protobuf-c-compiler", "tzdata-legacy"}
    assert asked & {*newer, "libyang2-dev"} == ({"libyang2-dev"} if release == "12" else newer)
    # No compiler's own number.
    assert not {name for name in asked if re.search(r"clang.*\d\d|gcc-\d|g\+\+-\d", name)}


def test_a_name_that_got_an_ending(clone: Clone) -> None:
    """It is there, and nothing is fetched."""
    clone.program("dpkg-query", """
        status=0
        for name; do
            case $name in
            -* | *{*) ;;
            libssl3 | libgnutls30 | libnettle8) status=1 ;;
            libssl3t64 | libgnutls30t64 | libnettle8t64) echo installed ;;
            *t64) status=1 ;;
            *) echo installed ;;
            esac
        done
        exit $status""")
    clone.program("apt-get", "exit 7")
    clone.replace("tools/build-libfrr", "true")
    assert "packages: all there\n" in run_on(clone, "13", "tools/setup").stdout


def test_a_package_that_was_removed_is_missing(clone: Clone) -> None:
    clone.program("dpkg-query", "case $* in *libssl3*) echo config-files ;; *) echo installed ;; esac")
    clone.program("apt-get", 'case $* in *install*) echo "$@" >&2; exit 7 ;; esac')
    assert "install libssl3\n" in run_on(clone, "13", "tools/setup").stderr


@every_release
def test_the_release_is_in_the_version(clone: Clone, native: str, release: str) -> None:
    clone.replace("tools/setup", "true")
    clone.program("dpkg-buildpackage", f"head -n 1 debian/changelog >{clone.folder}/first; exit 7")
    run_on(clone, release, "tools/package", native)
    ending = f"~deb{release}u1" if release else ""
    assert re.match(rf"horad \(\d+\.\d+\.\d+{ending}\) unstable;", (clone.folder / "first").read_text())


def test_a_system_of_another_release(clone: Clone) -> None:
    """It comes from where this machine's own packages do."""
    clone.program("mmdebstrap", f"""
        for word; do
            echo "$word" >>{clone.folder}/words
            [ ! -f "$word" ] || cat "$word" >>{clone.folder}/sources
        done
        exit 7""")
    assert clone.run("tools/debian-tree", "bare", "sid", str(clone.folder / "tree")).returncode != 0
    assert "sid" in (clone.folder / "words").read_text().split()
    own = platform.freedesktop_os_release()["VERSION_CODENAME"]
    sources = re.sub("^#.*", "", (clone.folder / "sources").read_text(), flags=re.MULTILINE)
    assert re.search(r"\bsid\b", sources) and not re.search(rf"\b{own}\b", sources)


def test_in_a_system_of_another_release(clone: Clone) -> None:
    """A command sees the project's files and what it left there, and not this machine's own."""
    root = clone.folder / "build" / "on" / "sid" / "root"
    clone.program("mmdebstrap", "exit 7")
    clone.replace("tools/debian-tree", "true")
    root.mkdir(parents=True)
    # This machine's programs, for want of a system.
    for name in ("bin", "lib", "lib64", "sbin"):
        (root / name).symlink_to(f"usr/{name}")
    for name in ("dev", "etc", "proc", "run", "sys", "usr"):
        (root / name).mkdir()
    usr = ("unshare", "--mount", "sh", "-c", f'mount --bind /usr {root}/usr && exec "$@"', "sh")

    def in_it(command: str) -> str:
        done = clone.run("tools/on", "sid", "bash", "-c", command, before=usr)
        assert done.returncode == 0, done.stderr
        return done.stdout

    assert in_it("pwd; ls / | tr '\\n' ' '; ls build 2>&1; mkdir -p build; echo made >build/x; echo $$") == (
        "/horad\nbin dev etc horad lib lib64 proc run sbin sys usr "
        "ls: cannot access 'build': No such file or directory\n1\n"
    )
    (clone.folder / "LICENSE").unlink()
    (clone.folder / "NEW").write_text("new\n")
    assert in_it("cat build/x NEW; ls LICENSE 2>/dev/null || echo gone") == "made\nnew\ngone\n"
    # The clock is this machine's.
    assert "cap_sys_time" not in in_it("setpriv --dump")
    # So is the network.
    assert in_it("readlink /proc/self/ns/net").strip() == os.readlink("/proc/self/ns/net")
    assert clone.run("tools/on", "sid", "--anew").returncode == 0
    assert not root.exists()
