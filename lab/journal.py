# SPDX-License-Identifier: GPL-2.0-or-later
"""The system's log: a socket of a test's own in the place of the journal's."""
from __future__ import annotations

import re
import socket
from typing import Self, Sequence

from lab import World, wait_for

_SOCKET = "/run/systemd/journal/dev-log"

# The lab shows the machine's /dev.  This is a layer over it, with a way to the socket,
# and none to the console: the C library writes there when nobody listens.
_OWN_DEV = f"""
mkdir -p /tmp/dev && mount -t tmpfs dev /tmp/dev && mkdir /tmp/dev/upper /tmp/dev/work &&
ln -s {_SOCKET} /tmp/dev/upper/log && ln -s null /tmp/dev/upper/console &&
mount -t overlay dev -o lowerdir=/dev,upperdir=/tmp/dev/upper,workdir=/tmp/dev/work /dev &&
umount --lazy /tmp/dev && rmdir /tmp/dev && exec "$@"
"""

_ENTRY = re.compile(rb"<(\d+)>.{15} (\w+)\[\d+\]: (.*)", re.DOTALL)


def with_log(command: Sequence[str]) -> list[str]:
    """The command, with the socket as its system log."""
    return ["unshare", "--mount", "--", "sh", "-c", _OWN_DEV, "sh", *command]


class Journal:
    """A context manager: what comes, as pairs of priority and text without the library's mark."""

    def __init__(self, world: World) -> None:
        path = world.path(_SOCKET)
        path.parent.mkdir(parents=True)
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM | socket.SOCK_NONBLOCK)
        self._socket.bind(str(path))
        path.chmod(0o666)
        self._entries: list[tuple[int, str]] = []

    def __enter__(self) -> Self:
        return self

    def __exit__(self, *_: object) -> None:
        self._socket.close()

    def entries(self) -> list[tuple[int, str]]:
        while True:
            try:
                found = _ENTRY.fullmatch(self._socket.recv(65536))
            except BlockingIOError:
                return self._entries
            assert found is not None and found[2] == b"horad"
            facility, priority = divmod(int(found[1]), 8)
            assert facility == 3, "a daemon's"
            text = re.sub(r"^(\[[^]]*\])* ?", "", found[3].decode())
            # The lab's question whether the daemon is ready may be cut off.
            if not text.startswith("vty_read: "):
                self._entries.append((priority, text))

    def wait(self, priority: int, text: str) -> None:
        wait_for(f"{text!r} in the journal", lambda: (priority, text) in self.entries())
