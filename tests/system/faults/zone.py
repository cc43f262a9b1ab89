# SPDX-License-Identifier: GPL-2.0-or-later
"""Scenarios: setting and taking away the zone, the list of its changes, daylight-saving time."""
from __future__ import annotations

import re
import signal

from lab import Daemon, Shim, Vty
from lab.bench import PRIMARY, Bench
from lab.exported import DUMP, TZ_FILE, ZONES, calls, content, link, years
from tests.models.zone_dump import LONDON_2020
from .fault import JULY, Fault, in_debian_12, lines_of, said, wait_faults


def zone_command(bench: Bench, fault: Fault) -> list[str]:
    """`timezone continent Europe location Paris`."""
    bench.server()
    daemon = bench.polling(PRIMARY, calls=1)
    assert daemon.shim is not None
    shim = daemon.shim
    session = bench.vty(daemon)
    fault.begin(shim)
    found = set_paris(bench, daemon, session)
    wait_faults(daemon, fault)
    fault.end(shim)
    again = set_paris(bench, daemon, session)
    return [*found, "the command again: " + ", ".join(again[:3])]


def linked(bench: Bench) -> str:
    target = link(bench.world)
    return "link missing" if target is None else f"link to {target.removeprefix(ZONES + '/')}"


def set_paris(bench: Bench, daemon: Daemon, session: Vty) -> list[str]:
    assert daemon.shim is not None
    out, err = len(daemon.stdout()), len(daemon.stderr())
    answer = lines_of(session.command("timezone continent Europe location Paris"))
    shown = session.command("show timezone").split()[5].decode()
    local = daemon.shim.call("localtime_r", JULY).result.split()[2]
    return [
        f"zone shown {shown}",
        linked(bench),
        f"local time {local}",
        *(f"vty `{line.strip()}`" for line in answer),
        *said(daemon.stdout()[out:], daemon.stderr()[err:]),
    ]


def zone_removal(bench: Bench, fault: Fault) -> list[str]:
    """`no timezone`."""
    daemon = bench.daemon()
    assert daemon.shim is not None
    session = bench.vty(daemon)
    fault.begin(daemon.shim)
    assert session.command("no timezone") == b""
    wait_faults(daemon, fault)
    shown = session.command("show timezone").split()[5].decode()
    found = [f"zone shown {shown}", linked(bench), *said(daemon.stdout(), daemon.stderr())]
    fault.end(daemon.shim)
    assert session.command("no timezone") == b""
    return [*found, "the command again: " + linked(bench)]


def zone_by_offset(bench: Bench, fault: Fault) -> list[str]:
    """`sync_sys_timezone("UTC-8")`, called inside the process."""
    bench.world.path("/etc/profile").write_bytes(b"umask 022\n")
    shim = calls(bench)
    fault.begin(shim)
    found = set_offset(bench, shim)
    shim.wait_events("fault", fault.failures)
    fault.end(shim)
    again = set_offset(bench, shim)
    return [*found, "the call again: " + ("all set" if again == ALL_SET else ", ".join(again))]


def set_offset(bench: Bench, shim: Shim) -> list[str]:
    answer = shim.call("sync_sys_timezone", "UTC-8")
    profile = content(bench.world, "/etc/profile") or b""
    done = {
        TZ_FILE: content(bench.world, TZ_FILE) == b"UTC-8",
        "TZ": shim.call("getenv", "TZ").result == "UTC-8",
        "local time": shim.call("localtime_r", 0).result.startswith("1970-01-01 08:00"),
        "profile": b"export TZ=UTC-8\n" in profile,
    }
    missing = [name for name, good in done.items() if not good]
    state = f"not set: {', '.join(missing)}" if missing else "all set"
    return [f"result {answer.result}", state, *said(answer.stdout, answer.stderr)]


ALL_SET = ["result 0", "all set", "prints nothing"]


def zone_dump(bench: Bench, fault: Fault) -> list[str]:
    """`zdump_main` for London's changes in 2020, called inside the process."""
    bench.world.path(DUMP).write_bytes(b"old\n")
    shim = calls(bench)
    fault.begin(shim)
    answer = years(shim, "2020,2021", "Europe/London")
    shim.wait_events("fault", fault.failures)
    found = [f"result {answer.result}", listed(bench), *said(answer.stdout, answer.stderr)]
    fault.end(shim)
    again = years(shim, "2020,2021", "Europe/London")
    assert again == (0, b"", b"")
    return [*found, "the call again: " + listed(bench)]


def listed(bench: Bench) -> str:
    text = content(bench.world, DUMP)
    if text is None:
        return "no list"
    old = " after the old list" if text.startswith(b"old\n") else ""
    lines = text.removeprefix(b"old\n").splitlines(keepends=True)
    whole = LONDON_2020.splitlines(keepends=True)
    count = sum(line in whole for line in lines)
    broken = ", some broken" if count < len(lines) else ""
    return f"{count} of {len(whole)} lines{broken}{old}"


def daylight_saving(bench: Bench, fault: Fault) -> list[str]:
    """`systemGetDstCfg` for London in July 2020, called inside the process."""
    shim = calls(bench)
    fault.begin(shim)
    found = ask_daylight_saving(shim)
    shim.wait_events("fault", fault.failures)
    fault.end(shim)
    return [*found, "the call again: " + ", ".join(ask_daylight_saving(shim)[:2])]


def ask_daylight_saving(shim: Shim) -> list[str]:
    answer = shim.call("systemGetDstCfg", 2020, JULY, "Europe/London")
    shown = [line for line in answer.stdout.split(b"\n") if line.startswith(b"acDstDump")]
    other = re.sub(rb"acDstDump\[\d\]: [^\n]*\n\r\n", b"", answer.stdout)
    return [f"result {answer.result}", f"{len(shown)} lines shown", *said(other, answer.stderr)]


def memory(bench: Bench, fault: Fault) -> list[str]:
    """`zdump_main`, without memory for a zone."""
    log = "/tmp/horad.log"
    daemon = bench.daemon(calls=1, arguments=["--log", f"file:{log}"], **fault.setting)
    assert daemon.shim is not None
    daemon.shim.ask("zdump_main", "zdump", "-c", "2020,2021", "-v", "Europe/London")
    status = daemon.wait()
    (reason,) = re.findall(rb"HORAD: (out of memory: .*) \d+ bytes (.*)", bench.world.path(log).read_bytes())
    return [
        f"the daemon ends with signal {signal.Signals(-status).name}",
        f"log `{reason[0].decode()} ... bytes {reason[1].decode()}`",
        in_debian_12(fault, f"stderr `{lines_of(daemon.stderr())[0]}`"),
    ]
