# SPDX-License-Identifier: GPL-2.0-or-later
"""Faults in our C++ are found, where several files are compiled as one, too."""
from __future__ import annotations

import json
import shutil
import subprocess

import pytest

from tests.tools.conftest import Clone

OURS = ("horad", "device", "ctl", "modules")
NULL = "int planted(const int *p) noexcept { return p == nullptr ? *p : 1; }\n"
ELSE = """inline int planted(int n) noexcept {
    if (n == 1)
        return 3;
    else
        return 4;
}
"""


def sources(clone: Clone, **texts: str) -> None:
    """The clone has these in horad/planted and no other C++ of ours; what is compiled is one file that includes them."""
    for room in OURS:
        shutil.rmtree(clone.folder / room)
    folder = clone.folder / "horad" / "planted"
    folder.mkdir(parents=True)
    for name, text in texts.items():
        (folder / name.replace("_", ".")).write_text(text)
    build = clone.folder / "build" / "release"
    batch = build / "horad" / "Unity" / "unity_0_cxx.cxx"
    batch.parent.mkdir(parents=True)
    batch.write_text("".join(f'#include "{folder}/{name.replace("_", ".")}"\n' for name in texts if name.endswith("_cpp")))
    (build / "compile_commands.json").write_text(json.dumps(
        [{"directory": str(build), "command": f"c++ -std=gnu++20 -c {batch}", "file": str(batch)}], indent=2))
    for checker in ("clang-format", "shellcheck", "pyflakes3", "cppcheck"):
        clone.program(checker, "true")
    clone.replace("tools/reference", "true")


def lint(clone: Clone) -> subprocess.CompletedProcess[str]:
    return clone.run("tools/lint")


@pytest.mark.parametrize(
    ("texts", "found"),
    [
        ({"a_cpp": "static_assert(true);\n", "b_cpp": NULL}, "horad/planted/b.cpp:1:60: error: Dereference of null pointer"),
        ({"a_cpp": '#include "c.h"\n', "c_h": ELSE}, "horad/planted/c.h:4:5: error: do not use 'else' after 'return'"),
    ],
)
def test_faults_are_found(clone: Clone, texts: dict[str, str], found: str) -> None:
    sources(clone, **texts)
    done = lint(clone)
    assert found in done.stdout
    assert done.returncode != 0


def test_a_file_that_is_not_compiled_is_named(clone: Clone) -> None:
    sources(clone, a_cpp="static_assert(true);\n")
    (clone.folder / "horad" / "planted" / "forgotten.cpp").write_text("")
    done = lint(clone)
    assert done.stderr == "lint: not compiled, so not looked at: horad/planted/forgotten.cpp\n"
    assert done.returncode == 1


def test_clean_files_pass(clone: Clone) -> None:
    sources(clone, a_cpp="int harmless(int n) noexcept { return n + 1; }\n")
    done = lint(clone)
    assert "clang-tidy: 1 files\n" in done.stdout
    assert (done.returncode, done.stderr) == (0, "")


def test_a_checker_that_cannot_run_says_why(clone: Clone) -> None:
    sources(clone, a_cpp="static_assert(true);\n")
    clone.program("clang-tidy", "echo 'clang-tidy: no such library' >&2; exit 127")
    done = lint(clone)
    assert done.stderr == "clang-tidy: no such library\n"
    assert done.returncode != 0
