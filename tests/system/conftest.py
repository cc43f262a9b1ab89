# SPDX-License-Identifier: GPL-2.0-or-later
"""One lab for the whole run, one daemon for each test.

    /usr/bin/python3 -m pytest tests/system [--build-dir build/release]

The build folder can also be given by HORAD_BUILD.
"""
from __future__ import annotations

import os
from pathlib import Path
from typing import Iterator

import pytest

from lab import PROJECT, Build, Unavailable, World
from lab.bench import Bench


def build_of(config: pytest.Config) -> Build:
    named = config.getoption("--build-dir") or os.environ.get("HORAD_BUILD") or PROJECT / "build" / "release"
    return Build(Path(named).resolve())


def pytest_addoption(parser: pytest.Parser) -> None:
    parser.addoption("--build-dir", help="the build to test (default: build/release)")


def pytest_configure(config: pytest.Config) -> None:
    config.addinivalue_line("markers", "plain_build: about a build without sanitizers only")
    config.addinivalue_line("markers", "uncounted_build: about a build that does not count which lines run only")
    config.addinivalue_line("markers", "prompt_signals: about a build whose signals arrive at once only")
    config.addinivalue_line("markers", "libfrr_from(version): about the library's own doings from a release on")
    config.addinivalue_line("markers", "libfrr_before(version): about its doings before a release")


def pytest_report_header(config: pytest.Config) -> str:
    build = build_of(config)
    return f"daemon: {build.daemon}{' (with sanitizers)' if build.sanitized else ''}"


def pytest_collection_modifyitems(config: pytest.Config, items: list[pytest.Item]) -> None:
    """Leaves out what says nothing about this build: tests of memory in a sanitized one, tests of
    the program's imports and exports where they include what counts lines, of signals that have to
    be handled while a thread writes where the thread sanitizer keeps them back."""
    build = build_of(config)
    left_out = {"plain_build": build.sanitized, "uncounted_build": build.counts_lines,
                "prompt_signals": build.checks_threads}
    for marker in (name for name, applies in left_out.items() if applies):
        items[:] = [item for item in items if item.get_closest_marker(marker) is None]
    items[:] = [item for item in items if is_of(build, item)]


def is_of(build: Build, item: pytest.Item) -> bool:
    """Whether a test is about the release of libfrr that the daemon was built with."""
    first, end = item.get_closest_marker("libfrr_from"), item.get_closest_marker("libfrr_before")
    if (first is None and end is None) or not build.daemon.exists():
        return True
    return (first is None or build.libfrr >= first.args) and (end is None or build.libfrr < end.args)


@pytest.fixture(scope="session")
def build(request: pytest.FixtureRequest) -> Build:
    return build_of(request.config)


@pytest.fixture(scope="session")
def world(build: Build) -> Iterator[World]:
    try:
        lab = World(visible=build.folders)
    except Unavailable as reason:
        # Once, rather than by each test.
        pytest.exit(str(reason), returncode=1)
    with lab:
        yield lab


@pytest.fixture
def bench(world: World, build: Build) -> Iterator[Bench]:
    """The lab as it was at first, and what a test sets up in it."""
    world.reset()
    with Bench(world, build) as bench:
        yield bench
