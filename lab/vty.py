# SPDX-License-Identifier: GPL-2.0-or-later
"""A client of the daemon's command line: a telnet connection, as an operator has."""
from __future__ import annotations

import re
import socket
import time

from .times import TIME_FACTOR

PASSWORD = "lab"

_IAC, _SB, _SE = 255, 250, 240
_WILL_TO_DONT = range(251, 255)
# The prompt ends what the daemon has to say until it is asked again.
_PROMPT = re.compile(rb"(?:^|\n)([A-Za-z0-9.-]+(?:\([a-z0-9-]+\))?[>#] )$")


class Closed(AssertionError):
    """The daemon ended the session."""


class TelnetFilter:
    """Takes telnet's own commands out of a byte stream, in pieces as they come."""

    def __init__(self) -> None:
        self._held = b""

    def feed(self, data: bytes) -> bytes:
        data = self._held + data
        self._held = b""
        out = bytearray()
        at = 0
        while at < len(data):
            if data[at] != _IAC:
                out.append(data[at])
                at += 1
                continue
            length = self._command_length(data[at:])
            if length == 0:  # not all here yet
                self._held = data[at:]
                break
            if data[at + 1] == _IAC:
                out.append(_IAC)
            at += length
        return bytes(out)

    @staticmethod
    def _command_length(data: bytes) -> int:
        if len(data) < 2:
            return 0
        if data[1] == _SB:
            end = data.find(bytes([_IAC, _SE]))
            return end + 2 if end >= 0 else 0
        if data[1] in _WILL_TO_DONT:
            return 3 if len(data) >= 3 else 0
        return 2


class Vty:
    """One session.  All texts are bytes exactly as the daemon sent them."""

    def __init__(self, connection: socket.socket) -> None:
        self.socket = connection
        self.prompt = b""
        self._filter = TelnetFilter()
        self._pending = b""

    def __enter__(self) -> Vty:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def close(self) -> None:
        self.socket.close()

    # --- bytes

    def send(self, data: bytes) -> None:
        self.socket.sendall(data)

    def read_until(self, pattern: re.Pattern[bytes], seconds: float = 15) -> bytes:
        """All that comes until what is there matches `pattern`."""
        end = time.monotonic() + seconds * TIME_FACTOR
        while not pattern.search(self._pending):
            left = end - time.monotonic()
            if left <= 0:
                raise AssertionError(f"no {pattern.pattern!r} in {self._pending!r}")
            self.socket.settimeout(left)
            try:
                data = self.socket.recv(65536)
            except TimeoutError:
                continue
            except ConnectionError:
                data = b""
            if not data:
                raise Closed(f"the session ended after {self._pending!r}")
            self._pending += self._filter.feed(data)
        text, self._pending = self._pending, b""
        return text

    def read_to_end(self, seconds: float = 15) -> bytes:
        """All that comes until the daemon closes the session."""
        try:
            self.read_until(re.compile(rb"(?!)"), seconds)
        except Closed:
            text, self._pending = self._pending, b""
            return text
        raise AssertionError("unreachable")

    def _read_prompt(self) -> bytes:
        text = self.read_until(_PROMPT)
        found = _PROMPT.search(text)
        assert found is not None
        self.prompt = found[1]
        return text[: found.start(1)]

    def answer(self) -> bytes:
        """All that comes until the next prompt, echo included."""
        return self._read_prompt()

    # --- what an operator does

    def login(self, password: str = PASSWORD) -> bytes:
        """Gives the password; returns the greeting."""
        greeting = self.read_until(re.compile(rb"Password: $"))
        self.send(password.encode() + b"\n")
        self._read_prompt()
        return greeting

    def command(self, text: str) -> bytes:
        """Types a line; returns exactly what comes between its echo and the prompt."""
        line = text.encode()
        self.send(line + b"\n")
        answer = self._read_prompt()
        echo = line + b"\r\n"
        assert answer.startswith(echo), f"{answer!r} does not begin with the echo {echo!r}"
        return answer[len(echo) :]

    def help(self, text: str) -> bytes:
        """Types `text` and "?"; returns the help, and takes the line back."""
        line = text.encode()
        # The line is shown again after the help and its prompt.
        self.send(line + b"?")
        again = re.compile(re.escape(self.prompt + line) + rb"$")
        answer = self.read_until(again)
        # ^U clears the line; what it echoes ends with blanks and backspaces.
        self.send(b"\x15\n")
        self._read_prompt()
        answer = answer[: -len(self.prompt + line)]
        assert answer.startswith(line), f"{answer!r} does not begin with the echo {line!r}"
        return answer[len(line) :]

    def complete(self, text: str) -> bytes:
        """Types `text` and a tabulator; returns all that the daemon shows for it."""
        self.send(text.encode() + b"\t")
        shown = self.read_until(re.compile(rb"(?s)..."), 5) if not text else self._settle()
        self.send(b"\x15\n")
        self._read_prompt()
        return shown

    def _settle(self) -> bytes:
        """What comes until a quarter of a second passes without anything."""
        self.socket.settimeout(0.25 * TIME_FACTOR)
        try:
            while True:
                data = self.socket.recv(65536)
                if not data:
                    break
                self._pending += self._filter.feed(data)
        except TimeoutError:
            pass
        text, self._pending = self._pending, b""
        return text
