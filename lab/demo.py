# SPDX-License-Identifier: GPL-2.0-or-later
"""Shows the daemon's main job in the lab, and leaves its prompt: what ./run starts.

    python3 -m lab.demo

The waits of the client pass a hundred times as fast as they would.
"""
from __future__ import annotations

import sys
from datetime import datetime, timezone

from lab import CONFIG, Build, Daemon, Shim, Unavailable, Vty, World, chrony, ntpsec, relay

FIRST, SECOND = "10.77.0.1", "10.77.0.2"
A_YEAR = 365 * 86400
BASE_CONFIG = "hostname olt\npassword lab\n"


def say(text: str) -> None:
    print(f"\n== {text}", flush=True)


def show(text: str) -> None:
    for line in text.splitlines():
        print(f"   {line}".rstrip(), flush=True)


def type_in(session: Vty, line: str) -> None:
    """Types a line as an operator would and shows what the session shows."""
    prompt = session.prompt.decode()
    answer = session.command(line).decode().replace("\r", "")
    show(f"{prompt}{line}\n{answer}")


def utc(seconds: float) -> str:
    return datetime.fromtimestamp(seconds, timezone.utc).strftime("%Y-%m-%d %H:%M:%S")


def last_line(daemon: Daemon) -> str:
    """The statistics line of the latest step."""
    return daemon.wait_stdout(b"\n").decode().strip().splitlines()[-1]


def set_the_clock(shim: Shim, daemon: Daemon, session: Vty) -> None:
    say(f"a real NTP server on {FIRST} (ntp1.lab), another on {SECOND} (ntp2.lab)")
    show(f"the daemon's clock was started a year late: {utc(datetime.now().timestamp() - A_YEAR)} UTC")
    say("the operator sets both servers and switches NTP on")
    type_in(session, "ntp server ntp1.lab ntp2.lab")
    type_in(session, "ntp enable")
    step = shim.wait_events("settimeofday")[-1]
    stored = shim.wait_events("diff_time")[-1]
    say("the clock is set, the hardware clock follows, the step is recorded")
    show(f"settimeofday to {utc(step['sec'])} UTC\n{shim.wait_events('system')[-1]['command']}")
    show(f"step stored in the configuration database: {stored['diff']} s\n{last_line(daemon)}")
    type_in(session, "show ntp")
    type_in(session, "show ntp json")
    type_in(session, "show ntp status")


def fail_over(shim: Shim, session: Vty) -> None:
    say("the first server dies; the operator asks for the time again")
    steps = len(shim.events("settimeofday"))
    requests = len(shim.events("sendto"))
    type_in(session, "ntp enable")
    shim.wait_events("settimeofday", steps + 1)
    for request in shim.events("sendto")[requests:]:
        show(f"request to {request['address']}")
    show("answered: the clock is set by the second server")


def write_back(world: World, session: Vty) -> None:
    say("a time zone is chosen, and the configuration is written")
    type_in(session, "timezone continent Europe location Paris")
    type_in(session, "show timezone")
    type_in(session, "do write file")
    show(world.path(CONFIG).read_text())


def main() -> int:
    with World(visible=Build().folders) as world:
        primary = chrony(world, FIRST)
        ntpsec(world, SECOND)
        shim = Shim(world, clock_offset=-A_YEAR, scale=0.01)
        module = str(Build().folder / "lib" / "horad_status.so")
        daemon = Daemon(world, config=BASE_CONFIG, arguments=["-M", module], shim=shim).start()
        session = daemon.vty()
        set_the_clock(shim, daemon, session)
        primary.stop()
        fail_over(shim, session)
        write_back(world, session)
        say("the daemon is started again and reads it")
        daemon.stop()
        daemon.start()
        session = daemon.vty()
        type_in(session, "show ntp")
        type_in(session, "show timezone")
        if sys.stdin.isatty():
            say('your turn ("?" helps, Ctrl-] leaves)')
            relay(session)
            print()
        say(f"the daemon ends with status {daemon.stop()}")
    return 0


try:
    sys.exit(main())
except KeyboardInterrupt:
    sys.exit(130)
except (AssertionError, Unavailable) as reason:  # what the daemon or a server said, or did not do
    sys.exit(f"demo: {reason}")
