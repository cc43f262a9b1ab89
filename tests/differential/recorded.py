# SPDX-License-Identifier: GPL-2.0-or-later
"""recorded_conversions.txt: conversions by TZ strings, as this engine made them.

python3 -m tests.differential.recorded PROGRAM          fails when PROGRAM now answers something else
python3 -m tests.differential.recorded PROGRAM --write  makes the file anew

The other tests tell whether the answers are right; this file tells whether
another processor, compiler or system gives the same ones.  It needs no zone file.
"""

import pathlib
import random
import shlex
import subprocess
import sys

FILE = pathlib.Path(__file__).parent / "recorded_conversions.txt"

ZONES = [
    "UTC0",
    "<+0545>-5:45",
    "CET-1CEST,M3.5.0,M10.5.0/3",
    "EST5EDT,M3.2.0,M11.1.0",
    "AEST-10AEDT,M10.1.0,M4.1.0/3",
    "<-03>3<-02>,M3.5.0/-2,M10.5.0/-1",
    "IST-1GMT0,M10.5.0,M3.5.0/1",
    "XXX4YYY,J60/0,J300/24",
    "XXX4YYY,59/0,300/24",
    "LONG-167BBB,M1.1.1/0,M12.5.0/24",
    "ALL3YEAR,0/0,J365/25",
]
# Round numbers of Unix time, and the calendar's ends.
INSTANTS = [0, -1, 951782400, 1 << 31, -(1 << 31) - 1, (1 << 32) - 1, -62135596801, 253402300800,
            67768036191676799, 67768036191676800, -67768040609740800, -67768040609740801,
            (1 << 63) - 1, -(1 << 63)]


def questions():
    """The lines to ask, zone by zone."""
    chance = random.Random(27)
    for zone in ZONES:
        yield f"zone {zone}"
        for when in INSTANTS + [chance.randint(-6 * 10**9, 3 * 10**10) for _ in range(60)]:
            yield f"local {when}"
        for _ in range(60):
            yield (f"time {chance.randint(1900, 2100)} {chance.randint(-14, 30)} {chance.randint(-40, 70)} "
                   f"{chance.randint(-30, 60)} {chance.randint(-70, 130)} {chance.randint(-70, 130)}")
        yield "time 2147483647 12 31 23 59 59"
        yield "time -2147481748 1 1 0 0 0"


def main():
    asked = list(questions())
    text = "".join(line + "\n" for line in asked)
    done = subprocess.run([*shlex.split(sys.argv[1]), "--answer"], input=text, capture_output=True, text=True,
                          check=True)
    answers = iter(done.stdout.splitlines())
    now = [line if line.startswith("zone ") else f"{line} = {next(answers)}" for line in asked]
    if "--write" in sys.argv[2:]:
        FILE.write_text("".join(line + "\n" for line in now))
        return 0
    recorded = FILE.read_text().splitlines()
    wrong = [f"FAILED: {new}; recorded: {old}" for old, new in zip(recorded, now) if old != new]
    if len(recorded) != len(now):
        wrong.append(f"FAILED: {len(now)} answers, recorded: {len(recorded)}")
    print("\n".join(wrong[:20]) or f"{len(now) - len(ZONES)} conversions as recorded")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
