# SPDX-License-Identifier: GPL-2.0-or-later
"""A safe place to run the daemon in, for the tests and for ./run.

Two networks joined by a wire: the daemon's (10.77.0.100) and its servers'
(10.77.0.1 to 10.77.0.9, also called ntp1.lab to ntp9.lab).  /etc, /tmp, /run and
/var are private, the clock cannot be set (the capability is gone for every
process of the lab; the preloaded library fakes it for the daemon), and all of it
is gone when this process is, however it ends.  Needs root.

    from lab import Build, Daemon, Shim, World, chrony, relay

    with World(visible=Build().folders) as world:   # networks, folders
        chrony(world, "10.77.0.1")              # a real server; also ntpsec()
        shim = Shim(world, clock_offset=-86400 * 365, scale=0.001)
        daemon = Daemon(world, Build(), shim=shim).start()
        session = daemon.vty("config-ntp")      # or "view", "enable", "config"
        session.command("ntp server ntp1.lab")  # -> bytes between echo and prompt
        session.command("ntp enable")
        shim.wait_events("settimeofday")        # -> [Event]; event["sec"]
        daemon.wait_stdout(b"\\n")               # the statistics line
        print(session.command("show ntp").decode())
        relay(session)                          # the operator's turn; Ctrl-] leaves
        daemon.stop()                           # -> exit status

    Build(folder)       a build of the daemon: bin/horad, lib/libclock_shim.so;
                        World(visible=build.folders) sees all that it is loaded from
    Daemon(world, build, config=TEXT|BYTES|None, arguments=[...],
           environment={...}, shim=Shim|None)
        .start(ready=True) .stop(signal) .wait() .send_signal() .kill() .pid
        .running .status .stdout() .stderr() .wait_stdout(bytes) .wait_stderr()
        .connect() .vty(node) .thread(name) .status_field("VmRSS")
    Shim(world, **settings)   settings: see lab/shim/shim.h
        .set(**settings) .fail("open", "EACCES", times=1, after="sleep")
        .call("set_system_timezone", "8:30") -> (result, stdout, stderr)   needs calls=1
        .cut_power(before="write 1") or (after="symlink")   kills the daemon there
        .skip(times)    ends waits of more than 200 s at once
        .events(*names) .wait_events(name, count, seconds) .requests(count)
    Vty: .login() .command(text) .help(text) .complete(text) .prompt .close()
    World: .path("/etc/frr/x")   the file as this process reaches it
           .socket("servers", SOCK_DGRAM) .spawn(network, command, ...)
           .reset() .orphans()
    chrony(world, address), ntpsec(world, address): .log() .stop()

Other time daemons than ours, and how long anything takes: lab/hurry.

HORAD_TIME_FACTOR stretches every deadline (slow builds, busy machines).
"""
from .build import DEFAULT_BUILD, Build
from .daemon import BASE_CONFIG, CONFIG, VTY_PORT, Daemon
from .places import DAEMON_ADDRESS, SERVER_ADDRESSES
from .servers.peers import Peer, chrony, ntpsec
from .shim import Called, Event, Shim
from .terminal import relay
from .times import TIME_FACTOR, Timeout, deadline, wait_for
from .vty import PASSWORD, Closed, Vty
from .world import PROJECT, Unavailable, World, number_inside

__all__ = [
    "BASE_CONFIG", "CONFIG", "DAEMON_ADDRESS", "DEFAULT_BUILD", "PASSWORD", "PROJECT", "SERVER_ADDRESSES",
    "TIME_FACTOR", "VTY_PORT", "Build", "Called", "Closed", "Daemon", "Event", "Peer", "Shim", "Timeout", "Unavailable",
    "Vty", "World", "chrony", "deadline", "ntpsec", "number_inside", "relay", "wait_for",
]
