# SPDX-License-Identifier: GPL-2.0-or-later
"""How ./run and ./test can be called: by whom, from where, and how often at once."""
from __future__ import annotations

import os
import pty
import re
import shutil
import subprocess
import time
from pathlib import Path

import pytest

from tests.tools.conftest import DEPS, PROJECT, Clone, interrupt

BOTH = pytest.mark.parametrize("script", ["run", "test"])
NOBODY = ("setpriv", "--reuid=65534", "--regid=65534", "--clear-groups")
EVERY_TOOL = ["run", "test", "tests/exhaustive", *(f"tools/{name}" for name in
              ("build", "build-libfrr", "debian-tree", "fetch-peers", "package", "record-sessions", "setup"))]


def stops_after_set_up(clone: Clone, script: str = "true") -> None:
    """Neither builds nor runs anything."""
    clone.replace("tools/setup", script)
    clone.replace("tools/build", "exit 9")


@pytest.mark.parametrize("option", ["-h", "--help"])
@pytest.mark.parametrize("tool", EVERY_TOOL)
def test_help(clone: Clone, tool: str, option: str) -> None:
    done = clone.run(tool, option)
    assert (done.returncode, done.stderr) == (0, "")
    assert tool in done.stdout
    assert not (clone.folder / "build").exists()


@pytest.mark.parametrize("tool", [name for name in EVERY_TOOL if name != "test"])  # whose options are pytest's
def test_wrong_arguments(clone: Clone, tool: str) -> None:
    done = clone.run(tool, "--nonsense")
    assert (done.returncode, done.stdout) == (2, "")
    assert done.stderr == clone.run(tool, "--help").stdout


def test_an_exhaustive_test_without_a_build(clone: Clone) -> None:
    refused = clone.run("tests/exhaustive", "build/other", "--seed", "1")
    assert (refused.returncode, refused.stdout) == (1, "")
    assert refused.stderr == "exhaustive: no build/other/bin/tz_differential: tools/build makes it\n"


@BOTH
def test_not_root(public_clone: Clone, script: str) -> None:
    stops_after_set_up(public_clone)
    refused = public_clone.run(script, before=NOBODY)
    assert (refused.returncode, refused.stdout) == (1, "")
    assert refused.stderr.count("\n") == 1 and "root" in refused.stderr


def test_somebody_elses_clone(public_clone: Clone) -> None:
    refused = public_clone.run("tools/setup", before=NOBODY)
    assert refused.returncode == 1
    assert refused.stderr == f"setup: cannot write to {public_clone.folder}/build: it is somebody else's\n"


@BOTH
def test_by_a_link(tmp_path: Path, clone: Clone, script: str) -> None:
    stops_after_set_up(clone, 'echo "in $PWD"')
    link = tmp_path / "elsewhere"
    link.symlink_to(clone.folder / script)
    clone.folder.rename(tmp_path / "clone.moved")
    (tmp_path / "clone").symlink_to("clone.moved")
    done = subprocess.run([link], env=clone.environment, capture_output=True, text=True, cwd="/")
    assert done.returncode == 9
    assert f"in {tmp_path}/clone.moved\n" in done.stdout


@BOTH
def test_a_folder_with_blanks(tmp_path: Path, clone: Clone, script: str) -> None:
    clone.folder = clone.folder.rename(tmp_path / "with blanks")
    refused = clone.run(script)
    assert refused.returncode == 1
    assert refused.stderr == f"setup: libfrr cannot be built in a folder with blanks in its name: {clone.folder}\n"


@BOTH
def test_ctrl_c(tmp_path: Path, clone: Clone, script: str) -> None:
    began = tmp_path / "began"
    stops_after_set_up(clone, f": >{began}; exec sleep 1000")
    process = clone.start(script, start_new_session=True)
    _, errors = interrupt(process, began)
    assert process.returncode in (-2, 130)
    assert errors == ""


def with_system_test(clone: Clone, body: str) -> None:
    """Takes out all that `./test --quick` does but for one system test with this body."""
    clone.replace("tools/setup", "true")
    clone.replace("tools/build", "true")
    clone.program("ctest", "echo all passed")
    (clone.folder / "build" / "release").mkdir(parents=True)
    shutil.rmtree(clone.folder / "tests" / "system")
    (clone.folder / "tests" / "system").mkdir()
    (clone.folder / "tests" / "system" / "test_it.py").write_text(f"import os, time\n\ndef test_it():\n    {body}\n")


def test_ctrl_c_in_the_system_tests(tmp_path: Path, clone: Clone) -> None:
    """They run in the background, where it does not reach them."""
    began = tmp_path / "began"
    with_system_test(clone, f"open({str(began)!r}, 'w').write(str(os.getpid())); time.sleep(1000)")
    process = clone.start("test", "--quick", start_new_session=True)
    _, errors = interrupt(process, began)
    assert process.returncode in (-2, 130) and errors == ""
    left = Path("/proc") / began.read_text()
    end = time.monotonic() + 10
    while left.exists():
        assert time.monotonic() < end
        time.sleep(0.01)


@pytest.mark.parametrize(("body", "status"), [("pass", 0), ("assert 'made up' == ''", 1)])
def test_system_tests_that_end(clone: Clone, body: str, status: int) -> None:
    with_system_test(clone, body)
    done = clone.run("test", "--quick")
    assert done.returncode == status
    assert ("made up" in done.stdout) == bool(status)


def test_unit_tests_that_fail(clone: Clone) -> None:
    with_system_test(clone, "pass")
    clone.program("ctest", "echo made up; seq 100; exit 8")
    done = clone.run("test", "--quick")
    assert done.returncode == 1 and "made up" in done.stdout


def test_ctrl_c_in_the_demonstration(tmp_path: Path, clone: Clone) -> None:
    clone.replace("tools/setup", "true")
    clone.replace("tools/build", "true")
    began = tmp_path / "began"
    # In place of its first line.
    demo = clone.folder / "lab" / "demo.py"
    demo.write_text(demo.read_text().replace("    with World", f"    open({str(began)!r}, 'w'); import time; time.sleep(1000)\n    with World"))
    process = clone.start("run", start_new_session=True)
    _, errors = interrupt(process, began)
    assert (process.returncode, errors) == (130, "")


def test_a_demonstration_without_a_daemon(clone: Clone) -> None:
    clone.replace("tools/setup", "true")
    clone.replace("tools/build", "true")
    failed = clone.run("run")
    assert failed.returncode == 1
    assert failed.stderr.startswith("demo: no daemon in ") and failed.stderr.count("\n") == 1


@BOTH
def test_two_at_once(tmp_path: Path, clone: Clone, script: str) -> None:
    began, go_on = tmp_path / "began", tmp_path / "go_on"
    # The first says that it is there, then both wait; a third program that it starts goes through.
    stops_after_set_up(clone, f"""
        . {clone.folder}/tools/common.sh; lock_build
        [ ! -e {began}.too ] || touch {began}.both
        touch {began}.too; touch {began}
        while [ ! -e {go_on} ]; do sleep 0.01; done
        rm {began}.too""")
    first = clone.start("run")
    while not began.exists():
        assert first.poll() is None
        time.sleep(0.01)
    second = clone.start(script)
    assert second.stdout is not None
    said = second.stdout.readline() or second.stdout.readline()
    assert said == f"{script}: waiting for process {first.pid} (run), which is at work in this folder\n"
    go_on.touch()
    assert first.wait(30) == second.wait(30) == 9
    for process in (first, second):
        process.communicate()
    assert not Path(f"{began}.both").exists()


def test_one_that_was_killed_holds_up_nobody(tmp_path: Path, clone: Clone) -> None:
    began = tmp_path / "began"
    stops_after_set_up(clone, f": >{began}; exec sleep 1000")
    first = clone.start("run", start_new_session=True)
    while not began.exists():
        time.sleep(0.01)
    os.killpg(first.pid, 9)
    first.communicate()
    clone.replace("tools/setup", "true")
    assert clone.run("run").returncode == 9


CMAKE_PROJECT = """\
cmake_minimum_required(VERSION 3.25)
project(nothing NONE)
"""


def test_a_moved_clone(tmp_path: Path, clone: Clone) -> None:
    """With what was built in it."""
    (clone.folder / "CMakeLists.txt").write_text(CMAKE_PROJECT)
    clone.program("ninja", "[[ $* != *--version* ]] || echo 1.11.1")
    assert clone.run("tools/build", "release").returncode == 0
    assert "anew" not in clone.run("tools/build", "release").stdout
    before = clone.folder
    clone.folder = clone.folder.rename(tmp_path / "moved")
    done = clone.run("tools/build", "release")
    assert done.returncode == 0
    assert f"build/release: was made in {before}, is made anew\n" in done.stdout
    assert "anew" not in clone.run("tools/build", "release").stdout


def test_another_libfrr_is_forgotten(clone: Clone) -> None:
    """Or the daemon's and its packages' would be two, made in the same folder."""
    (clone.folder / "CMakeLists.txt").write_text(
        CMAKE_PROJECT + "list(APPEND CMAKE_MODULE_PATH ${CMAKE_SOURCE_DIR}/cmake)\n"
        "include(libfrr)\nfile(WRITE ${CMAKE_BINARY_DIR}/taken ${frr_prefix})\n")
    clone.program("ninja", "[[ $* != *--version* ]] || echo 1.11.1")
    clone.deps.parent.mkdir()
    clone.deps.symlink_to(DEPS)

    def taken() -> str:
        done = clone.run("tools/build", "release")
        assert done.returncode == 0, done.stderr
        return (clone.folder / "build" / "release" / "taken").read_text()

    other = clone.place / "other"
    shutil.copytree(DEPS / "frr", other, symlinks=True)
    clone.environment["HORAD_FRR_PREFIX"] = str(other)
    assert taken() == str(other)
    del clone.environment["HORAD_FRR_PREFIX"]
    assert taken() == str(clone.deps / "frr")


def test_a_build_that_fails(clone: Clone) -> None:
    (clone.folder / "CMakeLists.txt").write_text(CMAKE_PROJECT + 'message(FATAL_ERROR "made up")\n')
    failed = clone.run("tools/build", "release")
    assert failed.returncode != 0 and "made up" in failed.stderr


# --- what is seen of long work

LONG_WORK = """
. {top}/tools/common.sh
log_to {log} Work 2
step "being quick"
echo nobody sees this
step "being slow"
echo this is where it is
sleep 2.5
end_of_log
echo done
"""


def test_long_work_in_a_log(tmp_path: Path) -> None:
    script = LONG_WORK.format(top=PROJECT, log=tmp_path / "log").replace("2.5", "0")
    done = subprocess.run(["bash", "-c", script], check=True, capture_output=True, text=True)
    assert done.stdout == "Work: 1/2 being quick\nWork: 2/2 being slow\ndone\n"


def test_long_work_at_a_terminal(tmp_path: Path) -> None:
    """A line shows how far it is, and goes away."""
    terminal, end = pty.openpty()
    process = subprocess.Popen(["bash", "-c", LONG_WORK.format(top=PROJECT, log=tmp_path / "log")], stdout=end)
    os.close(end)
    shown = b""
    try:
        while part := os.read(terminal, 1000):
            shown += part
    except OSError:
        pass  # the other end is closed
    os.close(terminal)
    assert process.wait() == 0
    assert b"\r\x1b[K  this is where it is" in shown
    # What stays of it.
    lines = [re.sub(rb".*\r\x1b\[K", b"", line.rstrip(b"\r")) for line in shown.split(b"\n")]
    assert lines == [b"Work: 1/2 being quick", b"Work: 2/2 being slow", b"done", b""]
