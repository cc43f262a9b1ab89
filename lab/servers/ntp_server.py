# SPDX-License-Identifier: GPL-2.0-or-later
"""An NTP server that does exactly what a test tells it, right or wrong."""
from __future__ import annotations

import select
import socket
import threading
import time
from dataclasses import dataclass
from typing import Callable, Sequence

from lab import DAEMON_ADDRESS, World, wait_for

from .packet import Packet, Timestamp, answer_to

CLIENT = (DAEMON_ADDRESS, 123)


@dataclass(frozen=True)
class Request:
    """A datagram as it arrived."""

    data: bytes
    sender: tuple[str, int]
    time: float  # the machine's monotonic time


Datagrams = Sequence["bytes | Packet"]
# What to answer to a request: datagrams, sent in this order.
Answer = Callable[[Request], Datagrams]


def silent(_: Request) -> Datagrams:
    return []


def truthful(clock: Timestamp) -> Answer:
    """Answers every request with the same time."""
    return lambda request: [answer_to(request.data, clock)]


def once(answer: Answer) -> Answer:
    """Answers one request: of those that pile up on a busy machine, each would be answered."""
    left = [answer]
    return lambda request: left.pop()(request) if left else []


class NtpServer:
    """Listens on one of the lab's server addresses, port 123."""

    def __init__(self, world: World, address: str, answer: Answer = silent) -> None:
        self.address = address
        self.answer = answer
        self.requests: list[Request] = []
        self._world = world
        self._socket = world.socket("servers", socket.SOCK_DGRAM)
        self._socket.bind((address, 123))
        self._stopping, self._stop = socket.socketpair()
        self._thread = threading.Thread(target=self._serve)
        self._thread.start()

    def _serve(self) -> None:
        while True:
            ready, _, _ = select.select([self._socket, self._stopping], [], [])
            if self._stopping in ready:
                return
            data, sender = self._socket.recvfrom(2048)
            request = Request(data, sender, time.monotonic())
            self.requests.append(request)
            for datagram in self.answer(request):
                self.send(datagram, sender)

    def send(self, datagram: bytes | Packet, to: tuple[str, int] = CLIENT) -> None:
        """Sends a datagram from the server's address and port 123."""
        self._socket.sendto(datagram.pack() if isinstance(datagram, Packet) else datagram, to)

    def wait_requests(self, count: int, seconds: float = 20) -> list[Request]:
        wait_for(f"{count} requests to {self.address}", lambda: len(self.requests) >= count, seconds)
        return list(self.requests)

    def close(self) -> None:
        self._stop.send(b"x")
        self._thread.join()
        for each in (self._socket, self._stopping, self._stop):
            each.close()


def send_from(world: World, address: str, port: int, datagram: bytes | Packet) -> None:
    """Sends a datagram to the client from any address of the servers and any port."""
    with world.socket("servers", socket.SOCK_DGRAM) as sender:
        sender.bind((address, port))
        sender.sendto(datagram.pack() if isinstance(datagram, Packet) else datagram, CLIENT)
