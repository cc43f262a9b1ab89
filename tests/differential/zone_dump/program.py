# SPDX-License-Identifier: GPL-2.0-or-later
"""Talks to zone_dump_run."""

import subprocess

from tests.common.runner import Run
from tests.models.zone_dump import Answer


class Program:
    """One process; it keeps what the functions keep from call to call."""

    def __init__(self, command):
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE)

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
        """All at once: waiting for each answer is what takes long.  The questions must
        fit into a pipe."""
        for words in questions:
            self.tell(*words)
        self.process.stdin.flush()
        return [self.answer() for _ in questions]

    def end(self):
        self.process.stdin.close()
        return self.process.wait()


class ProgramRun(Run):
    """Compares what the program answers."""

    def __init__(self, arguments):
        super().__init__(arguments)
        self.program = Program(self.command)

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
        if self.program.end() != 0:
            self.fail("the program did not end well")
        return super().end(differences, summary)


def first_difference(got, wanted):
    """The first lines that differ, out of thousands."""
    got, wanted = got.splitlines(), wanted.splitlines()
    for number, lines in enumerate(zip(got, wanted)):
        if lines[0] != lines[1]:
            return tuple(f"line {number}: {line}" for line in lines)
    return f"{len(got)} lines", f"{len(wanted)} lines"
