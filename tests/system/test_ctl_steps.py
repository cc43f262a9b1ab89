# SPDX-License-Identifier: GPL-2.0-or-later
"""horadctl steps: what the daemon recorded, and the drift that follows from it."""
from __future__ import annotations

import csv
import io
import os
import shutil
import sqlite3
import stat
import xml.etree.ElementTree as ElementTree
from pathlib import Path

import pytest

from lab.bench import PRIMARY, START, Bench
from lab.ctl import Ctl
from lab.database import DATABASE, HOLD
from lab.servers.ntp_server import truthful
from lab.servers.packet import timestamp

WEEK = 604800


@pytest.fixture
def ctl(bench: Bench) -> Ctl:
    return Ctl(bench.world, bench.build)


def live(bench: Bench, *, weeks: int, behind: int) -> None:
    """The daemon's life with a clock that is `behind` seconds slow in each week."""
    server = bench.server()
    for week in range(weeks):
        server.answer = truthful(timestamp(START + week * WEEK))
        wrong = 2220 if week == 0 else behind
        daemon = bench.polling(PRIMARY, clock_frozen=START + week * WEEK - wrong)
        assert daemon.shim is not None
        daemon.shim.wait_events("diff_time_done")
        daemon.stop()


def test_recorded_steps(bench: Bench, ctl: Ctl) -> None:
    live(bench, weeks=3, behind=12)
    told = ctl("steps", "--json")
    assert (told.status, told.stderr) == (0, "")
    times = ["2020-09-13T12:26:40Z", "2020-09-20T12:26:40Z", "2020-09-27T12:26:40Z"]
    assert told.json["steps"] == [{"time": time, "seconds": seconds} for time, seconds in zip(times, (2220, 12, 12))]
    assert told.json["driftPpm"] == pytest.approx(12e6 / WEEK, abs=1e-5)
    assert told.json["driftPpmUncertainty"] == pytest.approx((1 / 6 / 2) ** 0.5 / WEEK * 1e6, abs=1e-5)
    assert told.json["errorBeforeNextSeconds"] == pytest.approx(12, abs=1e-5)

    rows = list(csv.reader(io.StringIO(ctl("steps", "--csv").stdout)))
    assert rows == [["time", "seconds"], *([time, seconds] for time, seconds in zip(times, ("2220", "12", "12")))]
    table = ctl("steps").stdout.splitlines()
    assert table[1].split() == [times[0], "2220", "-"]
    assert table[2].split() == [times[1], "12", "19.84"]
    assert table[4] == "drift 19.84 +/- 0.48 ppm: the clock runs slow, by 12.0 s in a week"

    # The limits hold for the drift, too.
    for limits in (["--last", "2"], ["--since", times[1]], ["--since", "2020-09-14", "--last", "2"]):
        told = ctl("steps", "--json", *limits)
        assert [step["time"] for step in told.json["steps"]] == times[1:]
        assert told.json["driftPpmUncertainty"] == pytest.approx((1 / 6) ** 0.5 / WEEK * 1e6, abs=1e-5)
    one = ctl("steps", "--json", "--last", "1").json
    assert (one["driftPpm"], one["driftPpmUncertainty"], one["errorBeforeNextSeconds"]) == (None, None, None)


def test_a_picture(bench: Bench, ctl: Ctl) -> None:
    live(bench, weeks=2, behind=-12)
    told = ctl("steps", "--svg", "/tmp/steps.svg")
    assert told.status == 0
    assert told.stdout.endswith("ppm: the clock runs fast, by 12.0 s in a week\n")
    picture = ElementTree.parse(bench.world.path("/tmp/steps.svg")).getroot()
    drawn = [element.get("class") for element in picture.iter("{http://www.w3.org/2000/svg}path")]
    assert drawn == ["sigma", "fit", "steps"]
    told = ctl("steps", "--svg", "/none/steps.svg")
    assert (told.status, told.stdout) == (1, "")
    assert told.stderr == "horadctl: /none/steps.svg: No such file or directory: name another file\n"
    told = ctl("steps", "--svg", "/dev/full")
    assert told.stderr == "horadctl: /dev/full: No space left on device: name another file\n"


def test_a_picture_that_does_not_fit(bench: Bench, ctl: Ctl, tmp_path: Path) -> None:
    """The one that is there stays, and no part of the new one takes the rest of the disk."""
    with sqlite3.connect(tmp_path / "many.db") as database:
        database.execute("CREATE TABLE clock_step (seq INTEGER PRIMARY KEY, time INTEGER, diff INTEGER)")
        database.executemany("INSERT INTO clock_step (time, diff) VALUES (?, ?)", ((START + week * WEEK, 12) for week in range(3000)))
    database.close()
    shutil.copyfile(tmp_path / "many.db", bench.world.path("/tmp/many.db"))
    script = """mkdir /tmp/small && mount -t tmpfs -o size=64k small /tmp/small && cd /tmp/small
        echo old >steps.svg && "$@"; status=$?; ls; cat steps.svg; exit $status"""
    told = ctl("steps", "--database", "/tmp/many.db", "--svg", "steps.svg", before=["unshare", "--mount", "sh", "-c", script, "sh"])
    assert told.stderr == "horadctl: steps.svg: No space left on device: name another file\n"
    assert (told.status, told.stdout) == (1, "steps.svg\nold\n")


def test_a_picture_in_the_place_of_another(bench: Bench, ctl: Ctl) -> None:
    bench.daemon()
    folder = bench.world.path("/tmp/pictures")
    folder.mkdir()
    (folder / "old.svg").write_text("old")
    (folder / "old.svg").chmod(0o604)
    os.chown(folder / "old.svg", 123, 45)
    (folder / "two.svg").touch()
    os.link(folder / "two.svg", folder / "names.svg")
    (folder / "link.svg").symlink_to("aim.svg")
    os.mkfifo(folder / "pipe.svg")
    for name in ("new.svg", "old.svg", "two.svg", "link.svg"):
        assert ctl("steps", "--svg", f"/tmp/pictures/{name}").status == 0
        assert (folder / name).read_text().startswith("<svg ")
    made = (folder / "new.svg").stat()
    assert stat.S_IMODE(made.st_mode) == 0o644
    kept = (folder / "old.svg").stat()
    assert (stat.S_IMODE(kept.st_mode), kept.st_uid, kept.st_gid) == (0o604, 123, 45)
    # Both names of one file, and what a link leads to, are written to.
    assert (folder / "names.svg").read_text().startswith("<svg ")
    assert (folder / "link.svg").is_symlink() and (folder / "aim.svg").is_file()
    piped = ctl("steps", "--svg", "/tmp/pictures/pipe.svg", before=["sh", "-c", 'cat /tmp/pictures/pipe.svg & "$@" >&2; wait', "sh"])
    assert piped.stdout.startswith("<svg ")
    shown = ctl("steps", "--svg", "/dev/stdout", before=["sh", "-c", '"$@" | cat', "sh"])
    assert shown.stdout.startswith("<svg ")
    assert sorted(os.listdir(folder)) == ["aim.svg", "link.svg", "names.svg", "new.svg", "old.svg", "pipe.svg", "two.svg"]


def test_a_picture_in_a_folder_that_cannot_be_written(bench: Bench, ctl: Ctl) -> None:
    bench.daemon()
    picture = bench.world.path("/tmp/steps.svg")
    picture.write_text("old")
    script = """mkdir /tmp/fixed && touch /tmp/fixed/steps.svg && mount --bind /tmp/fixed /tmp/fixed &&
        mount --bind /tmp/steps.svg /tmp/fixed/steps.svg && mount -o remount,bind,ro /tmp/fixed && "$@" """
    told = ctl("steps", "--svg", "/tmp/fixed/steps.svg", before=["unshare", "--mount", "sh", "-c", script, "sh"])
    assert (told.status, told.stderr) == (0, "")
    assert picture.read_text().startswith("<svg ")


def test_no_steps(bench: Bench, ctl: Ctl) -> None:
    """As after the daemon's first start: no error."""
    bench.daemon()
    assert ctl("steps").stdout == "no steps recorded\n"
    told = ctl("steps", "--json")
    assert told.status == 0
    assert told.json == {"steps": [], "driftPpm": None, "driftPpmUncertainty": None, "errorBeforeNextSeconds": None}
    assert ctl("steps", "--csv").stdout == "time,seconds\n"


def test_which_database(bench: Bench, ctl: Ctl) -> None:
    bench.daemon(environment={"HORAD_CONFIG_DB": "/tmp/elsewhere/steps.db"})
    missing = "No such file or directory: the daemon makes it at its start; name another with --database"
    assert ctl("steps").stderr == f"horadctl: {DATABASE}: {missing}\n"
    assert ctl("steps").status == 1
    elsewhere = {"HORAD_CONFIG_DB": "/tmp/elsewhere/steps.db"}
    assert ctl("steps", environment=elsewhere).status == 0
    assert ctl("steps", "--database", "/tmp/elsewhere/steps.db").status == 0
    assert ctl("steps", "--database", "/none", environment=elsewhere).stderr == f"horadctl: /none: {missing}\n"


def test_a_corrupt_database(bench: Bench, ctl: Ctl) -> None:
    bench.world.path("/tmp/corrupt.db").write_bytes(b"no database at all" * 1000)
    told = ctl("steps", "--database", "/tmp/corrupt.db")
    assert (told.status, told.stdout) == (1, "")
    assert told.stderr == (
        "horadctl: /tmp/corrupt.db: file is not a database: it is damaged: move it away, the daemon makes a new one\n"
    )


def test_a_locked_database(bench: Bench, ctl: Ctl) -> None:
    """A writer as the daemon is one does not lock it; another kind may."""
    bench.daemon()
    exclusive = HOLD.replace('connection.execute("BEGIN EXCLUSIVE")',
                             'connection.execute("PRAGMA locking_mode = EXCLUSIVE"); connection.execute("BEGIN EXCLUSIVE")')
    for script, status in ((HOLD, 0), (exclusive, 1)):
        holder = bench.world.spawn("daemon", ["/usr/bin/python3", "-c", script, DATABASE], stdout=-1)
        assert holder.stdout is not None and holder.stdout.readline() == b"held\n"
        told = ctl("steps")
        assert told.status == status
        if status:
            assert told.stderr == f"horadctl: {DATABASE}: database is locked: another program holds it: try again\n"
        bench.world.end(holder)


def test_a_database_on_a_read_only_file_system(bench: Bench, ctl: Ctl) -> None:
    """A reader's lock is a file there; and a copy in another place can be read."""
    bench.daemon()
    script = f"""mkdir -p /tmp/fixed && cp {DATABASE} /tmp/fixed/steps.db && mount --bind /tmp/fixed /tmp/fixed &&
        mount -o remount,bind,ro /tmp/fixed && cd /tmp/fixed && "$@" """
    advice = "its folder is on a read-only file system: copy it elsewhere, and name the copy with --database"
    for name in ("steps.db", "/tmp/fixed/steps.db"):
        told = ctl("steps", "--database", name, before=["unshare", "--mount", "sh", "-c", script, "sh"])
        assert (told.status, told.stdout) == (1, "")
        assert told.stderr == f"horadctl: {name}: unable to open database file: {advice}\n"
    assert ctl("steps", "--database", "/tmp/fixed/steps.db").stdout == "no steps recorded\n"


def test_nothing_is_written_to_it(bench: Bench, ctl: Ctl) -> None:
    bench.daemon()
    before = bench.world.path(DATABASE).read_bytes()
    assert ctl("steps").status == 0
    assert bench.world.path(DATABASE).read_bytes() == before


def test_a_reader_without_rights(bench: Bench, ctl: Ctl) -> None:
    bench.daemon()
    told = ctl("steps", before=["setpriv", "--reuid", "65534", "--regid", "65534", "--clear-groups", "--"])
    assert (told.status, told.stderr) == (1, f"horadctl: {DATABASE}: Permission denied: run this as root\n")
