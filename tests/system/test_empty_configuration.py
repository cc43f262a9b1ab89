# SPDX-License-Identifier: GPL-2.0-or-later
"""A configuration that was saved on a full disk, and how the one before it comes back."""
from __future__ import annotations

import os
import signal
import stat
import subprocess
from pathlib import Path
from typing import Iterator

import pytest

from lab import CONFIG, PROJECT, Vty, World
from lab.bench import PRIMARY, SECONDARY, Bench, configured
from lab.vty import Closed

RESTORE = PROJECT / "packaging" / "restore-configuration"
SAVED = b"Configuration saved to /etc/frr/horad.conf\r\n"
GOOD = "hostname olt\npassword 8x4ra\n"


@pytest.fixture
def file(tmp_path: Path) -> Path:
    """An empty configuration; a good one is in `saved(file)`."""
    path = tmp_path / "horad.conf"
    path.touch()
    saved(path).write_text(GOOD)
    return path


def saved(path: Path) -> Path:
    return path.with_name(f"{path.name}.sav")


def restore(*options: str | Path, status: int = 0) -> str:
    """What it says."""
    done = subprocess.run([RESTORE, *options], capture_output=True, text=True)
    assert (done.stdout, done.returncode) == ("", status)
    return done.stderr


def content(path: Path) -> str | None:
    return path.read_text() if path.exists() else None


# --- what it puts back


def test_the_saved_one_takes_the_place_of_an_empty_one(file: Path) -> None:
    os.chown(saved(file), 123, 45)
    saved(file).chmod(0o640)
    before = saved(file).stat()
    assert restore("-f", file) == f"horad: {file} was empty: {file}.sav is back in its place. Is the disk full?\n"
    after = file.stat()
    # The same file, not a copy: nothing of it can be missing.
    assert (after.st_ino, after.st_uid, after.st_gid) == (before.st_ino, 123, 45)
    assert stat.S_IMODE(after.st_mode) == 0o640
    assert (content(file), content(saved(file))) == (GOOD, None)
    # Once more is once too often.
    assert restore("-f", file) == ""
    assert content(file) == GOOD


def test_with_a_priority_for_the_journal(file: Path) -> None:
    assert restore("--journal", "-f", file).startswith("<4>horad: ")


@pytest.mark.parametrize("options", ["-A 127.0.0.1 -f {} -P 2705", "-f{}", "--config_file {}", "--config_file={}",
                                     "-f /nowhere/horad.conf -f {}", "--log syslog -d -f {} -f",
                                     "--config={}", "--config {}", "--con={}", "--con {} -d", "-f /nowhere --config_fil {}",
                                     "-df{}", "-df {}", "-A 127.0.0.1 -dtCf{}", "-dtCf {} -P 2705", "-d -t --daemon -f {} -dt", "-df /df -f{}"])
def test_the_daemons_options_name_the_file(file: Path, options: str) -> None:
    restore(*options.format(file).split())
    assert content(file) == GOOD


@pytest.mark.parametrize("options", ["-Pf{}", "-dAf{}", "-Mf {}", "--daemon={}", "--dryrun {}", "-f {} --config=/nowhere", "-f {} -df /nowhere"])
def test_other_options_do_not(file: Path, options: str) -> None:
    assert restore(*options.format(file).split()) == ""
    assert content(file) == ""


@pytest.mark.parametrize("options", ["-Cf{}", "-Cf {}", "-dtCf{}", "-C --config={}", "--con {} -C", "--config_fil={} -C"])
def test_the_daemon_takes_these_options_so(bench: Bench, options: str) -> None:
    """A check of the file that they name: it is not there."""
    daemon = bench.world.spawn("daemon", [*bench.build.emulator, str(bench.build.folder / "bin" / "horad"),
                                          *options.format("/nowhere/horad.conf").split()], stderr=subprocess.PIPE)
    _, errors = daemon.communicate(timeout=60)
    assert b"/nowhere/horad.conf" in errors


def test_names_with_blanks_and_signs(tmp_path: Path) -> None:
    path = tmp_path / "-a  b*"
    path.touch()
    saved(path).write_text(GOOD)
    restore("-f", path)
    assert content(path) == GOOD
    # A relative one, as the daemon takes it.
    path.write_text("")
    saved(path).write_text(GOOD)
    subprocess.run([RESTORE, "-f", path.name], cwd=tmp_path, check=True, stderr=subprocess.DEVNULL)
    assert content(path) == GOOD


# --- what it leaves alone


@pytest.mark.parametrize("text", ["!\n", "\n", "password mine\n"])
def test_never_a_configuration_with_something_in_it(file: Path, text: str) -> None:
    file.write_text(text)
    assert restore("-f", file) == ""
    assert (content(file), content(saved(file))) == (text, GOOD)


def test_a_file_that_is_missing_was_removed(file: Path) -> None:
    file.unlink()
    assert restore("-f", file) == ""
    assert (content(file), content(saved(file))) == (None, GOOD)


def test_nothing_good_to_put_back(file: Path) -> None:
    saved(file).write_text("")
    assert restore("-f", file) == ""
    assert saved(file).exists()
    saved(file).unlink()
    assert restore("-f", file) == ""
    saved(file).mkdir()
    assert restore("-f", file) == ""
    assert saved(file).is_dir()
    assert content(file) == ""


def test_a_link_is_somebodys_own_arrangement(file: Path, tmp_path: Path) -> None:
    other = tmp_path / "elsewhere"
    other.touch()
    file.unlink()
    file.symlink_to(other)
    assert restore("-f", file) == ""
    assert file.is_symlink() and saved(file).exists()


# --- the daemon's own


@pytest.fixture
def disk(bench: Bench) -> Iterator[Path]:
    """A little file system of its own for the configuration."""
    world = bench.world
    run(world, "mount", "-t", "tmpfs", "-o", "size=64k", "small", "/etc/frr")
    yield world.path("/etc/frr")
    run(world, "umount", "--lazy", "/etc/frr")


def run(world: World, *command: str) -> str:
    process = world.spawn("daemon", command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    try:
        output, _ = process.communicate(timeout=60)
    finally:
        world.end(process)
    assert process.returncode == 0, output.decode()
    return output.decode()


def fill(disk: Path) -> Path:
    """Also what a save gives free: the .sav before."""
    filler = disk / "filler"
    with filler.open("ab", buffering=0) as file, pytest.raises(OSError, match="No space left"):
        while True:
            file.write(bytes(1024))
    return filler


def save(session: Vty) -> None:
    assert session.command("do write file") == SAVED


@pytest.mark.libfrr_before(9)
def test_saved_on_a_full_disk(bench: Bench, disk: Path) -> None:
    config = disk / "horad.conf"
    daemon = bench.daemon(configured(PRIMARY, SECONDARY))
    session = bench.vty(daemon)
    save(session)
    good = config.read_bytes()
    for _ in "the first time", "and again, the disk still full":
        filler = fill(disk)
        save(bench.vty(daemon))
        assert (config.read_bytes(), saved(config).read_bytes()) == (b"", good)
        daemon.stop()
        # As the unit does before each start.
        assert "<4>horad: /etc/frr/horad.conf was empty" in run(bench.world, str(RESTORE), "--journal", "-f", CONFIG)
        daemon = bench.daemon(config=None)
        assert f"NTP server is {PRIMARY}, {SECONDARY}.".encode() in bench.vty(daemon).command("show ntp")
    filler.unlink()
    save(bench.vty(daemon))
    assert good.partition(b"frr version")[2] == config.read_bytes().partition(b"frr version")[2] != b""


@pytest.mark.libfrr_from(9)
def test_a_full_disk_ends_the_daemon(bench: Bench, disk: Path) -> None:
    """The library takes its own session away while it writes the file.  Nothing is lost but the daemon,
    which the unit starts again."""
    config = disk / "horad.conf"
    daemon = bench.daemon(configured(PRIMARY, SECONDARY))
    save(bench.vty(daemon))
    good = config.read_bytes()
    fill(disk)
    with pytest.raises(Closed):
        save(bench.vty(daemon))
    assert daemon.wait() == -signal.SIGSEGV
    assert config.read_bytes() == good
    daemon = bench.daemon(config=None)
    assert f"NTP server is {PRIMARY}, {SECONDARY}.".encode() in bench.vty(daemon).command("show ntp")


@pytest.mark.libfrr_before(9)
def test_the_daemon_itself_still_knows_everything(bench: Bench, disk: Path) -> None:
    """Saved twice on a full disk, both files are empty; with room, saving once more is enough."""
    config = disk / "horad.conf"
    session = bench.vty(bench.daemon(configured(PRIMARY, SECONDARY)))
    filler = fill(disk)
    save(session)
    save(session)
    assert (config.read_bytes(), saved(config).read_bytes()) == (b"", b"")
    filler.unlink()
    save(session)
    assert f" ntp server {PRIMARY} {SECONDARY}".encode() in config.read_bytes()


def test_a_folder_that_cannot_be_written(bench: Bench, disk: Path) -> None:
    (disk / "horad.conf").touch()
    saved(disk / "horad.conf").write_text(GOOD)
    run(bench.world, "mount", "-o", "remount,ro", "/etc/frr")
    process = bench.world.spawn("daemon", [str(RESTORE), "--journal"], stderr=subprocess.PIPE)
    _, errors = process.communicate(timeout=60)
    assert process.returncode == 1
    start = "<3>horad: /etc/frr/horad.conf is empty, and /etc/frr/horad.conf.sav cannot be put in its place: "
    assert errors.decode().startswith(start)
    assert errors.decode().endswith("Read-only file system\n")
