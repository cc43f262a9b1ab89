# SPDX-License-Identifier: GPL-2.0-or-later
"""The daemon's files form layers: includes and calls go one way, and never in a circle."""
from __future__ import annotations

import re
import subprocess
from graphlib import TopologicalSorter
from pathlib import Path

PROJECT = Path(__file__).resolve().parents[2]
HORAD = PROJECT / "horad"
# Those of a build that compiles each file by itself.
OBJECTS = PROJECT / "build/tsan/horad/CMakeFiles"

# From above to below; a room knows those below it.  What stands beside the rooms is in
# the last but one, for all of them.
ROOMS = ["ntp_main", "ntp_cli", "client", "timezone", "tz", "shared"]
STRANGERS = {("client", "timezone"), ("client", "tz")}
SHARED = {"build_version", "database", "frr_module", "ntp_state"}

Graph = dict[str, set[str]]


def module_of(path: str) -> str:
    """"client/clock" for "client/clock.cpp" and its header."""
    return re.sub(r"(\.(cpp|c|h)(\.o)?)$", "", path)


def room_of(module: str) -> str:
    return "shared" if module in SHARED else module.split("/")[0]


def includes() -> Graph:
    graph: Graph = {}
    sources = [path for path in HORAD.rglob("*") if path.suffix in {".c", ".cpp", ".h"}]
    names = {str(path.relative_to(HORAD)) for path in sources}
    for path in sources:
        module = module_of(str(path.relative_to(HORAD)))
        included = set(re.findall(r'^#include "([^"]+)"', path.read_text(), re.MULTILINE))
        graph.setdefault(module, set()).update(module_of(name) for name in included & names)
    return {module: others - {module} for module, others in graph.items()}


def calls() -> Graph:
    """Which object file needs a symbol of which other one."""
    assert OBJECTS.exists(), "build the preset tsan first"
    defined: dict[str, str] = {}
    needed: Graph = {}
    for folder in ("horad_objects.dir", "horad.dir"):
        for path in (OBJECTS / folder).rglob("*.o"):
            module = module_of(str(path.relative_to(OBJECTS / folder)))
            if not any((HORAD / f"{module}{suffix}").exists() for suffix in (".c", ".cpp")):
                continue  # of a source that was moved since
            needed[module] = set()
            listing = subprocess.run(["nm", "-P", path], check=True, capture_output=True, text=True).stdout
            for line in listing.splitlines():
                symbol, kind = line.split()[:2]
                if kind == "U":
                    needed[module].add(symbol)
                elif kind.isupper() and kind not in {"W", "V"}:  # not what each of them has for itself
                    defined[symbol] = module
    return {
        module: {defined[symbol] for symbol in symbols if symbol in defined} - {module}
        for module, symbols in needed.items()
    }


def check(graph: Graph) -> None:
    assert len(graph) > 40
    list(TopologicalSorter(graph).static_order())  # or the circle is named
    for module, others in graph.items():
        for other in others:
            above, below = room_of(module), room_of(other)
            assert ROOMS.index(above) <= ROOMS.index(below), f"{module} looks up at {other}"
            assert (above, below) not in STRANGERS, f"{module} is not to know {other}"


def test_includes() -> None:
    check(includes())


def test_calls() -> None:
    check(calls())
