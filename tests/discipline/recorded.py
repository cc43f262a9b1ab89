# SPDX-License-Identifier: GPL-2.0-or-later
"""recorded_cases.txt: sequences of samples and what the oracle says to them.

python3 -m tests.discipline.recorded          makes the file anew
python3 -m tests.discipline.recorded --check  fails when the oracle now says something else to its samples

discipline_run replays the file without Python, on other processors too.
"""

import pathlib
import random
import sys

from tests.discipline.compare import expected_from, written
from tests.discipline.sequences import KINDS

FILE = pathlib.Path(__file__).parent / "recorded_cases.txt"
EACH = 2
MOST_SAMPLES = 24
TRACED = ("physical", "lattice", "curved", "wedge", "tight", "bad")


def made():
    """(name, sequence): every kind without the trace; the last call of some with it."""
    chance = random.Random(16)
    for name, kind in KINDS.items():
        for number in range(1, EACH + 1):
            yield f"{name} {number}", kind(chance)[:MOST_SAMPLES]
    for name in TRACED:
        sequence = KINDS[name](chance)[:17]
        yield f"{name}, traced", sequence[:-1] + [("debug", 1)] + sequence[-1:]
    # Two lines touch both hulls: of them the lower one counts.
    yield "same_times, touched twice", KINDS["same_times"](random.Random(124))[:MOST_SAMPLES]


def read(text):
    """(name, sequence) of a file's text."""
    name, sequence = "", []
    for line in text.splitlines():
        word, _, rest = line.partition(" ")
        if word == "#":
            name = rest
        elif word == "add":
            time, offset, error_bar, frequency = rest.split()
            sequence.append(("add", int(time), float.fromhex(offset), float.fromhex(error_bar),
                             int(frequency)))
        elif word == "debug":
            sequence.append(("debug", int(rest)))
        elif word == "reset":
            yield name, sequence
            sequence = []


def recorded(cases):
    """The file's text: commands, and after "> " what they print."""
    lines = ["# SPDX-License-Identifier: GPL-2.0-or-later",
             "# Made by recorded.py, replayed by discipline_run."]
    for name, sequence in cases:
        lines.append(f"# {name}")
        for command, text in zip(map(written, sequence), expected_from(sequence)):
            lines.append(command)
            lines += ["> " + line for line in text.splitlines()]
        lines.append("reset")
    return "\n".join(lines) + "\n"


def main():
    if "--check" not in sys.argv[1:]:
        FILE.write_text(recorded(made()), encoding="ascii")
        return 0
    text = FILE.read_text(encoding="ascii")
    if text != recorded(read(text)):
        print(f"FAILED: {FILE.name} is not what the oracle says")
        return 1
    print(f"{FILE.name}: {text.count('reset')} sequences, {len(text)} bytes, as the oracle says")
    return 0


if __name__ == "__main__":
    sys.exit(main())
