# SPDX-License-Identifier: GPL-2.0-or-later
"""The few Linux calls that Python's library lacks."""
from __future__ import annotations

import ctypes
import os
import signal
import threading
from typing import Callable, TypeVar

CLONE_NEWNS = 0x00020000
CLONE_NEWUTS = 0x04000000
CLONE_NEWPID = 0x20000000
CLONE_NEWNET = 0x40000000

MS_BIND = 0x1000
MS_REC = 0x4000
MS_PRIVATE = 0x40000

_PR_SET_PDEATHSIG = 1

_libc = ctypes.CDLL(None, use_errno=True)
_T = TypeVar("_T")


def _checked(result: int, what: str) -> None:
    if result < 0:
        error = ctypes.get_errno()
        raise OSError(error, f"{what}: {os.strerror(error)}")


def unshare(flags: int) -> None:
    _checked(_libc.unshare(flags), "unshare")


def setns(fd: int, kind: int) -> None:
    _checked(_libc.setns(fd, kind), "setns")


def mount(source: str, target: str, kind: str | None, flags: int, data: str | None = None) -> None:
    encode = lambda text: None if text is None else text.encode()
    _checked(
        _libc.mount(encode(source), encode(target), encode(kind), ctypes.c_ulong(flags), encode(data)),
        f"mount {target}",
    )


def die_with_parent() -> None:
    """The kernel kills the calling process when its parent ends, however it ends."""
    _checked(_libc.prctl(_PR_SET_PDEATHSIG, signal.SIGKILL), "prctl")


def in_network(fd: int, action: Callable[[], _T]) -> _T:
    """Runs `action` in the network namespace `fd`; what sockets it opens stay there.

    A thread of its own enters the namespace, so that no other code ever finds
    itself in the wrong network.
    """
    outcome: list[_T] = []
    failure: list[BaseException] = []

    def enter() -> None:
        try:
            setns(fd, CLONE_NEWNET)
            outcome.append(action())
        except BaseException as error:  # handed on to the caller below
            failure.append(error)

    thread = threading.Thread(target=enter)
    thread.start()
    thread.join()
    if failure:
        raise failure[0]
    return outcome[0]
