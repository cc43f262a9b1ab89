# SPDX-License-Identifier: GPL-2.0-or-later
"""horadctl: command lines, from its arguments, from its input and at a terminal."""
from __future__ import annotations

import os
import re
import signal
import subprocess
import time
from pathlib import Path
from typing import Any

import pytest

from lab import PROJECT, Daemon, wait_for
from lab.bench import PRIMARY, Bench
from lab.ctl import SOCKET, TYPIST, Ctl, Told, socket_at, type_at_terminal, with_module

NO_DAEMON = f"horadctl: {SOCKET}: no daemon there: is horad running (systemctl status horad), with another --socket?\n"
UNKNOWN = "% [HORAD] Unknown command: bogus\n"
OFF = "NTP protcol is disable!\n"


def listening(bench: Bench, **options: Any) -> Daemon:
    """A daemon with its socket where the unit has it."""
    return bench.daemon(arguments=socket_at(bench.world), **options)


@pytest.fixture
def ctl(bench: Bench) -> Ctl:
    return Ctl(bench.world, bench.build)


# --- lines as arguments


def test_words(bench: Bench, ctl: Ctl) -> None:
    listening(bench)
    told = ctl("show", "ntp", "json")
    assert (told.status, told.stderr) == (0, "")
    assert told.json == {"status": False, "server": "0.0.0.0", "secondServer": "0.0.0.0", "continentCity": "Europe London"}
    # Plain line ends, where telnet has "\r\r\n".
    assert ctl("show", "ntp").stdout == OFF


def test_lines_in_order(bench: Bench, ctl: Ctl) -> None:
    listening(bench)
    told = ctl("-c", f"ntp server {PRIMARY}", "-c", "ntp enable", "-c", "show ntp")
    assert (told.status, told.stdout) == (0, f"NTP server is {PRIMARY}, 0.0.0.0.\nTime Zone is Europe-London.\n")


def test_each_line_begins_in_the_daemons_node(bench: Bench, ctl: Ctl) -> None:
    listening(bench)
    told = ctl("-c", "exit", "-c", "end", "-c", "debug ntp on", "-c", "do write terminal", "-c", "show ntp")
    assert told.status == 0
    assert told.stdout.endswith("!\n" + OFF)


def test_a_refused_line_does_not_end_the_others(bench: Bench, ctl: Ctl) -> None:
    listening(bench)
    told = ctl("-c", "bogus", "-c", "show ntp")
    assert (told.status, told.stdout, told.stderr) == (1, UNKNOWN + OFF, "")
    assert ctl("ntp", "server").stdout == "% Command incomplete.\n"
    assert ctl("ntp", "server").status == 1


def test_a_line_refused_without_a_word(bench: Bench, ctl: Ctl) -> None:
    listening(bench)
    line = "timezone continent Europe location Nowhere"
    assert ctl("-c", f"ntp server {PRIMARY}", "-c", "ntp enable").status == 0
    told = ctl(*line.split())
    assert (told.status, told.stdout) == (1, "")
    assert told.stderr == f"horadctl: refused: {line}: journalctl -u horad has the reason\n"


def test_another_socket(bench: Bench, ctl: Ctl) -> None:
    bench.daemon(arguments=socket_at(bench.world, "/run/elsewhere"))
    assert ctl("--socket", "/run/elsewhere/horad.vty", "show", "ntp").stdout == OFF
    assert ctl("show", "ntp").status == 2


def test_a_large_answer(bench: Bench, ctl: Ctl) -> None:
    listening(bench)
    told = ctl("list", "permutations")
    assert told.status == 0
    assert len(told.stdout) > 10_000
    assert {"  exit", "  ntp terminal"} < set(told.stdout.splitlines())


# --- lines of the standard input


def test_all_lines_of_the_input(bench: Bench, ctl: Ctl) -> None:
    listening(bench)
    lines = f"! a remark\n\nntp server {PRIMARY} {PRIMARY}\r\nbogus\n  \nshow ntp json\nshow timezone"
    told = ctl(input=lines)
    assert told.status == 1
    assert told.stdout.startswith(UNKNOWN + "{\n")
    assert told.stdout.endswith("}\nCurrent system time zone : Europe-London GMT+0000\n")


def test_line_ends_of_other_systems(bench: Bench, ctl: Ctl) -> None:
    """They are no part of a line, not even where it is named."""
    listening(bench)
    assert ctl("-c", f"ntp server {PRIMARY}", "-c", "ntp enable").status == 0
    line = "timezone continent Europe location Nowhere"
    told = ctl(input=f"{line}\r\n")
    assert told.stderr == f"horadctl: refused: {line}: journalctl -u horad has the reason\n"


def test_a_thousand_lines(bench: Bench, ctl: Ctl) -> None:
    daemon = listening(bench)
    before = len(os.listdir(f"/proc/{daemon.pid}/fd"))
    told = ctl(input="show ntp\n" * 1000)
    assert (told.status, told.stdout) == (0, OFF * 1000)
    wait_for("the sessions' end", lambda: len(os.listdir(f"/proc/{daemon.pid}/fd")) <= before)


def test_no_lines(bench: Bench, ctl: Ctl) -> None:
    listening(bench)
    for lines in ("", "\n", " \n\n"):
        assert ctl(input=lines) == Told(0, "", "")


def test_lines_that_cannot_be_sent(bench: Bench, ctl: Ctl) -> None:
    """Lines that would leave both sides waiting, or be taken for two."""
    listening(bench)
    told = ctl(input=b"show ntp\n" + b"a" * 4095 + b"\nno\0timezone\n" + b"a" * 4094 + b"\nshow ntp\n")
    assert told.status == 1
    assert told.stderr == (
        "horadctl: not sent: a line of more than 4094 characters: shorten it\n"
        "horadctl: not sent: a line with a NUL byte in it: is this text?\n"
    )
    assert told.stdout == f"{OFF}% [HORAD] Unknown command: {'a' * 4094}\n{OFF}"


# --- no daemon, or none that can be talked to


def test_no_daemon(ctl: Ctl) -> None:
    for words in (["show", "ntp"], ["-c", "show ntp", "-c", "show ntp"], ["status"], ["status", "--json"]):
        told = ctl(*words)
        assert (told.status, told.stdout, told.stderr) == (2, "", NO_DAEMON)
    told = ctl(input="show ntp\nshow ntp\n")
    assert (told.status, told.stderr) == (2, NO_DAEMON)


def test_a_dead_daemons_socket(bench: Bench, ctl: Ctl) -> None:
    daemon = listening(bench)
    daemon.stop()
    told = ctl("show", "ntp")
    assert (told.status, told.stderr) == (2, NO_DAEMON.replace("no daemon there", "nobody listens there"))


def test_no_permission(bench: Bench, ctl: Ctl) -> None:
    listening(bench)
    told = ctl("show", "ntp", before=["setpriv", "--reuid", "65534", "--regid", "65534", "--clear-groups", "--"])
    assert (told.status, told.stderr) == (2, f"horadctl: {SOCKET}: permission denied: run this as root\n")


def test_the_wrong_socket(bench: Bench, ctl: Ctl) -> None:
    listening(bench)
    told = ctl("--socket", "/etc/hosts", "show", "ntp")
    assert told.status == 2
    assert told.stderr.startswith("horadctl: /etc/hosts: nobody listens there: ")


def stopped(bench: Bench, ctl: Ctl, *words: str) -> tuple[Daemon, subprocess.Popen[bytes]]:
    """A daemon that holds still, and a horadctl that waits for it."""
    daemon = listening(bench)
    daemon.send_signal(signal.SIGSTOP)
    process = ctl.start(*words)
    time.sleep(1)
    assert process.poll() is None
    return daemon, process


def test_a_daemon_that_dies_in_the_middle(bench: Bench, ctl: Ctl) -> None:
    daemon, process = stopped(bench, ctl, "-c", "show ntp", "-c", "show ntp")
    daemon.kill()
    told = ctl.told(process)
    assert (told.status, told.stdout) == (2, "")
    assert told.stderr == f"horadctl: {SOCKET}: the daemon went away in the middle of an answer: see journalctl -u horad\n"


def test_a_wedged_daemon_is_waited_for(bench: Bench, ctl: Ctl) -> None:
    daemon, process = stopped(bench, ctl, "show", "ntp")
    daemon.send_signal(signal.SIGCONT)
    told = ctl.told(process)
    assert (told.status, told.stdout) == (0, OFF)


def test_an_interrupt_ends_the_waiting(bench: Bench, ctl: Ctl) -> None:
    daemon, process = stopped(bench, ctl, "show", "ntp")
    process.send_signal(signal.SIGINT)
    assert ctl.told(process).status == -signal.SIGINT
    # The daemon does not mind.
    daemon.send_signal(signal.SIGCONT)
    assert ctl("show", "ntp").stdout == OFF


# --- its own files


def test_no_standard_output(bench: Bench, ctl: Ctl) -> None:
    listening(bench)
    for redirect, reason in ((">&-", "Bad file descriptor"), (">/dev/full", "No space left on device")):
        told = ctl("-c", "show ntp", "-c", "show ntp", redirect=redirect)
        assert (told.status, told.stdout) == (1, "")
        assert told.stderr == f"horadctl: cannot write to standard output: {reason}: is it closed, or its disk full?\n"


def test_a_reader_that_has_enough(bench: Bench, ctl: Ctl) -> None:
    """As "| head" does: the end without a word."""
    listening(bench)
    told = ctl("list", "permutations", before=["sh", "-c", '"$@" | head -n 1; exit 0', "sh"])
    assert (told.stdout, told.stderr) == ("  exit\n", "")


@pytest.mark.parametrize("are_arguments", [True, False])
def test_all_lines_are_run_without_their_output(bench: Bench, ctl: Ctl, are_arguments: bool) -> None:
    """A configuration is not carried out in part for a full disk, or a reader that has enough."""
    listening(bench)
    lines = ["show ntp", f"ntp server {PRIMARY}", "ntp enable", "show ntp"]
    words = [word for line in lines for word in ("-c", line)] if are_arguments else []
    text = "" if are_arguments else "\n".join(lines)

    full = "horadctl: cannot write to standard output: No space left on device: is it closed, or its disk full?\n"
    assert ctl(*words, input=text, redirect=">/dev/full") == Told(1, "", full)
    assert ctl("show", "ntp").stdout.startswith(f"NTP server is {PRIMARY}")
    assert ctl("ntp", "disable").status == 0
    nobody_reads = ["sh", "-c", '{ sleep 0.5; "$@"; echo "status $?" >&2; } | true', "sh"]
    assert ctl(*words, input=text, before=nobody_reads) == Told(0, "", "status 1\n")
    assert ctl("show", "ntp").stdout.startswith(f"NTP server is {PRIMARY}")


def test_no_standard_input(bench: Bench, ctl: Ctl) -> None:
    listening(bench)
    for redirect, reason in (("<&-", "Bad file descriptor"), ("</tmp", "Is a directory")):
        told = ctl(redirect=redirect)
        assert told.status == 1
        assert told.stderr == f"horadctl: cannot read standard input: {reason}: is it closed, or a folder?\n"


# --- at a terminal


def plain(screen: str) -> str:
    """Without what moves the cursor."""
    return re.sub(r"\x1b\[[0-9;]*[A-Za-z]", "", screen)


def test_prompt(bench: Bench, ctl: Ctl) -> None:
    listening(bench)
    status, shown = type_at_terminal(ctl, "show ntp\n", "\x1b[A\n", "exit\n")
    assert plain(shown[0]) == "horad# "
    assert plain(shown[1]).endswith(f"\n{OFF}horad# ")
    # The line before, fetched by the arrow key.
    assert f"show ntp\n{OFF}horad# " in plain(shown[2])
    assert status == 0


def test_prompt_ends_with_the_input(bench: Bench, ctl: Ctl) -> None:
    listening(bench)
    status, shown = type_at_terminal(ctl, "bogus\n", "\x04")
    assert UNKNOWN in plain(shown[1])
    assert status == 1


def test_prompt_completes(bench: Bench, ctl: Ctl) -> None:
    listening(bench)
    status, shown = type_at_terminal(ctl, "sho\tntp\tj\t\n", "ntp \t\t", "\x15timezone continent ?\n", "exit\n")
    assert '"status":false,' in shown[1]
    assert re.search(r"disable +enable +server", plain(shown[2]))
    listed = plain(shown[3]).split("?\n")[1].split("horad#")[0].split()
    assert listed == ["Africa", "America", "Asia", "Atlantic", "Australia", "Europe", "Indian_Ocean", "Pacific"]
    assert status == 0


def test_prompt_drops_a_line_on_interrupt(bench: Bench, ctl: Ctl) -> None:
    listening(bench)
    status, shown = type_at_terminal(ctl, "bogus", "\x03", "show ntp\n", "exit\n")
    assert plain(shown[2]).endswith("horad# ")
    assert OFF in plain(shown[3])
    assert status == 0


def test_prompt_takes_letters_beyond_ascii(bench: Bench, ctl: Ctl) -> None:
    """They are sent as they were typed."""
    listening(bench)
    with_letters = {"LANG": "C.UTF-8", "LC_ALL": ""}
    status, shown = type_at_terminal(ctl, "hostname grün-ß\n", "no hostname\n", "\x1b[A\x1b[A\n", "exit\n", environment=with_letters)
    assert status == 0
    assert ctl("do", "show", "running-config").stdout.count("\nhostname grün-ß\n") == 1
    assert "hostname grün-ß" in plain(shown[1]) and " grün-ß\nhorad# " in plain(shown[3])


def test_prompt_without_a_daemon(ctl: Ctl) -> None:
    status, shown = type_at_terminal(ctl, "exit\n")
    assert status == 2
    assert shown[0] == NO_DAEMON


def test_prompt_gives_up_an_answer_on_interrupt(bench: Bench, ctl: Ctl) -> None:
    """And finds the daemon again afterwards."""
    bench.polling("ntp1.lab", arguments=socket_at(bench.world), lookup_sleep=6)
    status, shown = type_at_terminal(ctl, "show ntp\n", "\x03", "exit\n", quiet=1)
    assert "horadctl: interrupted; the daemon may still carry the line out" in plain(shown[2])
    assert status == 0


# --- about itself


def test_help_and_version(ctl: Ctl) -> None:
    told = ctl("--help")
    assert (told.status, told.stderr) == (0, "")
    assert told.stdout.startswith("usage: horadctl ")
    assert all(len(line) <= 80 for line in told.stdout.splitlines())
    version = re.search(r"project\(horad VERSION (\S+)", (PROJECT / "CMakeLists.txt").read_text())
    assert version is not None
    assert re.fullmatch(rf"horadctl version {re.escape(version[1])}\nrevision \S+\n", ctl("--version").stdout)
    assert f'"horad {version[1]}"' in (PROJECT / "docs" / "horadctl.1").read_text()


def test_manual_page_and_help_have_every_option(ctl: Ctl) -> None:
    page = (PROJECT / "docs" / "horadctl.1").read_text().replace("\\-", "-")
    options = set(re.findall(r"--[a-z]+", ctl("--help").stdout))
    assert options == set(re.findall(r"--[a-z]+", page)) - {"--vty"}
    completed = (PROJECT / "packaging" / "horadctl.bash").read_text()
    assert options == set(re.findall(r"--[a-z]+", completed))


def test_wrong_options(ctl: Ctl) -> None:
    told = ctl("steps", "--bogus")
    assert (told.status, told.stdout) == (1, "")
    assert told.stderr == "horadctl: unknown or ambiguous option --bogus: see horadctl --help\n"


# --- bash


def completed(*words: str) -> list[str]:
    """What bash offers for the last of the words."""
    script = f"""
    . {PROJECT}/packaging/horadctl.bash
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
    _horadctl
    printf '%s\\n' "${{COMPREPLY[@]}}"
    """
    done = subprocess.run(["bash", "-c", script, "bash", "horadctl", *words], capture_output=True, text=True, check=True)
    assert done.stderr == ""
    return sorted(done.stdout.split())


def test_bash_completes_options_and_own_words() -> None:
    assert completed("st") == ["status", "steps"]
    assert completed("--s") == ["--socket"]
    assert completed("steps", "--s") == ["--since", "--socket", "--svg"]
    assert completed("--socket", "/s", "wait", "--t") == ["--timeout"]
    assert completed("steps", "--last", "") == []
    assert completed("show", "--") == []
    assert str(PROJECT / "README.md") in completed("--database", str(PROJECT / "READ"))


def test_bash_completes_after_an_option_with_a_sign() -> None:
    """bash makes three words of --last=3."""
    assert completed("--socket", "=", "/s", "st") == ["status", "steps"]
    assert completed("steps", "--last", "=", "3", "--j") == ["--json"]
    assert completed("steps", "--last", "=") == completed("steps", "--last", "=", "3") == []
    readme = str(PROJECT / "README.md")
    assert completed("--database", "=", readme[:-3]) == [readme]
    assert "README.md" in completed("steps", "--svg", "=")


def typed_in_bash(folder: Path, line: str) -> str:
    """What an interactive bash runs when the tabulator is pressed after a line."""
    script = f"""
    cd {folder}
    bind 'set enable-bracketed-paste off'
    . {PROJECT}/packaging/horadctl.bash
    horadctl() {{ printf 'ran'; printf ' <%s>' "$@"; echo; }}
    """
    (folder / "rc").write_text(script)
    typist = ["/usr/bin/python3", "-c", TYPIST, "1", "/bin/bash", "--noprofile", "--rcfile", str(folder / "rc"), "-i"]
    done = subprocess.run(typist, input=f"horadctl {line}\t|\n|exit\n", capture_output=True, text=True, check=True)
    found = re.search(r"ran( <.*>)\r?\n", done.stdout)
    assert found is not None, done.stdout
    return found[1].strip()


@pytest.mark.parametrize("line, run", [
    ("steps --database su", "<steps> <--database> <sub/>"),
    ("steps --database sub/o", "<steps> <--database> <sub/one.db>"),
    ("steps --svg di", "<steps> <--svg> <dir one/>"),
    ("--socket=su", "<--socket=sub/>"),
    ("--socket=sub/o", "<--socket=sub/one.db>"),
    ("--socket=sub/ stat", "<--socket=sub/> <status>"),
])
def test_bash_completes_names_of_files(tmp_path: Path, line: str, run: str) -> None:
    """Folders can be gone on from, names with blanks stay one word."""
    (tmp_path / "sub").mkdir()
    (tmp_path / "sub" / "one.db").touch()
    (tmp_path / "dir one").mkdir()
    assert typed_in_bash(tmp_path, line) == run


def test_bash_completes_what_the_daemon_knows(bench: Bench, ctl: Ctl) -> None:
    """The same as the prompt, which asks the daemon; the module's command is there, too."""
    bench.daemon(arguments=with_module(bench.world, bench.build))
    lines = ["", "debug ", "do ", "do write ", "no ", "no second ntp ", "ntp ", "show ", "show ntp ", "show ntp status ", "timezone ", "dst continent ",
             "timezone continent Asia "]
    _, shown = type_at_terminal(ctl, *(f"{line}?\n" for line in lines), "exit\n")
    for line, screen in zip(lines, shown[1:]):
        listed = plain(screen).split("?\n")[1].split("horad#")[0].split()
        own = set() if line else {"status", "steps", "wait"}
        assert set(completed(*line.split(), "")) - own == set(listed) - {"exit"}, line
