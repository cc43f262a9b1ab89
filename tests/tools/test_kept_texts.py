# SPDX-License-Identifier: GPL-2.0-or-later
"""Texts that are interface stay as they are, misspelt or not: docs/conventions.md lists them."""
from __future__ import annotations

import re
from pathlib import Path

import pytest

PROJECT = Path(__file__).resolve().parents[2]
KEPT = re.findall(r"^\| `(.+?)` \| `(horad/\S+?\.(?:h|c|cpp))` \|$", (PROJECT / "docs/conventions.md").read_text(), re.M)


def test_there_is_a_list() -> None:
    assert len(KEPT) == 20


@pytest.mark.parametrize(("text", "file"), KEPT)
def test_text_is_kept(text: str, file: str) -> None:
    strings = re.sub(r'"\s*\n\s*"', "", (PROJECT / file).read_text())  # over the lines it is written on
    assert text in strings


def places() -> list[str]:
    """Files and folders that the tables of the page send a reader to."""
    tables = re.findall(r"^\| .* \| (.*) \|$", (PROJECT / "docs/conventions.md").read_text(), re.M)
    return [place for table in tables for place in re.findall(r"`((?:horad|modules|include)/\S+?)`", table)]


@pytest.mark.parametrize("place", sorted(set(places())))
def test_place_is_there(place: str) -> None:
    assert (PROJECT / place).exists() or list((PROJECT / place).parent.glob(f"{Path(place).name}.*"))
