# SPDX-License-Identifier: GPL-2.0-or-later
"""Every call that the daemon makes fails: what comes of it, and whether docs/faults.md says so."""
from __future__ import annotations

import os

import pytest

from lab import PROJECT
from lab.bench import Bench
from tests.system.faults import FAULTS, ONCE, Fault, Texts, memory, page

PAGE = PROJECT / "docs" / "faults.md"

_observed: dict[Fault, Texts] = {}


def case(fault: Fault):
    # A sanitizer has an end of its own for want of memory, and a thread of its own.
    plain = fault.scenario is memory or (fault.call, fault.often) == ("pthread_create", ONCE)
    return pytest.param(fault, id=str(fault), marks=[pytest.mark.plain_build] if plain else [])


@pytest.mark.parametrize("fault", map(case, FAULTS))
def test_fault(bench: Bench, fault: Fault) -> None:
    _observed[fault] = tuple(fault.scenario(bench, fault))
    assert _observed[fault] == fault.expected


def test_page() -> None:
    """A fault that this run does not have is taken to come out as expected."""
    text = page({fault: _observed.get(fault, fault.expected) for fault in FAULTS})
    if os.environ.get("HORAD_WRITE_FAULTS") == "1":
        PAGE.write_text(text)
    assert PAGE.read_text() == text
