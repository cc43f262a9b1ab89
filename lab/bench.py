# SPDX-License-Identifier: GPL-2.0-or-later
"""What a test needs at hand: a daemon, servers, and the end of them."""
from __future__ import annotations

import os
import signal
from typing import Any, Callable, Self

from lab import BASE_CONFIG, Build, Daemon, Peer, Shim, Vty, World, wait_for

from .servers.ntp_server import Answer, NtpServer, silent

PRIMARY = "10.77.0.1"
SECONDARY = "10.77.0.2"
STRANGER = "10.77.0.3"
UNREACHABLE = "10.99.0.1"  # no route leads there: sending fails at once

# Unix time at which a standing clock stands.
START = 1600000000

# For schedules nobody answers in: an hour takes 3.6 s.
FAST = 0.001
# For exchanges: a server has more than a second to answer in.
CALM = 0.05


def configured(primary: str, secondary: str | None = None, *, debug: bool = False, enabled: bool = True) -> str:
    """A configuration file with NTP set up."""
    lines = [BASE_CONFIG]
    if debug:
        lines.append("debug ntp on\n")
    lines.append(f"ntp terminal\n ntp server {primary}{f' {secondary}' if secondary else ''}\n")
    if enabled:
        lines.append(" ntp enable\n")
    return "".join(lines)


class Bench:
    """A context manager: all that was started ends with it, and has to end well unless the test failed."""

    def __init__(self, world: World, build: Build) -> None:
        self.world = world
        self.build = build
        self._daemons: list[Daemon] = []
        self._servers: list[NtpServer] = []
        self._sessions: list[Vty] = []
        self._peers: list[Peer] = []

    def daemon(
        self,
        config: str | bytes | None = BASE_CONFIG,
        *,
        shim: bool = True,
        ready: bool = True,
        arguments: list[str] | None = None,
        environment: dict[str, str] | None = None,
        **settings: float | str,
    ) -> Daemon:
        """Starts a daemon; `settings` are the preloaded library's."""
        fakes = Shim(self.world, **{"unbuffered": 1, "scale": CALM, **settings}) if shim else None
        daemon = Daemon(
            self.world,
            self.build,
            config=config,
            arguments=arguments or [],
            environment=environment,
            shim=fakes,
            name=f"horad{len(self._daemons)}",
        )
        self._daemons.append(daemon)
        return daemon.start(ready)

    def polling(self, primary: str, secondary: str | None = None, *, debug: bool = False, **settings: Any) -> Daemon:
        """Starts a daemon whose configuration sets servers and enables NTP."""
        return self.daemon(configured(primary, secondary, debug=debug), **settings)

    def vty(self, daemon: Daemon, node: str = "config-ntp") -> Vty:
        session = daemon.vty(node)
        self._sessions.append(session)
        return session

    def server(self, address: str = PRIMARY, answer: Answer = silent) -> NtpServer:
        server = NtpServer(self.world, address, answer)
        self._servers.append(server)
        return server

    def peer(self, kind: Callable[[World, str], Peer], address: str) -> Peer:
        self._peers.append(kind(self.world, address))
        return self._peers[-1]

    # --- after the test

    def __enter__(self) -> Self:
        return self

    def __exit__(self, failure: type[BaseException] | None, *_: object) -> None:
        try:
            if failure is None:
                self._check_ends()
        finally:
            self._clear()

    def _check_ends(self) -> None:
        """Every daemon that still runs ends as it should, and no sanitizer spoke up."""
        for daemon in self._daemons:
            if daemon.running:
                status = daemon.stop()
                assert status == 0, f"status {status} after SIGTERM: {daemon.stderr()!r}"
            assert b"Sanitizer" not in daemon.stderr(), daemon.stderr().decode(errors="replace")
            assert b"runtime error" not in daemon.stderr(), daemon.stderr().decode(errors="replace")

    def _clear(self) -> None:
        for closable in (*self._sessions, *self._servers):
            closable.close()
        for peer in self._peers:
            peer.stop()
        for daemon in self._daemons:
            daemon.kill()
        for pid in self.world.orphans():
            os.kill(pid, signal.SIGKILL)
        wait_for("the end of all orphans", lambda: not self.world.orphans())
