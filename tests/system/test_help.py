# SPDX-License-Identifier: GPL-2.0-or-later
"""What the command line offers: help, completion, abbreviations, prompts."""
from __future__ import annotations

import re

import pytest

from lab import Vty
from lab.bench import Bench
from tests.models.locations import LOCATION_HELP

IN_NODE = [
    "exit",
    "ntp server HOST [HOST]",
    "[no] second ntp server2 [HOST]",
    "ntp <disable|enable>",
    "show ntp [json]",
    "show timezone",
    "<timezone|dst> continent Africa location WORD",
    "<timezone|dst> continent America location WORD",
    "<timezone|dst> continent Indian_Ocean location WORD",
    "<timezone|dst> continent Asia location WORD",
    "<timezone|dst> continent Atlantic location WORD",
    "<timezone|dst> continent Europe location WORD",
    "<timezone|dst> continent Australia location WORD",
    "<timezone|dst> continent Pacific location WORD",
    "no timezone",
]
SET_DST = "Set DST(Before using DST, please configure commands to enable ntp server.)"


@pytest.fixture
def session(bench: Bench) -> Vty:
    return bench.vty(bench.daemon())


def offered(help_text: bytes) -> dict[str, str]:
    """The words of a help and what it says to each."""
    lines = help_text.decode().split("\r\n")
    assert (lines[0], lines[-1]) == ("", "")
    found = [re.fullmatch(r"  (\S+) +(.*)", line) for line in lines[1:-1]]
    assert all(found), help_text
    return {match[1]: match[2] for match in found if match is not None}


@pytest.mark.parametrize(
    ("line", "words"),
    [
        (
            "",
            {
                "dst": SET_DST,
                "exit": "Exit current mode and down to previous mode",
                "no": "Negate a command or set its defaults",
                "ntp": "Configure NTP",
                "show": "Show running system information",
                "timezone": "Time zone configuration.",
            },
        ),
        (
            "ntp ",
            {"disable": "Disable NTP protocol", "enable": "Enable NTP protocol", "server": "Configure NTP server"},
        ),
        ("ntp server ", {"HOST": "Hostname or IP address of peer"}),
        ("ntp server a ", {"HOST": "Hostname or IP address of slave", "<cr>": ""}),
        ("ntp server a b ", {"<cr>": ""}),
        ("ntp enable ", {"<cr>": ""}),
        ("show ", {"ntp": "Show NTP information.", "timezone": "Show the current time zone"}),
        ("show ntp ", {"json": "JavaScript Object Notation", "<cr>": ""}),
        ("no ", {"timezone": "Time zone configuration."}),
        ("timezone ", {"continent": "Select Continent"}),
        ("dst ", {"continent": "Select Continent"}),
        ("timezone continent ", {continent: "Continent" for continent in sorted(LOCATION_HELP)}),
        ("timezone continent Pacific ", {"location": "Select Location"}),
    ],
    ids=lambda value: repr(value) if isinstance(value, str) else "",
)
def test_help_in_the_node(session: Vty, line: str, words: dict[str, str]) -> None:
    assert offered(session.help(line)) == words


@pytest.mark.parametrize("continent", LOCATION_HELP)
@pytest.mark.parametrize("word", ["timezone", "dst"])
def test_help_of_locations(session: Vty, word: str, continent: str) -> None:
    # Byte for byte: what a session may strip or wrap is not left out.
    expected = f"\r\n  WORD  {LOCATION_HELP[continent]}\r\n".encode()
    assert session.help(f"{word} continent {continent} location ") == expected


def test_help_outside_the_node(session: Vty) -> None:
    session.command("exit")
    assert offered(session.help("ntp")) == {"ntp": "NTP Configuration interface"}
    assert offered(session.help("ntp ")) == {"terminal": "Configuration terminal", "<cr>": ""}
    assert offered(session.help("debug "))["ntp"] == "Debug ntp"
    assert offered(session.help("debug ntp ")) == {"off": "Disable debug ntp", "on": "Enable debug ntp"}


@pytest.mark.parametrize("line", ["second", "second ", "no second", "no s"])
def test_second_is_not_offered(session: Vty, line: str) -> None:
    assert b"second" not in session.help(line)
    # Completion adds nothing to what was typed.
    assert session.complete(line).decode().endswith(f"lab(config-ntp)# {line}")


def test_second_is_accepted(session: Vty) -> None:
    assert session.command("second ntp server2 b") == b""
    assert session.command("no second ntp server2") == b""


def test_completion(session: Vty) -> None:
    assert session.complete("sh").endswith(b"show ")
    assert session.complete("no ").endswith(b"no timezone ")


def test_commands_and_their_order(session: Vty) -> None:
    """As installed; `find` looks through every node's commands in that order."""
    found = session.command("find exit|ntp|timezone").decode().split("\r\n")
    assert [line.split(None, 1)[1] for line in found if line.startswith("  (ntp)  ")] == IN_NODE
    in_config = [line.split(None, 1)[1] for line in found if line.startswith("  (config)  ")]
    assert in_config[-2:] == ["ntp [terminal]", "debug ntp <on|off>"]
    elsewhere = [line for line in found if line.startswith(("  (view)", "  (enable)"))]
    assert not [line for line in elsewhere if " ntp" in line or "timezone" in line]


def test_order_in_the_configuration_node(session: Vty) -> None:
    session.command("exit")
    listed = session.command("list").decode().split("\r\n")
    assert [line.strip() for line in listed[-3:-1]] == ["ntp [terminal]", "debug ntp <on|off>"]


def test_ways_in_and_out(bench: Bench) -> None:
    session = bench.vty(bench.daemon(), "view")
    for line, prompt in [
        ("", b"lab> "),
        ("enable", b"lab# "),
        ("configure terminal", b"lab(config)# "),
        ("ntp", b"lab(config-ntp)# "),
        ("exit", b"lab(config)# "),
        ("ntp terminal", b"lab(config-ntp)# "),
        ("exit", b"lab(config)# "),
        ("exit", b"lab# "),
    ]:
        assert session.command(line) == b""
        assert session.prompt == prompt


def test_prompt_follows_the_host_name(session: Vty) -> None:
    session.command("exit")
    session.command("hostname olt-7")
    session.command("ntp")
    assert session.prompt == b"olt-7(config-ntp)# "


@pytest.mark.parametrize("node", ["view", "enable", "config"])
def test_shows_are_known_in_the_node_only(bench: Bench, node: str) -> None:
    session = bench.vty(bench.daemon(), node)
    for line in ("show ntp", "show ntp json", "show timezone"):
        assert session.command(line) == b"%% [HORAD] Unknown command: %s\r\n" % line.encode()


@pytest.mark.parametrize("line", ["show ntp_global_var", "show ntp json more", "ntp server a b c", "ntp on", "second"])
def test_unknown_lines(session: Vty, line: str) -> None:
    answer = session.command(line)
    assert answer.startswith(b"% ")
    assert session.command("show ntp json").count(b'"0.0.0.0"') == 2


def test_abbreviations(session: Vty) -> None:
    assert session.command("nt ser a b") == b""
    assert session.command("sec nt server2 c") == b""
    assert b'"server":"a"' in session.command("sh nt js")
    assert b'"secondServer":"c"' in session.command("sh nt js")
    assert session.command("no sec nt ser") == b""
    assert b'"secondServer":""' in session.command("sh nt js")
    assert session.command("sh ti") == b"Current system time zone : Europe-London GMT+0000\r\r\n"
    assert session.command("ex") == b""
    assert session.prompt == b"lab(config)# "
