# SPDX-License-Identifier: GPL-2.0-or-later
"""The commands that set servers and switch NTP: what they answer and change."""
from __future__ import annotations

import pytest

from lab.bench import PRIMARY, SECONDARY, Bench

# The line ends of the daemon's own texts are "\r\n", and the session adds "\r".
MASTER_UNSET = b"Master ip address can't manually config 0.0.0.0 !!!.\r\r\n"
MASTER_LONG = b"Master Hostname or IP address too long. Maximum is 128.\r\r\n"
SLAVE_UNSET = b"Slave ip address can't manually config 0.0.0.0 !!!.\r\r\n"
SLAVE_LONG = b"Slave Hostname or IP address too long. Maximum is 128.\r\r\n"
SECOND_LONG = b"slave Hostname or IP address too long. Maximum is 128.\r\r\n"
MASTER_CUT = b"Master Hostname or IP address does not fit: at most 127 characters.\r\r\n"
SLAVE_CUT = b"Slave Hostname or IP address does not fit: at most 127 characters.\r\r\n"
NOT_SET = b"ntp server ip not set!\r\r\n"
INCOMPLETE = b"% Command incomplete.\r\n"
OFF = b"NTP protcol is disable!\r\r\n"


class Node:
    """A session in the daemon's node, and the two servers as it shows them."""

    def __init__(self, bench: Bench) -> None:
        self.daemon = bench.daemon()
        self.session = bench.vty(self.daemon)
        self.command = self.session.command

    def servers(self) -> tuple[str, str]:
        lines = self.command("show ntp json").decode().splitlines()
        fields = dict(line.strip().rstrip(",").split(":", 1) for line in lines if ":" in line)
        return fields['"server"'].strip('"'), fields['"secondServer"'].strip('"')


@pytest.fixture
def node(bench: Bench) -> Node:
    return Node(bench)


def test_first_servers(node: Node) -> None:
    assert node.servers() == ("0.0.0.0", "0.0.0.0")


def test_one_server(node: Node) -> None:
    assert node.command("ntp server 10.0.0.1") == b""
    assert node.servers() == ("10.0.0.1", "0.0.0.0")


def test_two_servers(node: Node) -> None:
    assert node.command("ntp server 10.0.0.1 time.example") == b""
    assert node.servers() == ("10.0.0.1", "time.example")


def test_one_server_keeps_the_secondary(node: Node) -> None:
    node.command("ntp server a b")
    node.command("ntp server c")
    assert node.servers() == ("c", "b")


def test_names_of_keywords(node: Node) -> None:
    node.command("ntp server server server2")
    assert node.servers() == ("server", "server2")
    node.command("ntp server enable ntp")
    assert node.servers() == ("enable", "ntp")
    node.command("second ntp server2 server2")
    assert node.servers() == ("enable", "server2")


@pytest.mark.parametrize(
    ("line", "answer"),
    [
        ("ntp server 0.0.0.0", MASTER_UNSET),
        ("ntp server 0.0.0.0 10.0.0.2", MASTER_UNSET),
        ("ntp server 0.0.0.0 0.0.0.0", MASTER_UNSET),
        ("ntp server 10.0.0.1 0.0.0.0", SLAVE_UNSET),
        (f"ntp server {'m' * 129}", MASTER_LONG),
        (f"ntp server {'m' * 500}", MASTER_LONG),
        (f"ntp server {'m' * 129} 0.0.0.0", MASTER_LONG),
        (f"ntp server 10.0.0.1 {'s' * 129}", SLAVE_LONG),
        (f"ntp server {'m' * 129} {'s' * 129}", MASTER_LONG),
        ("second ntp server2 0.0.0.0", SLAVE_UNSET),
        (f"second ntp server2 {'s' * 129}", SECOND_LONG),
        # 128 characters are not too long, but the field has no room for their end.
        (f"ntp server {'m' * 128}", MASTER_CUT),
        (f"ntp server {'m' * 128} 10.0.0.2", MASTER_CUT),
        (f"ntp server 10.0.0.1 {'s' * 128}", SLAVE_CUT),
        (f"ntp server {'m' * 128} {'s' * 128}", MASTER_CUT),
        (f"second ntp server2 {'s' * 128}", SLAVE_CUT),
        # Storing comes after all checks.
        (f"ntp server {'m' * 128} 0.0.0.0", SLAVE_UNSET),
        (f"ntp server {'m' * 128} {'s' * 129}", SLAVE_LONG),
        ("second ntp server2", INCOMPLETE),
        ("ntp server", INCOMPLETE),
    ],
    ids=lambda text: text[:40].decode() if isinstance(text, bytes) else text[:40],
)
def test_refusals_change_nothing(node: Node, line: str, answer: bytes) -> None:
    node.command("ntp server first second")
    assert node.command(line) == answer
    assert node.servers() == ("first", "second")
    assert node.session.prompt == b"lab(config-ntp)# "


# Of the releases between the two, none was at hand.
@pytest.mark.parametrize(
    "answer",
    [
        pytest.param(b"", marks=pytest.mark.libfrr_before(8, 4), id="above"),
        pytest.param(INCOMPLETE, marks=pytest.mark.libfrr_from(8, 4), id="here"),
    ],
)
def test_half_a_command_that_enters_the_node(node: Node, answer: bytes) -> None:
    """Looked for in this node only, or also in that above, whose "ntp" leads back here."""
    node.command("ntp server first second")
    assert node.command("ntp") == answer
    assert node.servers() == ("first", "second")
    assert node.session.prompt == b"lab(config-ntp)# "


def test_longest_names(node: Node) -> None:
    long, other = "m" * 127, "s" * 127
    assert node.command(f"ntp server {long} {other}") == b""
    assert node.servers() == (long, other)
    assert node.command(f"second ntp server2 {long}") == b""
    assert node.servers() == (long, long)
    # A shorter name leaves nothing of the longer one behind.
    node.command("ntp server a b")
    assert node.servers() == ("a", "b")


@pytest.mark.parametrize("name", ["0.0.0.00", "00.0.0.0", "0.0.0", "255.255.255.255", "::1", "!", "a;reboot"])
def test_other_texts_are_taken_as_names(node: Node, name: str) -> None:
    assert node.command(f"ntp server {name} x") == b""
    assert node.servers() == (name, "x")


def test_second_server_alone(node: Node) -> None:
    # Only an empty primary is refused, and none is ever empty.
    assert node.command(f"second ntp server2 {SECONDARY}") == b""
    assert node.servers() == ("0.0.0.0", SECONDARY)


@pytest.mark.parametrize("line", ["no second ntp server2", "no second ntp server2 10.0.0.9"])
def test_taking_the_secondary_away(node: Node, line: str) -> None:
    node.command("ntp server a b")
    assert node.command(line) == b""
    assert node.servers() == ("a", "")
    node.command("second ntp server2 c")
    assert node.servers() == ("a", "c")


def test_enable_without_a_server(node: Node) -> None:
    assert node.command("ntp enable") == NOT_SET
    assert node.command("show ntp") == OFF
    node.command(f"second ntp server2 {SECONDARY}")
    assert node.command("ntp enable") == NOT_SET
    assert node.daemon.thread("ntpClient") is None


def test_enable_and_disable(node: Node) -> None:
    node.command(f"ntp server {PRIMARY}")
    assert node.daemon.thread("ntpClient") is None
    for _ in range(3):
        assert node.command("ntp enable") == b""
        assert node.command("show ntp").startswith(b"NTP server is 10.77.0.1, 0.0.0.0.\r\r\n")
    for _ in range(2):
        assert node.command("ntp disable") == b""
        assert node.command("show ntp") == OFF
    assert node.servers() == (PRIMARY, "0.0.0.0")


def test_server_commands_do_not_start_the_client(node: Node) -> None:
    node.command(f"ntp server {PRIMARY} {SECONDARY}")
    node.command(f"second ntp server2 {SECONDARY}")
    assert node.daemon.shim is not None
    assert node.daemon.shim.events(thread="ntpClient") == []


def test_one_client_thread(node: Node) -> None:
    node.command(f"ntp server {PRIMARY}")
    for _ in range(5):
        node.command("ntp enable")
        node.command("ntp disable")
    node.command("ntp enable")
    assert node.daemon.shim is not None
    node.daemon.shim.requests(1)
    assert len(node.daemon.shim.events("bind")) == 1


def test_thread_that_cannot_be_made(node: Node) -> None:
    assert node.daemon.shim is not None
    node.daemon.shim.fail("pthread_create", "EAGAIN")
    node.command(f"ntp server {PRIMARY}")
    assert node.command("ntp enable") == b""
    assert node.daemon.stdout() == b"\r\n Msg:Create ntp_client_process thread error!\r\n"
    assert node.command("show ntp") == OFF
    # Tried anew, it works.
    node.daemon.shim.set(pthread_create_errno=0)
    node.command("ntp enable")
    node.daemon.shim.requests(1)
