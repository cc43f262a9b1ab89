# SPDX-License-Identifier: GPL-2.0-or-later
"""A private copy of the sources with a build of its own, in which faults are planted.

Both are kept: the next run only builds what has changed since.
"""
from __future__ import annotations

import os
import re
import shutil
import signal
import subprocess
from pathlib import Path

from .fault import Fault

PROJECT = Path(__file__).resolve().parents[2]
SOURCE = PROJECT / "build" / "mutants" / "source"
BUILD = PROJECT / "build" / "mutants" / "build"

# What a system test needs.
DAEMON = ["horad", "horad_status", "horadctl", "clock_shim"]

# Seconds.  A fault that makes a test hang is caught.
PATIENCE = 30.0
PATIENCE_WITH_DAEMONS = 300.0


def is_pytest(test: str) -> bool:
    return ".py" in test


def targets_of(test: str) -> list[str]:
    return DAEMON if is_pytest(test) else test.split()[:1]


def command_of(test: str) -> list[str]:
    if is_pytest(test):
        return ["/usr/bin/python3", "-m", "pytest", "-q", "-x", *test.split()]
    program, *arguments = test.split()
    if program.endswith("_test"):
        arguments = [f"--gtest_filter={':'.join(arguments)}"]
    return [str(BUILD / "bin" / program), *arguments]


def prepare() -> None:
    """Brings copy and build up to date; what an interrupted run left planted is undone, too."""
    listed = subprocess.run([PROJECT / "tools" / "files"], check=True, capture_output=True, text=True).stdout
    names = set(listed.splitlines())
    for name in names:
        original, copy = PROJECT / name, SOURCE / name
        if not copy.exists() or copy.read_bytes() != original.read_bytes():
            copy.parent.mkdir(parents=True, exist_ok=True)
            copy.write_bytes(original.read_bytes())
            copy.chmod(original.stat().st_mode)
    for copy in SOURCE.rglob("*"):
        if copy.is_file() and str(copy.relative_to(SOURCE)) not in names and "__pycache__" not in copy.parts:
            copy.unlink()
    # Nothing is optimised, and a fault may leave something unused: that is no error here.
    flags = [f"-DCMAKE_{language}_FLAGS_DEBUG=-O0 -w" for language in ("C", "CXX")]
    # Each fault links a program anew.
    if shutil.which("ld.lld"):
        flags.append("-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld")
    subprocess.run(["cmake", "-G", "Ninja", "-S", SOURCE, "-B", BUILD, "-DCMAKE_BUILD_TYPE=Debug", *flags,
                    f"-DHORAD_FRR_PREFIX={PROJECT / 'build' / 'deps' / 'frr'}", "-DHORAD_REVISION=mutants"],
                   check=True, stdout=subprocess.DEVNULL)


def build(targets: list[str]) -> subprocess.CompletedProcess[str]:
    return subprocess.run(["ninja", "-C", BUILD, *targets],
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)


def run(test: str) -> tuple[int | None, str]:
    """Its exit status, None when it hung, and what it printed."""
    environment = {**os.environ, "HORAD_BUILD": str(BUILD), "GTEST_FAIL_FAST": "1"}
    process = subprocess.Popen(command_of(test), cwd=SOURCE, env=environment, text=True, errors="replace",
                               stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                               start_new_session=True)
    try:
        output, _ = process.communicate(timeout=PATIENCE_WITH_DAEMONS if is_pytest(test) else PATIENCE)
        return process.returncode, output
    except subprocess.TimeoutExpired:
        # pytest takes its lab down first.
        for how in (signal.SIGINT, signal.SIGKILL):
            os.killpg(process.pid, how)
            try:
                output, _ = process.communicate(timeout=20)
                return None, output
            except subprocess.TimeoutExpired:
                continue
        raise


def sees_nothing(test: str) -> str:
    """Builds and runs a test where nothing is planted; what is wrong with it, if anything."""
    built = build(targets_of(test))
    if built.returncode != 0:
        return built.stdout[-2000:]
    status, output = run(test)
    if status != 0 or "[==========] Running 0 tests" in output:
        return output[-2000:]
    return ""


def first_failure(output: str) -> str:
    """The name of the test that saw it, where one is given."""
    named = re.search(r"^\[  FAILED  \] ([\w./]+)|^FAILED \S+::(\S+)|^ERROR \S+::(\S+)", output, re.MULTILINE)
    if named is not None:
        return next(name for name in named.groups() if name)
    running = re.findall(r"^\[ RUN      \] (\S+)", output, re.MULTILINE)
    return running[-1] if running else "its exit status"


def plant(fault: Fault) -> str:
    """Builds and tests with the fault, then takes it out again.  Returns the verdict."""
    path = SOURCE / fault.file
    original = path.read_text()
    if original.count(fault.text) != 1:
        return f"ERROR: the text occurs {original.count(fault.text)} times"
    path.write_text(original.replace(fault.text, fault.instead))
    try:
        built = build(targets_of(fault.test))
        if built.returncode != 0:
            if re.search(r"error: .*static assertion", built.stdout):
                return "caught by the compiler"
            reason = re.search(r"error: .*|undefined reference.*|FAILED: .*", built.stdout)
            return f"ERROR: does not compile: {reason[0] if reason else built.stdout[-200:]}"
        status, output = run(fault.test)
    finally:
        path.write_text(original)
    if status == 0:
        return "NOT CAUGHT"
    return f"caught by {first_failure(output)}" + (" (hangs)" if status is None else "")

