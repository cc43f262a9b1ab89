# SPDX-License-Identifier: GPL-2.0-or-later
"""One run of a differential test: how much of everything, what went wrong, which
differences were met that have a reason."""

import collections
import os
import random
import shlex


class Run:
    """arguments  PROGRAM [--full | --share N] [--seed N]; words before the program, such
    as an emulator, come in the same argument; --share: an Nth of the sample, without it
    as HORAD_SHARE has it"""

    def __init__(self, arguments):
        self.command = shlex.split(arguments[0])
        def number(option, otherwise):
            return int(arguments[arguments.index(option) + 1]) if option in arguments else otherwise

        self.full = "--full" in arguments
        self.share = number("--share", int(os.environ.get("HORAD_SHARE", 1)))
        seed = number("--seed", random.randrange(1 << 32))
        print(f"{'full' if self.full else 'sampled'} run, seed {seed}")
        self.random = random.Random(seed)
        self.failures = 0
        self.compared = 0
        self.explained = collections.Counter()

    def amount(self, sampled, full):
        return full if self.full else -(-sampled // self.share)

    def some(self, things, sampled, full=None):
        """A sample; in a full run all of them unless told how many."""
        count = self.amount(sampled, len(things) if full is None else full)
        return self.random.sample(things, min(count, len(things)))

    def zones(self, zones):
        """All of them, or that share: their names with what belongs to them."""
        return {name: zones[name] for name in self.random.sample(list(zones), len(zones) // self.share)}

    def fail(self, message):
        # The first ones tell enough.
        self.failures += 1
        if self.failures <= 20:
            print("FAILED:", message)

    def end(self, differences, summary):
        """Prints what was compared; returns the status to end with."""
        # A share need not meet them all.
        for difference in differences if self.share == 1 else ():
            if self.explained[difference] == 0:
                self.fail(f"not met: {difference}")
        print(f"{summary}, {self.compared} comparisons, {self.failures} failures")
        return 0 if self.failures == 0 else 1
