# SPDX-License-Identifier: GPL-2.0-or-later
"""The lab's world: its networks, its folders, and the processes in it."""
from __future__ import annotations

import os
import socket
import subprocess
import sys
from pathlib import Path
from typing import BinaryIO, Mapping, Sequence

from . import kernel, places

PROJECT = Path(__file__).resolve().parents[1]

# Only files: a name that is not listed is unknown at once, and no query ever
# leaves the lab.
_NAME_FILES = {
    "/etc/nsswitch.conf": "passwd: files\ngroup: files\nhosts: files\n",
    "/etc/hosts": "127.0.0.1 localhost\n"
    + "".join(f"{address} ntp{n}.lab\n" for n, address in enumerate(places.SERVER_ADDRESSES, 1)),
    "/etc/resolv.conf": "",
}
_FOLDERS = ("/etc/frr", "/run/frr", "/var/lib", "/var/log", "/var/tmp")
_ENVIRONMENT = {"PATH": "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", "LANG": "C.UTF-8"}


def _clear(folder: Path, keep: Sequence[str] = ()) -> None:
    """Empties a private folder.  What is mounted inside it is somebody else's."""
    device = folder.lstat().st_dev
    for entry in os.scandir(folder):
        status = entry.stat(follow_symlinks=False)
        if status.st_dev != device or entry.name in keep:
            continue
        if entry.is_dir(follow_symlinks=False):
            _clear(Path(entry.path))
            try:
                os.rmdir(entry.path)
            except OSError:
                pass  # leads to something mounted
        else:
            os.unlink(entry.path)


class Unavailable(RuntimeError):
    """The lab cannot be had on this machine, and why."""


class World:
    """Namespaces for one daemon and its servers; all of it ends with this object.

    Use it as a context manager.  `visible` names further folders that processes
    of the lab have to see (the project is always there).
    """

    def __init__(self, visible: Sequence[Path] = ()) -> None:
        self._processes: list[subprocess.Popen[bytes]] = []
        self._opened: list[int] = []
        # By the names that they are called by, too.
        folders = {str(path) for folder in (PROJECT, *visible) for path in (folder.absolute(), folder.resolve())}
        self._holder = subprocess.Popen(
            [sys.executable, "-m", "lab.holder", *sorted(folders)],
            cwd=PROJECT,
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            start_new_session=True,
        )
        try:
            assert self._holder.stdout is not None
            answer = self._holder.stdout.readline().split()
            if answer[:1] != [b"ready"]:
                reason = b" ".join(answer).decode() or "the process that holds it has ended"
                raise Unavailable(f"the lab cannot be made, it needs root: {reason}")
            own = f"/proc/{int(answer[1])}"
            self.root = Path(f"{own}/root")
            self._mounts = f"{own}/ns/mnt"
            self._names = f"{own}/ns/uts"
            self._network_paths = {
                "daemon": f"{own}/fd/{places.DAEMON_NETWORK_FD}",
                "servers": f"{own}/fd/{places.SERVER_NETWORK_FD}",
            }
            self._networks = {name: self._open(path) for name, path in self._network_paths.items()}
            self._process_space = self._open(f"{own}/ns/pid")
            self._own_process_space = self._open("/proc/self/ns/pid")
            self.reset()
        except BaseException:
            self.close()
            raise

    def __enter__(self) -> World:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def close(self) -> None:
        """Ends every process of the lab, and with them its networks and folders."""
        for process in [*self._processes]:  # end() takes them off
            self.end(process)
        if self._holder.stdin is not None:
            self._holder.stdin.close()
        if self._holder.stdout is not None:
            self._holder.stdout.close()
        self._holder.wait()
        for fd in self._opened:
            os.close(fd)
        self._opened.clear()

    def _open(self, path: str) -> int:
        self._opened.append(os.open(path, os.O_RDONLY))
        return self._opened[-1]

    # --- folders

    def path(self, inside: str) -> Path:
        """Where this process finds what the lab's processes call `inside`.

        Absolute links inside are not to be followed: they lead out of the lab.
        """
        return self.root / inside.lstrip("/")

    def reset(self) -> None:
        """Gives the private folders their first content again."""
        for folder in places.PRIVATE_FOLDERS:
            _clear(self.path(folder), keep=places.KEPT_IN_ETC if folder == "/etc" else ("run",))
        for folder in _FOLDERS:
            self.path(folder).mkdir(parents=True)
        for name, text in _NAME_FILES.items():
            self.path(name).write_text(text)
        self.path("/etc/localtime").symlink_to("/usr/share/zoneinfo/Etc/UTC")

    # --- sockets

    def socket(self, network: str, kind: socket.SocketKind) -> socket.socket:
        """An IPv4 socket in the network "daemon" or "servers"."""
        return kernel.in_network(self._networks[network], lambda: socket.socket(socket.AF_INET, kind))

    # --- processes

    def spawn(
        self,
        network: str,
        command: Sequence[str],
        *,
        environment: Mapping[str, str] | None = None,
        stdout: BinaryIO | int = subprocess.DEVNULL,
        stderr: BinaryIO | int = subprocess.DEVNULL,
    ) -> subprocess.Popen[bytes]:
        """Starts a process of the lab.  Its `pid` is the command's own.

        Nothing in the lab has the capability to set the machine's clock, and
        nothing outlives it.
        """
        variables = {**_ENVIRONMENT, **(environment or {})}
        chain = [
            "nsenter", f"--net={self._network_paths[network]}", f"--mount={self._mounts}",
            # Entering a mount namespace leaves a chroot, and the project may be in one.
            f"--root={self.root}", f"--uts={self._names}", "--",
            "setpriv", "--pdeathsig", "KILL", "--bounding-set", "-sys_time", "--inh-caps", "-sys_time", "--",
            # ./test starts its parts in the background, where a shell lets them ignore Ctrl-C.
            "env", "-i", "--default-signal", *(f"{name}={value}" for name, value in variables.items()),
            *command,
        ]
        kernel.setns(self._process_space, kernel.CLONE_NEWPID)
        try:
            process = subprocess.Popen(
                chain, stdin=subprocess.DEVNULL, stdout=stdout, stderr=stderr, start_new_session=True
            )
        finally:
            kernel.setns(self._own_process_space, kernel.CLONE_NEWPID)
        self._processes.append(process)
        return process

    def end(self, process: subprocess.Popen[bytes]) -> None:
        """Ends a process that spawn() started, if it still runs."""
        if process.poll() is None:
            process.kill()
        process.wait()
        if process in self._processes:
            self._processes.remove(process)

    def orphans(self) -> list[int]:
        """The lab's processes that spawn() did not start: daemonised ones."""
        space = os.fstat(self._process_space).st_ino
        started = {process.pid for process in self._processes}
        found = []
        for name in os.listdir("/proc"):
            if not name.isdigit() or int(name) in started:
                continue
            try:
                if os.stat(f"/proc/{name}/ns/pid").st_ino != space:
                    continue
                status = Path(f"/proc/{name}/status").read_text()
            except OSError:
                continue
            if number_inside(status) != 1:
                found.append(int(name))
        return found


def number_inside(status: str) -> int:
    """The process's number in its own process namespace, from its /proc status."""
    line = next(line for line in status.splitlines() if line.startswith("NSpid:"))
    return int(line.split()[-1])



