# SPDX-License-Identifier: GPL-2.0-or-later
"""The process that holds the lab's namespaces together.

    python3 -m lab.holder FOLDER...

Makes two networks joined by a wire, private copies of the folders that the
daemon writes to, and a process namespace; reports "ready PID" on standard output, or
why it cannot, and stays until its parent is gone.  As the first process of that namespace it takes
everything that runs in the lab down with it.

FOLDER... are the folders that have to stay visible although they may lie below
one of those made private: the daemon's build, the lab's servers.
"""
from __future__ import annotations

import os
import shutil
import signal
import socket
import subprocess
import sys
from pathlib import Path

from . import kernel
from .places import (
    DAEMON_ADDRESS, DAEMON_NETWORK_FD, HOST_NAME, KEPT_IN_ETC, PRIVATE_FOLDERS, SERVER_ADDRESSES, SERVER_NETWORK_FD,
)


def run(*command: str) -> None:
    subprocess.run(command, check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                   pass_fds=(DAEMON_NETWORK_FD,))


def keep_network(fd: int) -> None:
    own = os.open("/proc/thread-self/ns/net", os.O_RDONLY)
    os.dup2(own, fd)
    os.close(own)


def make_networks() -> None:
    """Ends in the daemon's network, with the servers' one kept open."""
    kernel.unshare(kernel.CLONE_NEWNET)
    keep_network(DAEMON_NETWORK_FD)
    kernel.unshare(kernel.CLONE_NEWNET)
    keep_network(SERVER_NETWORK_FD)

    run("ip", "link", "set", "dev", "lo", "up")
    run("ip", "link", "add", "dev", "servers", "type", "veth", "peer", "name", "device")
    run("ip", "link", "set", "dev", "device", "netns", f"/proc/self/fd/{DAEMON_NETWORK_FD}")
    for address in SERVER_ADDRESSES:
        run("ip", "address", "add", f"{address}/24", "dev", "servers")
    run("ip", "link", "set", "dev", "servers", "up")

    kernel.setns(DAEMON_NETWORK_FD, kernel.CLONE_NEWNET)
    run("ip", "link", "set", "dev", "lo", "up")
    run("ip", "address", "add", f"{DAEMON_ADDRESS}/24", "dev", "device")
    run("ip", "link", "set", "dev", "device", "up")


def make_folders(visible: list[str]) -> None:
    kernel.unshare(kernel.CLONE_NEWNS)
    kernel.mount("none", "/", None, kernel.MS_REC | kernel.MS_PRIVATE)

    # Opened before anything is mounted over them.
    opened = {path: os.open(path, os.O_PATH) for path in visible}
    kept = Path("/proc/self/fd") / str(os.open("/etc", os.O_PATH))
    for folder in PRIVATE_FOLDERS:
        kernel.mount("lab", folder, "tmpfs", 0, "mode=0755")
    for name in KEPT_IN_ETC:
        source, copy = kept / name, Path("/etc") / name
        if source.is_dir():
            shutil.copytree(source, copy)
        elif source.exists():
            shutil.copyfile(source, copy)
    os.symlink("../run", "/var/run")  # relative: it stays in the lab from outside, too
    for path, fd in opened.items():
        if path.startswith(tuple(f"{folder}/" for folder in PRIVATE_FOLDERS)):
            os.makedirs(path, exist_ok=True)
            kernel.mount(f"/proc/self/fd/{fd}", path, None, kernel.MS_BIND | kernel.MS_REC)


def hold() -> None:
    """Waits for the parent's end of standard input to close; reaps what is orphaned."""
    signal.signal(signal.SIGCHLD, signal.SIG_IGN)
    # /proc is the machine's: this is our number as the parent sees it.
    print("ready", os.readlink("/proc/self"), flush=True)
    while os.read(0, 1):
        pass


def make(visible: list[str]) -> None:
    # Ctrl-C is for the parent: it ends us by going away.
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    kernel.die_with_parent()
    kernel.unshare(kernel.CLONE_NEWPID)
    child = os.fork()
    if child:
        os.waitpid(child, 0)
        return
    kernel.die_with_parent()
    make_folders(visible)
    kernel.unshare(kernel.CLONE_NEWUTS)
    socket.sethostname(HOST_NAME)
    make_networks()
    hold()


def main() -> None:
    try:
        make(sys.argv[1:])
    except (OSError, subprocess.CalledProcessError) as error:
        print(error)
        sys.exit(1)


if __name__ == "__main__":
    main()
