# SPDX-License-Identifier: GPL-2.0-or-later
"""The lab with a daemon below the folders that it makes private, and where it cannot be had."""
from __future__ import annotations

import subprocess
import sys
from pathlib import Path

import pytest

from lab import PROJECT, Build, Daemon, Unavailable, World


@pytest.mark.plain_build
def test_a_daemon_and_its_libraries_below_tmp(build: Build, tmp_path: Path) -> None:
    assert str(tmp_path).startswith("/tmp/")
    subprocess.run(["cmake", "--install", build.folder, "--prefix", tmp_path / "build", "--component", "daemon"],
                   check=True, stdout=subprocess.DEVNULL)
    (tmp_path / "build" / "sbin" / "horad").rename(tmp_path / "build" / "bin" / "horad")
    # As with a libfrr that is somewhere else.
    (library,) = tmp_path.glob("build/lib/*/horad/libfrr.so.0")
    (tmp_path / "elsewhere").mkdir()
    library.rename(tmp_path / "elsewhere" / "libfrr.so")
    library.symlink_to("../../../../elsewhere/libfrr.so")

    folder = tmp_path / "by_this_name"
    folder.symlink_to("build")
    installed = Build(folder)
    with World(visible=installed.folders) as world:
        daemon = Daemon(world, installed).start()
        assert daemon.vty().command("show ntp") == b"NTP protcol is disable!\r\r\n"
        assert daemon.stop() == 0


def test_no_daemon(tmp_path: Path) -> None:
    with pytest.raises(Unavailable, match=f"no daemon in {tmp_path}: .*No such file"):
        Build(tmp_path).folders


def test_without_root_it_is_said_once(build: Build) -> None:
    """Rather than by every test."""
    done = subprocess.run(
        ["setpriv", "--bounding-set", "-sys_admin", "--inh-caps", "-sys_admin", "--", sys.executable, "-m", "pytest",
         "-q", f"--build-dir={build.folder}", "tests/system/test_show.py"],
        cwd=PROJECT, capture_output=True, text=True,
    )
    assert done.returncode == 1
    shown = done.stdout + done.stderr
    assert shown.count("the lab cannot be made, it needs root: [Errno 1] unshare: Operation not permitted") == 1
    assert "Traceback" not in shown and "ERROR" not in shown
