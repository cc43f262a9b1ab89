# SPDX-License-Identifier: GPL-2.0-or-later
"""Packages as tools/package makes them, and systems to put them on.

    /usr/bin/python3 -m pytest tests/package

makes them first (build/packages), with the programs that the other tests run.  With
HORAD_LIFE_ONLY in the environment it makes this machine's own only, and leaves out what is not
about its life on a system.
"""
from __future__ import annotations

import os
import subprocess
from pathlib import Path
from typing import Sequence

import pytest

from tests.package.throwaway import PROJECT, Debian


def build_packages(folder: Path, *before: str, clone: Path = PROJECT, as_built: bool = False,
                   wanted: Sequence[str] = ()) -> dict[str, Path]:
    """Packages made in a clone, by architecture; those of debug information are beside them."""
    # On another release's bare system there is no git, and the revision is given.
    revision = os.environ.get("HORAD_REVISION") or subprocess.run(
        ["git", "-c", f"safe.directory={PROJECT}", "-C", PROJECT, "describe", "--always", "--dirty", "--abbrev=12"],
        capture_output=True, text=True).stdout.strip()
    # Whoever builds a copy without the history names the revision.
    command = [str(clone / "tools" / "package"), *(["--as-built"] if as_built else []), "--output", str(folder), *wanted]
    subprocess.run([*before, *command], check=True, stdout=subprocess.DEVNULL,
                   env={**os.environ, "HORAD_REVISION": revision})
    return by_architecture(folder, "horad")


def pytest_collection_modifyitems(items: list[pytest.Item]) -> None:
    if "HORAD_LIFE_ONLY" in os.environ:
        items[:] = [item for item in items if "debian" in getattr(item, "fixturenames", ())]


def by_architecture(folder: Path, name: str) -> dict[str, Path]:
    return {path.stem.rsplit("_", 1)[1]: path for path in folder.glob(f"{name}_*.deb")}


@pytest.fixture(scope="session")
def packages(native: str) -> dict[str, Path]:
    """The packages by architecture."""
    wanted = [native] if "HORAD_LIFE_ONLY" in os.environ else []
    before = library_links()
    made = build_packages(PROJECT / "build" / "packages", as_built=True, wanted=wanted)
    assert library_links().items() >= before.items(), "daemons of other tests may have been starting"
    return made


def library_links() -> dict[Path, int]:
    """When the links by which the daemons of builds find libfrr were made."""
    return {link: link.lstat().st_ctime_ns for link in PROJECT.glob("build/*/lib/libfrr.so.0")}


@pytest.fixture(scope="session")
def native() -> str:
    """This machine's architecture."""
    return subprocess.run(["dpkg", "--print-architecture"], check=True, capture_output=True, text=True).stdout.strip()


@pytest.fixture
def debian(tmp_path: Path, packages: dict[str, Path], native: str) -> Debian:
    """A system without the daemon; /packages/horad.deb is the package for it."""
    shared = tmp_path / "packages"
    shared.mkdir()
    (shared / "horad.deb").write_bytes(packages[native].read_bytes())
    return Debian(tmp_path, shared)
