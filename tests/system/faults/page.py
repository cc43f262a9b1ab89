# SPDX-License-Identifier: GPL-2.0-or-later
"""The page for the reader."""
from __future__ import annotations

from typing import Mapping

from .fault import ALWAYS, ONCE, Fault, Texts

INTRODUCTION = """\
# When calls fail

The system calls that the daemon makes (not those of libfrr) are made to fail, once
and always, while it is at work; this is what comes of it. The page is written by the
tests (`tests/system/test_faults.py`) from what they observe, and they fail when it
does not hold any more. To write it anew:

    HORAD_WRITE_FAULTS=1 /usr/bin/python3 -m pytest tests/system/test_faults.py

Unless an outcome says that the daemon ends, it stays up and its command line answers.
"Each time" is with every attempt of the daemon (a request every two minutes, for
example); "without a pause" is as fast as the processor goes, until the fault is
gone. "Afterwards" and "again" tell what happens once the fault is gone. NTP on or
off is what `show ntp` says meanwhile. "Prints nothing" is said of the daemon: what a shell
prints that it runs is not on this page.
"""


def row(fault: Fault, often: str, outcome: Texts) -> str:
    return f"| {fault.name} | {often} | {'; '.join(outcome)} |\n"


def page(outcomes: Mapping[Fault, Texts]) -> str:
    """The text of docs/faults.md."""
    text = INTRODUCTION
    title = ""
    pending: tuple[Fault, Texts] | None = None  # once: perhaps always too

    def flush(often: str = ONCE) -> str:
        return row(pending[0], often, pending[1]) if pending else ""

    for fault, outcome in outcomes.items():
        if pending and fault.often == ALWAYS and (fault.name, outcome) == (pending[0].name, pending[1]):
            text += flush("once or always")
            pending = None
            continue
        text += flush()
        pending = None
        if fault.title != title:
            title = fault.title
            text += f"\n## {title}\n\n| fault | how often | observed outcome |\n|---|---|---|\n"
        if fault.often == ONCE:
            pending = fault, outcome
        else:
            text += row(fault, ALWAYS, outcome)
    return text + flush()
