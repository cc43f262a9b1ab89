# SPDX-License-Identifier: GPL-2.0-or-later
"""A tool says "ready" when it is; after a failure the next try is a whole one."""
from __future__ import annotations

import subprocess
from pathlib import Path
from typing import Callable

import pytest

from tests.tools.conftest import DEPS, Clone, interrupt

ROOT = "build/deps/arm64/root"

# Instead of compiling, what was made before is taken: a whole build takes minutes.
CONFIGURE = "mkdir lib && cp {made}/include/frr/config.h . && echo >lib/version.h"
MAKE = """
case $* in
*libfrr.la*) mkdir -p lib/.libs; cp -a {made}/lib/* lib/.libs; cp {clippy} lib/clippy ;;
*install*) target=${{@: -1}}; target=${{target#pkgincludedir=}}; mkdir -p "$target"; cp -a {made}/include/frr/*.h "$target" ;;
esac
"""


def with_libfrr(clone: Clone, architecture: str) -> list[str]:
    made = DEPS / architecture / "frr" if architecture else DEPS / "frr"
    clone.program("make", MAKE.format(made=made, clippy=DEPS / "frr" / "bin" / "clippy"))
    if architecture:
        (clone.deps / "arm64").mkdir(parents=True)
        (clone.deps / "arm64" / "root").symlink_to(DEPS / "arm64" / "root")
    # A source package as it is unpacked.
    clone.program("apt-get", f"""
        case $* in *' source frr')
            mkdir -p frr-0/debian && touch frr-0/debian/copyright
            printf '#!/bin/sh\\n%s\\n' '{CONFIGURE.format(made=made)}' >frr-0/configure && chmod +x frr-0/configure ;;
        esac""")
    clone.program("autoreconf", "true")
    return ["tools/build-libfrr", *([architecture] if architecture else [])]


def with_native_libfrr(clone: Clone) -> list[str]:
    return with_libfrr(clone, "")


def with_arm64_libfrr(clone: Clone) -> list[str]:
    return with_libfrr(clone, "arm64")


def with_sysroot(clone: Clone) -> list[str]:
    clone.program("mmdebstrap", f"""
        for word; do [[ $word != *.tar ]] || tar -c -C {DEPS}/arm64/root -f "$word" .; done""")
    return ["tools/debian-tree", "sysroot", "arm64", str(clone.folder / ROOT)]


def with_system(clone: Clone) -> list[str]:
    clone.program("mmdebstrap", f"""
        for word; do [[ $word != *.tar ]] || tar -c -C {DEPS}/debian -f "$word" ./etc ./var/lib/dpkg; done""")
    return ["tools/debian-tree", "system", str(clone.deps / "debian")]


def with_peers(clone: Clone) -> list[str]:
    for name, program in (("one", "chronyd"), ("two", "ntpd")):
        folder = clone.folder / "packages" / name
        (folder / "DEBIAN").mkdir(parents=True)
        (folder / "DEBIAN" / "control").write_text(
            f"Package: {name}\nVersion: 1\nArchitecture: all\nMaintainer: nobody <nobody@example.org>\nDescription: none\n")
        (folder / "usr/sbin").mkdir(parents=True)
        (folder / "usr/sbin" / program).write_bytes((DEPS / "peers/usr/sbin" / program).read_bytes())
        subprocess.run(["dpkg-deb", "--build", folder, folder.parent / f"{name}.deb"], check=True, capture_output=True)
    clone.program("apt-get", f'case $* in *download*) cp {clone.folder}/packages/*.deb . ;; esac')
    return ["tools/fetch-peers"]


# The tool, a program that it needs, and a run of it that does nothing though it says that it did.
CASES = [
    pytest.param(with_native_libfrr, "make", "", id="libfrr"),
    pytest.param(with_native_libfrr, "autoreconf", None, id="libfrr's configure script"),
    pytest.param(with_native_libfrr, "apt-get", "", id="libfrr's source"),
    pytest.param(with_arm64_libfrr, "make", "", id="libfrr for arm64"),
    pytest.param(with_sysroot, "mmdebstrap", 'for word; do [[ $word != *.tar ]] || tar -c -f "$word" -T /dev/null; done',
                 id="sysroot"),
    pytest.param(with_sysroot, "tar", "", id="sysroot's files"),
    pytest.param(with_system, "mmdebstrap", "", id="system"),
    pytest.param(with_system, "tar", 'mkdir -p "${@: -1}"', id="system's files"),
    pytest.param(with_peers, "apt-get", "", id="servers"),
    pytest.param(with_peers, "ldd", 'echo "libssl.so.3 => not found"', id="servers' libraries"),
]
Prepare = Callable[[Clone], list[str]]


def succeeds(clone: Clone, tool: list[str]) -> None:
    done = clone.run(*tool)
    assert done.returncode == 0, done.stderr
    assert "ready" in done.stdout
    assert done.stderr == ""
    again = clone.run(*tool)
    assert again.returncode == 0
    assert "already" in again.stdout or "all there" in again.stdout


def instead(clone: Clone, program: str, script: str) -> Callable[[], None]:
    """Puts another program in a program's place; call what is returned to end that."""
    path = clone.programs / program
    before = path.read_text() if path.exists() else None
    clone.program(program, script)

    def restore() -> None:
        path.unlink()
        if before is not None:
            path.write_text(before)
            path.chmod(0o755)

    return restore


def made_nothing(clone: Clone) -> None:
    for stamp in ("frr/.built", "arm64/frr/.built", "peers/usr/sbin/ntpd"):
        assert not (clone.deps / stamp).exists()
    for tree in ("arm64/root", "debian"):
        assert not (clone.deps / f"{tree}.made").exists()


@pytest.mark.parametrize(("prepare", "program", "nothing"), CASES)
def test_after_a_failure(clone: Clone, prepare: Prepare, program: str, nothing: str | None) -> None:
    tool = prepare(clone)
    for script in ("echo made up; echo made up >&2; exit 7", nothing):
        if script is None:
            continue
        restore = instead(clone, program, script)
        for _ in "once", "and once more":
            failed = clone.run(*tool)
            assert failed.returncode != 0
            assert "failed while" in failed.stderr
            assert "ready" not in failed.stdout and "already" not in failed.stdout
            assert ("made up" in failed.stderr) == ("made up" in script)
            made_nothing(clone)
        restore()
    succeeds(clone, tool)


@pytest.mark.parametrize(("prepare", "program"), [case.values[:2] for case in CASES])
def test_after_ctrl_c(clone: Clone, prepare: Prepare, program: str) -> None:
    tool = prepare(clone)
    began = clone.folder / "began"
    restore = instead(clone, program, f": >{began}; exec sleep 1000")
    output, errors = interrupt(clone.start(*tool, start_new_session=True), began)
    restore()
    assert "interrupted while" in errors
    assert "ready" not in output
    made_nothing(clone)
    succeeds(clone, tool)


def test_a_finished_library_stays_until_the_next_one_is(clone: Clone) -> None:
    tool = with_native_libfrr(clone)
    succeeds(clone, tool)
    # A changed recipe.
    with (clone.folder / "tools/build-libfrr").open("a") as script:
        script.write("# another one\n")
    restore = instead(clone, "make", "exit 7")
    assert clone.run(*tool).returncode != 0
    assert (clone.deps / "frr/lib/libfrr.so").exists()
    restore()
    succeeds(clone, tool)


def test_a_library_that_does_not_load(clone: Clone) -> None:
    tool = with_native_libfrr(clone)
    restore = instead(clone, "make", (clone.programs / "make").read_text() + "truncate -s 1000 lib/.libs/libfrr.so.0.0.0")
    failed = clone.run(*tool)
    assert failed.returncode != 0 and "failed while trying it out" in failed.stderr
    made_nothing(clone)
    restore()
    succeeds(clone, tool)


def test_a_folder_of_somebody_else_stays(clone: Clone) -> None:
    tool = with_system(clone)
    (clone.deps / "debian").mkdir(parents=True)
    refused = clone.run(*tool)
    assert refused.returncode == 1 and "not of my making" in refused.stderr


def with_missing_package(clone: Clone) -> None:
    clone.program("dpkg-query", '[[ $* != *sqlite3-dev* ]] || exit 1; echo -n installed')


def test_packages_that_do_not_come(clone: Clone) -> None:
    with_missing_package(clone)
    for script, reason in (("", "still missing: libsqlite3-dev"), ("echo no such package >&2; exit 100", "no such package")):
        clone.program("apt-get", script)
        failed = clone.run("tools/setup")
        assert failed.returncode != 0
        assert reason in failed.stderr
        assert "all there" not in failed.stdout


def test_packages_without_a_way_to_install_them(clone: Clone) -> None:
    with_missing_package(clone)
    clone.program("id", "echo 1000")
    clone.environment["PATH"] = f"{clone.programs}:{clone.folder}/bin"
    (clone.folder / "bin").mkdir()
    for path in Path("/usr/bin").iterdir():
        if path.name != "sudo":
            (clone.folder / "bin" / path.name).symlink_to(path)
    failed = clone.run("tools/setup")
    assert failed.returncode == 1
    assert failed.stderr == "setup: run this as root: apt-get install libsqlite3-dev\n"


def test_a_package_that_cannot_be_built(clone: Clone, native: str) -> None:
    clone.replace("tools/setup", "true")
    clone.program("dpkg-buildpackage", "echo made up; exit 7")
    failed = clone.run("tools/package", native)
    assert failed.returncode != 0
    assert "made up" in failed.stderr and "failed while building the package" in failed.stderr
