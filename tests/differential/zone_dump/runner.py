# SPDX-License-Identifier: GPL-2.0-or-later
"""Talks to zone_dump_run, and counts what was compared."""

import collections
import random
import shlex
import subprocess

# dump is None when there is no file.
Answer = collections.namedtuple("Answer", "result dump output errors slept")


class Program:
    """One process; it keeps what the functions keep from call to call."""

    def __init__(self, command):
        self.process = subprocess.Popen(shlex.split(command), stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def tell(self, *words):
        line = "\t".join("(null)" if word is None else str(word) for word in words)
        self.process.stdin.write(line.encode() + b"\n")

    def answer(self):
        result, dump, output, errors, slept = map(int, self.process.stdout.readline().split())
        read = self.process.stdout.read
        return Answer(result, read(dump) if dump >= 0 else None, read(output), read(errors), slept)

    def ask(self, *words):
        return self.ask_all([words])[0]

    def ask_all(self, questions):
        """Not one by one: waiting for each other is what takes long.  The questions must
        fit into a pipe."""
        for words in questions:
            self.tell(*words)
        self.process.stdin.flush()
        return [self.answer() for _ in questions]

    def end(self):
        self.process.stdin.close()
        return self.process.wait()


class Run:
    def __init__(self, arguments):
        self.full = "--full" in arguments
        seed = (int(arguments[arguments.index("--seed") + 1]) if "--seed" in arguments
                else random.randrange(1 << 32))
        print(f"{'full' if self.full else 'sampled'} run, seed {seed}")
        self.random = random.Random(seed)
        self.program = Program(arguments[0])
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

    def same(self, what, answer, expected):
        self.compared += 1
        for part in Answer._fields:
            got, wanted = getattr(answer, part), getattr(expected, part)
            if got == wanted:
                continue
            if isinstance(got, bytes) and isinstance(wanted, bytes):
                got, wanted = first_difference(got, wanted)
            self.fail(f"{what}: {part} {got}, expected {wanted}"[:2000])

    def end(self, differences, summary):
        for difference in differences:
            if self.explained[difference] == 0:
                self.fail(f"not met: {difference}")
        if self.program.end() != 0:
            self.fail("the program did not end well")
        print(f"{summary}, {self.compared} comparisons, {self.failures} failures")
        return 0 if self.failures == 0 else 1


def first_difference(got, wanted):
    """The first lines that differ, out of thousands."""
    got, wanted = got.splitlines(), wanted.splitlines()
    for number, lines in enumerate(zip(got, wanted)):
        if lines[0] != lines[1]:
            return tuple(f"line {number}: {line}" for line in lines)
    return f"{len(got)} lines", f"{len(wanted)} lines"
