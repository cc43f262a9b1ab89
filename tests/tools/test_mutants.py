# SPDX-License-Identifier: GPL-2.0-or-later
"""The table of planted faults keeps up with the code: each text is where it was, once."""
from __future__ import annotations

from pathlib import Path

from tests.mutants.table import FAULTS
from tests.mutants.workshop import is_pytest

PROJECT = Path(__file__).resolve().parents[2]


def test_there_are_enough() -> None:
    assert len(FAULTS) >= 150
    assert len({(fault.file, fault.text, fault.instead) for fault in FAULTS}) == len(FAULTS)


def test_texts_occur_once() -> None:
    sources = {fault.file: (PROJECT / fault.file).read_text() for fault in FAULTS}
    found = [(fault.file, fault.text, count) for fault in FAULTS
             if (count := sources[fault.file].count(fault.text)) != 1]
    assert found == []


def test_tests_are_there() -> None:
    for test in {fault.test for fault in FAULTS}:
        name, _, function = test.split()[0].partition("::")
        if is_pytest(test):
            assert f"def {function.partition('[')[0]}" in (PROJECT / name).read_text(), test
        else:
            assert any(f"add_executable({name}" in page.read_text()
                       for page in (PROJECT / "tests").rglob("CMakeLists.txt")), test
