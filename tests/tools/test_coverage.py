# SPDX-License-Identifier: GPL-2.0-or-later
"""tools/coverage: which lines may stay without a run."""
from __future__ import annotations

import sys
from importlib.machinery import SourceFileLoader
from importlib.util import module_from_spec, spec_from_loader
from pathlib import Path

import pytest

from tests.tools.conftest import PROJECT

loader = SourceFileLoader("coverage_tool", str(PROJECT / "tools" / "coverage"))
spec = spec_from_loader(loader.name, loader)
assert spec is not None
coverage = module_from_spec(spec)
sys.modules[loader.name] = coverage
loader.exec_module(coverage)

SOURCE = """\
int f(int x) {
    if (x == 0)
        return false;
    if (x == 1)
        return false; // not run by any test: nobody passes 1
    // not run by any test: nobody
    // passes 2
    if (x == 2) abort();
    return x;
}
"""
ALL = dict.fromkeys((1, 2, 3, 4, 5, 8, 9, 10), 7)
AS_MARKED = {**ALL, 5: 0, 8: 0}


def said(monkeypatch: pytest.MonkeyPatch, capsys: pytest.CaptureFixture[str], folder: Path, source: str,
         lines: dict[int, int]) -> tuple[int, list[str]]:
    (folder / "horad").mkdir()
    (folder / "horad" / "f.cpp").write_text(source)
    monkeypatch.setattr(coverage, "PROJECT", folder)
    monkeypatch.setattr(coverage, "LEAST_LINES", 50.0)
    status = coverage.report({"horad/f.cpp": coverage.File(lines)})
    return status, capsys.readouterr().out.splitlines()[3:]


@pytest.mark.parametrize(
    ("source", "lines", "expected"),
    [
        (SOURCE, AS_MARKED, []),
        # One line with this text is explained, and no other.
        (SOURCE, {**AS_MARKED, 3: 0}, ["horad/f.cpp:3: not run and not explained: return false;"]),
        (SOURCE, {**AS_MARKED, 7: 0, 10: 0}, []),
        (SOURCE, {**AS_MARKED, 8: 1}, ["horad/f.cpp:8: explained, but run: if (x == 2) abort();"]),
        (SOURCE, {**AS_MARKED, 5: 1},
         ["horad/f.cpp:5: explained, but run: return false; // not run by any test: nobody passes 1"]),
        (SOURCE.replace("nobody passes 1", ""), AS_MARKED,
         ["horad/f.cpp:5: no reason given: return false; // not run by any test:"]),
        ("// not run by any test: there is nothing\nint x;\n", {5: 1},
         ["horad/f.cpp:2: explained, but nothing that can be run: int x;"]),
        (SOURCE, dict.fromkeys(ALL, 0) | {9: 1}, [
            *(f"horad/f.cpp:{number}: not run and not explained: {text}" for number, text in
              ((1, "int f(int x) {"), (2, "if (x == 0)"), (3, "return false;"), (4, "if (x == 1)"))),
            "fewer than 50.0 % of the lines ran",
        ]),
    ],
)
def test_lines(monkeypatch: pytest.MonkeyPatch, capsys: pytest.CaptureFixture[str], tmp_path: Path, source: str,
               lines: dict[int, int], expected: list[str]) -> None:
    status, shown = said(monkeypatch, capsys, tmp_path, source, lines)
    assert shown == expected
    assert status == bool(expected)


def test_a_file_without_counts(monkeypatch: pytest.MonkeyPatch, capsys: pytest.CaptureFixture[str], tmp_path: Path) -> None:
    """An explained line of a function that is in no program."""
    (tmp_path / "horad").mkdir()
    (tmp_path / "horad" / "g.h").write_text("void g(); // not run by any test: who would\n")
    monkeypatch.setattr(coverage, "PROJECT", tmp_path)
    assert coverage.report({}) == 1
    assert "horad/g.h:1: explained, but nothing that can be run" in capsys.readouterr().out
