# SPDX-License-Identifier: GPL-2.0-or-later
"""Nothing is set up or built that is not needed."""
from __future__ import annotations

import pytest

from tests.tools.conftest import Clone, interrupt

NATIVE, PEERS = "build-libfrr", "fetch-peers"
SYSROOT, ARM64 = "debian-tree sysroot arm64 build/deps/arm64/root", "build-libfrr arm64"
SYSTEM = "debian-tree system build/deps/debian"


def noted(clone: Clone, *scripts: str) -> None:
    """Instead of doing anything, these only note that they were called."""
    for script in scripts:
        clone.replace(script, f'[ "$*" = --needs ] || echo "{script.removeprefix("tools/")}${{*:+ $*}}" >>{clone.folder}/calls')


def calls(clone: Clone) -> list[str]:
    path = clone.folder / "calls"
    return path.read_text().splitlines() if path.exists() else []


@pytest.mark.parametrize(
    ("options", "prefix", "expected"),
    [
        ([], None, [NATIVE, PEERS]),
        ([], "/opt/libfrr", [PEERS]),
        (["--quick"], None, [NATIVE, PEERS]),
        (["--lint"], None, [NATIVE, PEERS]),
        (["--package"], None, [NATIVE, PEERS]),
        (["--package"], "/opt/libfrr", [NATIVE, PEERS]),
        (["--package", "--arm64"], None, [NATIVE, PEERS, SYSROOT, ARM64]),
        (["--arm64"], "/opt/libfrr", [NATIVE, PEERS, SYSROOT, ARM64]),
        (["--tests"], None, [NATIVE, PEERS, SYSROOT, SYSTEM, ARM64]),
    ],
)
def test_set_up(clone: Clone, options: list[str], prefix: str | None, expected: list[str]) -> None:
    clone.program("dpkg-query", "echo -n installed")
    noted(clone, "tools/build-libfrr", "tools/debian-tree", "tools/fetch-peers")
    if prefix is not None:
        clone.environment["HORAD_FRR_PREFIX"] = prefix
    done = clone.run("tools/setup", *options)
    assert (done.returncode, done.stderr) == (0, "")
    found = calls(clone)
    # Some are called at once; the one that needs two of them comes after them.
    assert sorted(found) == sorted(expected)
    assert ARM64 not in found[:-1]


def test_set_up_tells_of_each_failure(clone: Clone) -> None:
    """One does not keep the others from being finished."""
    clone.program("dpkg-query", "echo -n installed")
    for script in ("tools/build-libfrr", "tools/debian-tree"):
        clone.replace(script, f"echo {script} failed >&2; exit 7")
    clone.replace("tools/fetch-peers", '[ "$*" = --needs ] || { sleep 0.5; echo finished; }')
    done = clone.run("tools/setup", "--tests")
    assert done.returncode == 1
    assert done.stdout.endswith("finished\n")
    assert sorted(done.stderr.splitlines()) == ["tools/build-libfrr failed", *["tools/debian-tree failed"] * 2]


def test_ctrl_c_in_set_up(clone: Clone) -> None:
    """What is under way ends first, and says so."""
    clone.program("dpkg-query", "echo -n installed")
    first, began = clone.folder / "first", clone.folder / "began"
    clone.replace("tools/build-libfrr", f"trap 'sleep 0.5; echo first ended >&2; exit 130' INT; : >{first}; sleep 1000")
    clone.replace("tools/fetch-peers", f"""[ "$*" = --needs ] && exit; trap 'echo second ended >&2; exit 130' INT
        until [ -e {first} ]; do sleep 0.01; done
        : >{began}; sleep 1000""")
    process = clone.start("tools/setup", start_new_session=True)
    _, errors = interrupt(process, began)
    assert process.returncode == 130
    assert sorted(errors.splitlines()) == ["first ended", "second ended"]


@pytest.mark.parametrize(
    ("command", "expected"),
    [
        (["run"], ["setup", "build release horad horad_status horadctl clock_shim"]),
        (["test", "--quick"], ["setup --quick", "build release"]),
        (["test", "--lint"], ["setup --lint", "build release", "lint"]),
        (["tools/package", "{native}"], ["setup --package"]),
        (["tools/package"], ["setup --package --arm64"]),
    ],
)
def test_callers(clone: Clone, native: str, command: list[str], expected: list[str]) -> None:
    noted(clone, "tools/setup", "tools/build", "tools/lint")
    clone.program("ctest", "exit 1")
    clone.program("dpkg-buildpackage", "exit 1")
    clone.run(*(word.format(native=native) for word in command))
    assert calls(clone) == expected
