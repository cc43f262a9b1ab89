# SPDX-License-Identifier: GPL-2.0-or-later
"""Hands a session of the daemon over to whoever sits at this terminal."""
from __future__ import annotations

import os
import select
import signal
import struct
import sys
import termios
import tty

from .vty import TelnetFilter, Vty

LEAVE = b"\x1d"  # Ctrl-], as telnet has it

_IAC, _SB, _SE, _NAWS = 255, 250, 240, 31


def _window_size(fd: int) -> bytes:
    """Telnet's message about the size of the window: the daemon pages by it."""
    size = os.get_terminal_size(fd)
    numbers = struct.pack(">HH", size.columns, size.lines).replace(b"\xff", b"\xff\xff")
    return bytes([_IAC, _SB, _NAWS]) + numbers + bytes([_IAC, _SE])


def relay(session: Vty) -> None:
    """Connects standard input and output with the session until either end leaves.

    At a terminal every key goes to the daemon (Ctrl-] leaves); otherwise the
    lines of standard input are typed in, and the end of the input leaves.
    """
    source, target = sys.stdin.fileno(), sys.stdout.fileno()
    interactive = os.isatty(source)
    saved = termios.tcgetattr(source) if interactive else None
    if interactive:
        session.send(_window_size(target) if os.isatty(target) else b"")
        signal.signal(signal.SIGWINCH, lambda *_: session.send(_window_size(target)))
        tty.setraw(source)
    try:
        os.write(target, session.prompt)
        _pump(session, source, target)
    finally:
        if saved is not None:
            signal.signal(signal.SIGWINCH, signal.SIG_DFL)
            termios.tcsetattr(source, termios.TCSADRAIN, saved)


def _pump(session: Vty, source: int, target: int) -> None:
    telnet = TelnetFilter()
    session.socket.settimeout(None)
    watched = [source, session.socket.fileno()]
    while True:
        ready, _, _ = select.select(watched, [], [], None if source in watched else 0.3)
        if not ready:
            return  # the input is used up and the daemon has answered
        if session.socket.fileno() in ready:
            data = session.socket.recv(65536)
            if not data:
                return
            os.write(target, telnet.feed(data))
        if source in ready:
            keys = os.read(source, 4096)
            if LEAVE in keys:
                return
            if not keys:
                watched.remove(source)
            session.send(keys)
