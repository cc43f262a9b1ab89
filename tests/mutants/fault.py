# SPDX-License-Identifier: GPL-2.0-or-later
"""A planted fault, and how the tables of this folder write one down."""
from __future__ import annotations

from dataclasses import dataclass


@dataclass(frozen=True)
class Fault:
    """`text`, which occurs exactly once in the file, becomes `instead`."""

    file: str
    text: str
    instead: str
    test: str  # "PROGRAM FILTER" of GoogleTest's, "PROGRAM ARGUMENT", or a node of pytest's
    equivalent: str = ""  # why nobody can tell the difference


@dataclass(frozen=True)
class Same:
    """An entry's third part: the fault changes nothing that can be seen, and why."""

    why: str


def faults_in(file: str, test: str, *entries: tuple[str, ...] | tuple[str, str, Same]) -> list[Fault]:
    """Entries are (text, instead), with a third part where another test is faster or nothing can be seen."""
    faults = []
    for text, instead, *more in entries:
        special = more[0] if more else test
        if isinstance(special, Same):
            faults.append(Fault(file, text, instead, test, special.why))
        else:
            faults.append(Fault(file, text, instead, special))
    return faults
