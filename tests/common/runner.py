# SPDX-License-Identifier: GPL-2.0-or-later
"""One run of a differential test: how much of everything, what went wrong, which
differences were met that have a reason."""

import collections
import random
import shlex


class Run:
    """arguments  PROGRAM [--full] [--seed N]; words before the program, such as an
    emulator, come in the same argument"""

    def __init__(self, arguments):
        self.command = shlex.split(arguments[0])
        self.full = "--full" in arguments
        seed = (int(arguments[arguments.index("--seed") + 1]) if "--seed" in arguments
                else random.randrange(1 << 32))
        print(f"{'full' if self.full else 'sampled'} run, seed {seed}")
        self.random = random.Random(seed)
        self.failures = 0
        self.compared = 0
        self.explained = collections.Counter()

    def amount(self, sampled, full):
        return full if self.full else sampled

    def some(self, things, sampled, full=None):
        """A sample; in a full run all of them unless told how many."""
        count = (len(things) if full is None else full) if self.full else sampled
        return self.random.sample(things, min(count, len(things)))

    def fail(self, message):
        # The first ones tell enough.
        self.failures += 1
        if self.failures <= 20:
            print("FAILED:", message)

    def end(self, differences, summary):
        """Prints what was compared; returns the status to end with."""
        for difference in differences:
            if self.explained[difference] == 0:
                self.fail(f"not met: {difference}")
        print(f"{summary}, {self.compared} comparisons, {self.failures} failures")
        return 0 if self.failures == 0 else 1
