# SPDX-License-Identifier: GPL-2.0-or-later
"""Plants faults in the product one by one, and runs the test that should see each.

    python3 -m tests.mutants [--list] [--keep-going] [NUMBER | FILE]...

All of them, or those of some numbers ("7", "7-12") or of files whose paths contain a text.
Needs build/deps, as any build; stops at the first that is not caught unless told to keep
going.  The checkout is not touched: copy and build are in build/mutants, and kept.
"""
from __future__ import annotations

import argparse
import re
import sys
import time
from collections import Counter

from . import workshop
from .table import FAULTS


def is_chosen(number: int, file: str, wanted: list[str]) -> bool:
    for word in wanted:
        span = re.fullmatch(r"(\d+)(?:-(\d+))?", word)
        if int(span[1]) <= number <= int(span[2] or span[1]) if span else word in file:
            return True
    return not wanted


def show(number: int, verdict: str) -> None:
    fault = FAULTS[number - 1]
    print(f"{number:4} {fault.file}: {verdict}", flush=True)
    if not verdict.startswith(("caught", "equivalent")):
        print(f"       {fault.text!r}\n    -> {fault.instead!r}\n    by {fault.test}", flush=True)


def main() -> int:
    parser = argparse.ArgumentParser(prog="python3 -m tests.mutants", description=__doc__.splitlines()[0])
    parser.add_argument("--list", action="store_true", help="only show the table")
    parser.add_argument("--keep-going", action="store_true", help="go on after one that is not caught")
    parser.add_argument("wanted", nargs="*", metavar="NUMBER|FILE")
    given = parser.parse_args()
    chosen = [number for number, fault in enumerate(FAULTS, 1) if is_chosen(number, fault.file, given.wanted)]
    if given.list:
        for number in chosen:
            fault = FAULTS[number - 1]
            print(f"{number:4} {fault.file}: {fault.text!r} -> {fault.instead!r}")
            print(f"     {'equivalent: ' + fault.equivalent if fault.equivalent else fault.test}")
        return 0

    workshop.prepare()
    troubles: dict[str, str] = {}
    verdicts: Counter[str] = Counter()
    begin = time.monotonic()
    for number in chosen:
        fault = FAULTS[number - 1]
        if fault.equivalent:
            verdict = f"equivalent: {fault.equivalent}"
        else:
            # A test that fails anyway would catch everything.
            if fault.test not in troubles:
                troubles[fault.test] = workshop.sees_nothing(fault.test)
                print(troubles[fault.test], end="")
            verdict = "ERROR: fails with nothing planted" if troubles[fault.test] else workshop.plant(fault)
        show(number, verdict)
        verdicts[re.split(r"[: ]", verdict)[0]] += 1
        if not verdict.startswith(("caught", "equivalent")) and not given.keep_going:
            break
    print(f"{sum(verdicts.values())} faults in {time.monotonic() - begin:.0f} s: {verdicts['caught']} caught, "
          f"{verdicts['NOT']} not caught, {verdicts['ERROR']} errors, {verdicts['equivalent']} equivalent")
    return 0 if verdicts["NOT"] + verdicts["ERROR"] == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
