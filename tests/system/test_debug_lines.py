# SPDX-License-Identifier: GPL-2.0-or-later
"""What "debug ntp on" shows of the client, byte for byte."""
from __future__ import annotations

import re
import time

from lab import Daemon, wait_for
from lab.bench import CALM, FAST, PRIMARY, SECONDARY, START, STRANGER, UNREACHABLE, Bench
from lab.servers.ntp_server import truthful
from lab.servers.packet import Packet, timestamp

NOW = timestamp(START)
STATUS = b"\r\n>>>>>>ntp_status =1, ntp_thread_state =1\r\n"
# The event loop's messages; they come between the client's as it happens.
CONTROL = re.compile(rb"\r\n>>>>>>[^\r\n]*\r\n")


def loop(text: str) -> bytes:
    return b"\r\n primary_loop: " + text.encode() + b"\n\r"


PASS = loop("enter for (;;).642")
TIMED_OUT = loop("enter if(ret(0) <=0).651")
ON = loop("continue(ret(0) <= 0).742")
SIGNALLED = loop("ISSET ntp_signal_pipe[0].749")
SIGNAL_DONE = loop("continue(FD_ISSET(ntp_signal_pipe)).789")
ARRIVED = b"\r\n rfc1305print: enter rfc1305print().388\n\r"
SOCKET = b"\r\n ntp client process : socket OK.\n\r" + b"\r\n ntp client process : bind OK.\n\r"
ENTERED = SOCKET + loop("enter primary_loop().")


def sending(server: str) -> bytes:
    return b"\r\n ntp_send_packet: sendto " + server.encode() + b". 305\n\r"


def request(server: str) -> bytes:
    """One pass that sends."""
    return PASS + TIMED_OUT + sending(server) + ON


def shown(daemon: Daemon, expected: bytes) -> None:
    """The client's lines begin with these."""

    def client_lines() -> bytes:
        return CONTROL.sub(b"", daemon.stdout())

    try:
        wait_for("the client's lines", lambda: len(client_lines()) >= len(expected))
    except AssertionError:
        pass  # the comparison tells what is missing
    assert client_lines()[: len(expected)] == expected


def test_start(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, debug=True)
    shown(daemon, ENTERED + request(PRIMARY) + PASS)
    daemon.wait_stdout(STATUS)
    control = CONTROL.findall(daemon.stdout())
    assert len(control) == 3
    assert control[0] == b"\r\n>>>>>>creating ntp client process thread.\r\n"
    assert re.fullmatch(rb"\r\n>>>>>>detach ntp thread. id=[1-9][0-9]*\r\n", control[1])
    assert control[2] == STATUS


def test_nothing_without_debug(bench: Bench) -> None:
    bench.server(SECONDARY, truthful(NOW))
    daemon = bench.polling(UNREACHABLE, SECONDARY, scale=0.005, clock_frozen=START)
    assert daemon.shim is not None
    daemon.shim.wait_events("flush")
    session = bench.vty(daemon)
    session.command("ntp enable")
    session.command("ntp disable")
    session.command("ntp enable")
    daemon.shim.wait_events("flush", 2)
    lines = daemon.stdout().splitlines()
    assert lines == [lines[0]] * len(lines)
    assert lines[0].startswith(b"44085 44800.000 ")


def test_debug_off_again(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, debug=True, scale=FAST)
    daemon.wait_stdout(sending(PRIMARY))
    bench.vty(daemon, "config").command("debug ntp off")
    time.sleep(0.01)  # the pass under way may still say something
    before = daemon.stdout()
    assert daemon.shim is not None
    sent = len(daemon.shim.events("sendto"))
    daemon.shim.requests(sent + 3)
    assert len(daemon.stdout()) - len(before) < len(request(PRIMARY))


def test_no_answer_and_failover(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, SECONDARY, debug=True, scale=FAST)
    to_second = loop("no response from pri_server, change ntp server to sec_server. 730")
    to_first = loop("no response from sec_server, change ntp server to pri_server. 730")
    first = request(PRIMARY) * 2 + PASS + TIMED_OUT + sending(PRIMARY) + to_second + ON
    second = request(SECONDARY) * 2 + PASS + TIMED_OUT + sending(SECONDARY) + to_first + ON
    shown(daemon, ENTERED + first + second + first)


def test_one_server_never_changes(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, debug=True, scale=FAST)
    shown(daemon, ENTERED + request(PRIMARY) * 5)


def test_failed_sending(bench: Bench) -> None:
    daemon = bench.polling(UNREACHABLE, SECONDARY, debug=True, scale=FAST)
    changed = loop("sent to pri_server fail, change ntp server to sec_server.")
    shown(daemon, ENTERED + PASS + TIMED_OUT + sending(UNREACHABLE) + changed + ON + request(SECONDARY))


def test_failed_sending_with_one_server(bench: Bench) -> None:
    daemon = bench.polling(UNREACHABLE, debug=True, scale=FAST)
    shown(daemon, ENTERED + request(UNREACHABLE) * 2)


def test_failed_lookup(bench: Bench) -> None:
    daemon = bench.polling("gone.lab", SECONDARY, debug=True, scale=FAST)
    failed = b"ntp get host by name failed\n"
    changed = loop("sent to pri_server fail, change ntp server to sec_server.")
    shown(daemon, ENTERED + PASS + TIMED_OUT + failed + changed + ON + request(SECONDARY))


def test_good_answer(bench: Bench) -> None:
    packet = Packet(originate=NOW, receive=timestamp(START + 90), transmit=timestamp(START + 90))
    bench.server(answer=lambda _: [packet])
    daemon = bench.polling(PRIMARY, debug=True, clock_frozen=START)
    saved = b"\r\nsave diff time(90) to database. ret 0\r\n"
    line = b"44085 44800.000       0.0      0.0  90000000.0      0.0         0\n"
    shown(daemon, ENTERED + request(PRIMARY) + PASS + ARRIVED + saved + line + PASS)


def test_result_of_the_database(bench: Bench) -> None:
    bench.world.path("/var/lib/file").write_text("no folder")
    bench.server(answer=truthful(timestamp(START - 90)))
    trouble = {"HORAD_CONFIG_DB": "/var/lib/file/config.db"}
    daemon = bench.polling(PRIMARY, debug=True, clock_frozen=START, environment=trouble)
    daemon.wait_stdout(b"\r\nsave diff time(-90) to database. ret -1\r\n")


def test_answer_of_a_stranger(bench: Bench) -> None:
    server, stranger = bench.server(), bench.server(STRANGER)
    daemon = bench.polling(PRIMARY, debug=True, clock_frozen=START)
    server.wait_requests(1)
    stranger.send(Packet(transmit=NOW))
    dropped = loop("check_source() error, continue.820")
    shown(daemon, ENTERED + request(PRIMARY) + PASS + dropped + PASS)


def test_bad_length(bench: Bench) -> None:
    bench.server(answer=lambda _: [b"short"])
    daemon = bench.polling(PRIMARY, debug=True)
    shown(daemon, ENTERED + request(PRIMARY) + PASS + b"Ooops.  pack_len=5\n" + PASS)


def test_unusable_answer(bench: Bench) -> None:
    bench.server(answer=lambda _: [Packet()])
    daemon = bench.polling(PRIMARY, SECONDARY, debug=True)
    changed = loop("pares ntp message fail, change ntp server and retry. 842")
    shown(daemon, ENTERED + request(PRIMARY) + PASS + ARRIVED + changed + request(SECONDARY))


def test_unusable_answer_with_one_server(bench: Bench) -> None:
    bench.server(answer=lambda _: [Packet()])
    daemon = bench.polling(PRIMARY, debug=True)
    shown(daemon, ENTERED + request(PRIMARY) + PASS + ARRIVED + request(PRIMARY))


def test_restart(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, debug=True, scale=CALM)
    daemon.wait_stdout(sending(PRIMARY) + ON + PASS)
    bench.vty(daemon).command("ntp enable")
    restarted = SIGNALLED + loop("NTP_SIG_RESTART.763") + SIGNAL_DONE
    shown(daemon, ENTERED + request(PRIMARY) + PASS + restarted + request(PRIMARY))
    running = b"\r\n>>>>>>ntp client process thread is running, restart sig will be send!\r\n"
    assert CONTROL.findall(daemon.stdout())[3:] == [running, STATUS]


def test_stop_and_restart(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, debug=True, scale=CALM)
    daemon.wait_stdout(sending(PRIMARY) + ON + PASS)
    session = bench.vty(daemon)
    session.command("ntp disable")
    stopped = ENTERED + request(PRIMARY) + PASS + SIGNALLED + loop("NTP_SIG_STOP.776") + SIGNAL_DONE + PASS
    shown(daemon, stopped)
    assert len(CONTROL.findall(daemon.stdout())) == 3  # disabling says nothing
    session.command("ntp enable")
    restarted = SIGNALLED + loop("NTP_SIG_RESTART.763") + SIGNAL_DONE
    shown(daemon, stopped + restarted + request(PRIMARY))


def test_week_of_a_stopped_client(bench: Bench) -> None:
    daemon = bench.polling(PRIMARY, debug=True)
    daemon.wait_stdout(sending(PRIMARY) + ON + PASS)
    bench.vty(daemon).command("ntp disable")
    daemon.wait_stdout(SIGNAL_DONE + PASS)
    assert daemon.shim is not None
    daemon.shim.skip()
    daemon.wait_stdout(SIGNAL_DONE + PASS + TIMED_OUT + loop("ret(0) <=0, ntp_is_stop.676") + PASS)


def test_answer_while_stopped(bench: Bench) -> None:
    server = bench.server()
    daemon = bench.polling(PRIMARY, debug=True)
    daemon.wait_stdout(sending(PRIMARY) + ON + PASS)
    session = bench.vty(daemon)
    session.command("ntp disable")
    daemon.wait_stdout(SIGNAL_DONE + PASS)
    server.send(Packet(transmit=NOW))
    # Again and again: the datagram stays where it is.
    daemon.wait_stdout(SIGNAL_DONE + PASS + (loop("ntp_is_stop, continue.799") + PASS) * 3)
    session.command("ntp enable")
    daemon.wait_stdout(ARRIVED)


def test_interrupted_wait(bench: Bench) -> None:
    daemon = bench.daemon(scale=FAST)
    assert daemon.shim is not None
    daemon.shim.fail("select", "EINTR", 2)
    session = bench.vty(daemon, "config")
    for line in ("debug ntp on", "ntp", f"ntp server {PRIMARY}", "ntp enable"):
        session.command(line)
    interrupted = PASS + loop("enter if(ret(-1) <=0).651") + loop("ntp select errno==EINTR.658")
    shown(daemon, ENTERED + interrupted * 2 + request(PRIMARY))
    assert daemon.shim.requests(1)[0].waited == 120


def test_failing_wait(bench: Bench) -> None:
    """Outside a wait of 0 or 120 s nothing is sent."""
    daemon = bench.daemon(scale=FAST)
    assert daemon.shim is not None
    daemon.shim.fail("select", "ENOMEM", 2)
    session = bench.vty(daemon, "config")
    for line in ("debug ntp on", "ntp", f"ntp server {PRIMARY}", "ntp enable"):
        session.command(line)
    failed = PASS + loop("enter if(ret(-1) <=0).651")
    on = loop("continue(ret(-1) <= 0).742")
    shown(daemon, ENTERED + failed + sending(PRIMARY) + on + failed + on + request(PRIMARY))
    assert [event.waited for event in daemon.shim.requests(2)[:2]] == [0, 30]
