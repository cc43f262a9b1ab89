# SPDX-License-Identifier: GPL-2.0-or-later
"""Configuring a build: which libfrr it takes, and where its daemon finds it."""
from __future__ import annotations

import os
import re
import shutil
import subprocess
from pathlib import Path

import pytest

from tests.package.throwaway import PROJECT

OWN = PROJECT / "build" / "deps" / "frr"


def configure(folder: Path, *arguments: str, prefix: Path | None = None) -> subprocess.CompletedProcess[str]:
    environment = {name: value for name, value in os.environ.items() if name != "HORAD_FRR_PREFIX"}
    if prefix is not None:
        environment["HORAD_FRR_PREFIX"] = str(prefix)
    return subprocess.run(["cmake", "-S", str(PROJECT), "-B", str(folder), "-G", "Ninja", "-DHORAD_TESTS=OFF", *arguments],
                          env=environment, capture_output=True, text=True)


def library(configured: subprocess.CompletedProcess[str]) -> Path:
    assert configured.returncode == 0, configured.stderr
    found = re.search(r"-- libfrr \d+\.\d+\.\d+: (.*)", configured.stdout)
    assert found is not None
    return Path(found[1])


@pytest.fixture
def device(tmp_path: Path) -> Path:
    """A device's libfrr: its library in another folder, without the link that some headers need."""
    prefix = tmp_path / "device"
    shutil.copytree(OWN / "include", prefix / "include", symlinks=True)
    (prefix / "include" / "frr" / "lib").unlink()
    folder = prefix / "lib" / "x86_64-linux-gnu"
    folder.mkdir(parents=True)
    (folder / "libfrr.so").symlink_to(OWN / "lib" / "libfrr.so")
    return prefix


def test_another_library_is_taken_at_any_time(device: Path, tmp_path: Path) -> None:
    build = tmp_path / "build"
    assert library(configure(build)).parent == OWN / "lib"
    wanted = device / "lib" / "x86_64-linux-gnu" / "libfrr.so"
    assert library(configure(build, prefix=device)) == wanted
    # Remembered, as a build that configures anew by itself needs it.
    assert library(configure(build)) == wanted
    assert library(configure(build, f"-DHORAD_FRR_PREFIX={OWN}")).parent == OWN / "lib"
    # Its headers are enough.
    configure(build, prefix=device)
    subprocess.run(["ninja", "-C", str(build), "horad/CMakeFiles/horad.dir/ntp_main.cpp.o"], check=True,
                   stdout=subprocess.DEVNULL)


@pytest.mark.parametrize("missing", ["include/frr/config.h", "include/frr/libfrr.h", "lib"])
def test_what_is_missing_is_named(device: Path, tmp_path: Path, missing: str) -> None:
    path = device / missing
    shutil.rmtree(path) if path.is_dir() else path.unlink()
    refused = configure(tmp_path / "build", prefix=device)
    assert refused.returncode != 0
    assert ("no config.h in" if missing.endswith("config.h") else f"no libfrr in {device}") in " ".join(refused.stderr.split())


def test_laid_out_as_installed(tmp_path: Path) -> None:
    """And left alone by the next one: a daemon may be starting."""
    build = tmp_path / "build"
    library(configure(build))
    (found,) = build.glob("lib/*/horad/libfrr.so.0")
    link = build / "lib" / "libfrr.so.0"
    assert found.samefile(link)
    assert f"-rpath,{OWN}" not in (build / "build.ninja").read_text()
    made = link.lstat().st_ctime_ns
    library(configure(build))
    assert link.lstat().st_ctime_ns == made


def test_a_library_that_is_not_installed_is_found_where_it_is(tmp_path: Path) -> None:
    build = tmp_path / "build"
    assert library(configure(build, "-DHORAD_INSTALL_LIBFRR=OFF")).parent == OWN / "lib"
    assert not list(build.glob("lib/**/libfrr*"))
    assert f"-rpath,{OWN / 'lib'}" in (build / "build.ninja").read_text()
