# SPDX-License-Identifier: GPL-2.0-or-later
"""The library that is preloaded into the daemon: its sources are beside this file, which is the test's side of it."""
from __future__ import annotations

import errno
import json
from dataclasses import dataclass
from pathlib import Path
from typing import Any, Callable, NamedTuple

from lab.times import wait_for
from lab.world import World

INSIDE = "/tmp/shim"

# What errno has no number for: how look-ups fail, and calls that do half of what they should.
_OTHER_ERRORS = {"HOST_NOT_FOUND": 1, "TRY_AGAIN": 2, "NO_RECOVERY": 3, "NO_DATA": 4, "IN_PART": -1}


def failing(call: str, error: str, times: int | None = None, after: int | str = 0) -> dict[str, float | str]:
    """The setting that lets a call fail, for a daemon not yet started: `times` times, after so many calls
    or after an event."""
    number = _OTHER_ERRORS.get(error) or getattr(errno, error)
    return {f"{call}_errno": number if times is None else f"{number} {times} {after}"}


@dataclass(frozen=True)
class Event:
    """One call that the daemon made.

    `waited` is the time in seconds that the daemon believes to have waited in
    select() until then; all waits are exact, so schedules can be compared as
    they are.  `real` is the machine's monotonic time.
    """

    name: str
    thread: str
    waited: float
    real: float
    data: dict[str, Any]

    def __getitem__(self, key: str) -> Any:
        return self.data[key]


class Called(NamedTuple):
    """What came of a call, and what it wrote meanwhile."""

    result: Any
    stdout: bytes = b""
    stderr: bytes = b""


class Shim:
    """Settings for one daemon and what it did.

    Keyword arguments are settings as the library's header lists them, e.g.
    ``Shim(world, scale=0.001, clock_frozen=1600000000)``.
    """

    def __init__(self, world: World, **settings: float | str) -> None:
        self._world = world
        self._folder: Path = world.path(INSIDE)
        self._folder.mkdir(exist_ok=True)
        for name in ("events", "call", "answer"):
            (self._folder / name).unlink(missing_ok=True)
        self._settings: dict[str, float | str] = dict(settings)
        self._serial = 0
        self._calls = 0
        self._write({})

    @property
    def environment(self) -> dict[str, str]:
        return {"HORAD_SHIM": INSIDE}

    def set(self, **settings: float | str) -> None:
        """Changes settings; the daemon follows at its next call."""
        self._settings.update(settings)
        self._write({})

    def fail(self, call: str, error: str, times: int | None = None, after: int | str = 0) -> None:
        """Lets a call fail: fail("settimeofday", "EPERM"), `times` times, after so many calls or after an event.

        What is counted lasts until the next change of a setting.
        """
        setting = failing(call, error, times, after)
        if times is None:
            self.set(**setting)
        else:
            self._write(setting)

    def cut_power(self, before: str | None = None, after: str | None = None) -> None:
        """Kills the daemon before its Nth call of a name, or after its Nth event of one: "open 2"."""
        self._write({f"kill_{when}": what for when, what in (("before", before), ("after", after)) if what})

    def skip(self, times: int = 1) -> None:
        """Ends a wait of more than 200 s at once, the one under way included."""
        self._write({"skip": times})

    def _write(self, counted: dict[str, float | str]) -> None:
        self._serial += 1
        settings = {**self._settings, **counted, "serial": self._serial}
        new = self._folder / "control.new"
        new.write_text("".join(f"{key} {value}\n" for key, value in settings.items()))
        new.rename(self._folder / "control")

    # --- calls of the functions that the daemon exports

    def ask(self, function: str, *arguments: str | bytes | int | None) -> None:
        """Has the daemon call a function on its event-loop thread (setting: calls=1)."""
        self._calls += 1
        texts = [str(self._calls).encode(), function.encode()]
        for argument in arguments:
            text = argument.encode() if isinstance(argument, str) else argument
            texts.append(b"-" if text is None else b"=" + (text if isinstance(text, bytes) else b"%d" % text))
        new = self._folder / "call.new"
        new.write_bytes(b"".join(text + b"\0" for text in texts))
        new.rename(self._folder / "call")

    def answer(self, seconds: float = 10) -> Called:
        """Waits for the end of the call asked for last."""

        def probe() -> Any:
            try:
                found = json.loads((self._folder / "answer").read_text())
            except FileNotFoundError:
                return None
            return found if found["number"] == self._calls else None

        found = wait_for("the answer to a call", probe, seconds)
        return Called(found["result"], self._written(*found["stdout"]), self._written(*found["stderr"]))

    def call(self, function: str, *arguments: str | bytes | int | None) -> Called:
        """Calls a function: call("set_system_timezone", "8:30") -> (result, stdout, stderr).

        "getenv", "localtime" and "localtime_r" (of an instant) answer with a text or None.
        """
        self.ask(function, *arguments)
        return self.answer()

    def _written(self, file: str, start: int, end: int) -> bytes:
        with self._world.path(file).open("rb") as output:
            output.seek(start)
            return output.read(end - start)

    # --- what the daemon did

    def events(self, *names: str, thread: str | None = None) -> list[Event]:
        """What happened so far, in order; only these calls when names are given."""
        try:
            text = (self._folder / "events").read_text()
        except FileNotFoundError:
            return []
        found = []
        for line in text.splitlines(keepends=True):
            if not line.endswith("\n"):
                break  # still being written
            data = json.loads(line)
            name = data.pop("event")
            event = Event(name, data.pop("thread", ""), data.pop("waited", 0.0), data.pop("real", 0.0), data)
            if (not names or name in names) and thread in (None, event.thread):
                found.append(event)
        return found

    def wait_events(
        self, name: str, count: int = 1, seconds: float = 10, when: Callable[[Event], bool] = lambda _: True
    ) -> list[Event]:
        """Waits until a call was made (at least) `count` times."""

        def probe() -> list[Event] | None:
            found = [event for event in self.events(name) if when(event)]
            return found if len(found) >= count else None

        try:
            return wait_for(f"{count} x {name}", probe, seconds)
        except AssertionError as error:
            raise AssertionError(f"{error}; so far: {[event.name for event in self.events()][-40:]}") from None

    def requests(self, count: int, seconds: float = 20) -> list[Event]:
        """Waits for `count` requests of the client."""
        return self.wait_events("sendto", count, seconds)
