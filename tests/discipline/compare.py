# SPDX-License-Identifier: GPL-2.0-or-later
"""The frequency discipline against its oracle: every result and text.

python3 -m tests.discipline.compare PROGRAM [--full | --share N] [--seed N]

PROGRAM is discipline_run.
"""

import collections
import re
import subprocess
import sys

from tests.common.runner import Run
from tests.discipline.oracle import INT_MAX, INT_MIN, LIMIT, Discipline, hexed
from tests.discipline.sequences import KINDS, sequences

# What the sequences must have met, or they compare less than they should.
TRAITS = ("too few samples", "inconsistent", "a result", "clamped above", "clamped below",
          "no upper segment left", "no lower segment left", "lower correction only",
          "upper correction only", "no correction of the limits", "fifteen segments",
          "one segment", "no number", "a frequency that no int holds")


def written(command):
    if command[0] == "add":
        _, time, offset, error_bar, frequency = command
        return f"add {time} {hexed(offset)} {hexed(error_bar)} {frequency}"
    return f"debug {command[1]}"


def expected_from(sequence, traits=None):
    """What the program has to print for a sequence, a text for each command."""
    estimator = Discipline()
    texts = []
    for command in sequence:
        if command[0] == "debug":
            estimator.debug = bool(command[1])
            texts.append("")
            continue
        result = estimator.contemplate_data(*command[1:])
        text = estimator.printed()
        if traits is not None:
            count_traits(traits, estimator, command, text, result)
        texts.append(f"{text}= {result}\n")
    return texts


def count_traits(traits, estimator, command, text, result):
    if estimator.count < 16:
        traits["too few samples"] += 1
    elif text.endswith("# inconsistent\n"):
        traits["inconsistent"] += 1
    else:
        computed = int(text.split()[-1])
        traits["a result"] += 1
        traits["clamped above"] += computed > result == LIMIT
        traits["clamped below"] += computed < result == -LIMIT
        left, right = estimator.df
        traits["lower correction only"] += left != 0
        traits["upper correction only"] += right != 0
        traits["no correction of the limits"] += left == right == 0
        traits["a frequency that no int holds"] += computed in (INT_MAX, INT_MIN)
    traits["no upper segment left"] += "maxseg vs" in text
    traits["no lower segment left"] += "minseg vs" in text
    traits["fifteen segments"] += "seg[15]" in text
    traits["one segment"] += bool(re.search(r"maxseg\[1\].*\nmincross", text))
    traits["no number"] += "nan" in text


def first_difference(sequence, expected, got):
    """The command and the line at which two outputs part."""
    lines = got.split("\n")
    at = 0
    for number, text in enumerate(expected):
        for line in text.split("\n")[:-1]:
            found = lines[at] if at < len(lines) else "(nothing)"
            if line != found:
                return f"command {number + 1}, {written(sequence[number])}:\n  oracle  {line}\n  program {found}"
            at += 1
    return f"more was printed: {lines[at]}"


def main():
    run = Run(sys.argv[1:])
    by_kind = collections.Counter()
    batch = run.amount(100, 100) * len(KINDS)
    for _ in range(run.amount(1, 20)):
        todo = list(sequences(run.random, batch))
        asked = "".join("".join(written(command) + "\n" for command in sequence) + "reset\n"
                        for _, sequence in todo)
        done = subprocess.run(run.command, input=asked, capture_output=True, text=True, check=True)
        answers = done.stdout.split("reset\n")[:-1]
        if len(answers) != len(todo):
            run.fail(f"{len(answers)} answers to {len(todo)} sequences")
            break
        for (kind, sequence), answer in zip(todo, answers):
            expected = expected_from(sequence, run.explained)
            run.compared += sum(command[0] == "add" for command in sequence)
            if answer != "".join(expected):
                by_kind[kind] += 1
                run.fail(f"{kind}, {first_difference(sequence, expected, answer)}")
    if by_kind:
        print("failures by kind:", dict(by_kind))
    met = ", ".join(f"{trait} {run.explained[trait]}" for trait in TRAITS)
    return run.end(TRAITS, f"{run.amount(1, 20) * batch} sequences; met: {met}")


if __name__ == "__main__":
    sys.exit(main())
