# SPDX-License-Identifier: GPL-2.0-or-later
"""What the service manager makes of the daemon's unit, as far as it can be had without it.

    python3 -m tests.package.unit_sandbox [--keep FOLDER] ROOT [COMMAND...]

runs the command line of the unit that is installed below ROOT, or COMMAND, under the
unit's restrictions.  ROOT/usr lies over the machine's /usr.  FOLDER stays writable,
and what is in it can be run; a library named by SANDBOX_PRELOAD is loaded with the
command alone.

It runs inside the lab only: with the right to set the clock, or in the machine's own
folders, it refuses.
"""
from __future__ import annotations

import argparse
import ctypes
import errno
import functools
import importlib
import mmap
import os
import re
import socket
import stat
import subprocess
import sys
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any, Callable, Iterable

from lab import kernel
from tests.package.unit_file import Unit

# Directives without a step below, and why.
LEFT = {
    "BindPaths": "part of TemporaryFileSystem",
    "DeviceAllow": "part of DevicePolicy",
    "DevicePolicy": "a filter of the control group, which only its manager may set",
    "Environment": "part of the command line",
    "EnvironmentFile": "part of the command line",
    "ExecStart": "part of the command line",
    "ExecStartPre": "a command line of its own",
    "KeyringMode": "no call for keys gets through the filter",
    "KillSignal": "how it is ended: the tests do it themselves",
    "LogsDirectoryMode": "part of LogsDirectory",
    "PrivateMounts": "every sandbox has mounts of its own",
    "ProtectControlGroups": "/sys is read-only as a whole",
    "ProtectProc": "part of ProcSubset",
    "ReadWritePaths": "part of ProtectSystem",
    "Restart": "what comes after the end",
    "RestartPreventExitStatus": "what comes after the end",
    "RestartSec": "what comes after the end",
    "StateDirectoryMode": "part of StateDirectory",
    "SystemCallErrorNumber": "part of SystemCallFilter",
    "TasksMax": "a limit of the control group",
    "TimeoutStopSec": "how it is ended: the tests do it themselves",
    "Type": "when it counts as started",
    "UnsetEnvironment": "part of the command line",
}

_FOLDERS = {"RuntimeDirectory": "/run", "StateDirectory": "/var/lib", "LogsDirectory": "/var/log"}

_CAPABILITIES = Path("/usr/include/linux/capability.h")
_MOUNT_SETATTR = 442
_READ_ONLY, _NO_EXEC = 1, 8
_MS_RDONLY = 1
_CLONE_NEWIPC = 0x08000000
_NAMESPACES = (0x00000080, 0x00020000, 0x02000000, 0x04000000, 0x08000000, 0x10000000, 0x20000000, 0x40000000)

_libc = ctypes.CDLL(None, use_errno=True)


# --- the steps, in the order in which they have to be taken


@dataclass
class Sandbox:
    unit: Unit
    keep: list[str]
    writable: list[str] = field(default_factory=list)
    filters: list[Any] = field(default_factory=list)
    last_filter: Any = None

    def words(self, directive: str) -> list[str]:
        return self.unit.words("Service", directive)

    def enter(self) -> None:
        refuse_outside_the_lab()
        # What is loaded or run for the filter, before the folders change.
        importlib.import_module("seccomp")
        call_groups()

        kernel.unshare(kernel.CLONE_NEWNS)
        kernel.mount("none", "/", None, kernel.MS_REC | kernel.MS_PRIVATE)
        if self.unit.root != Path("/"):
            kernel.mount("package", "/usr", "overlay", 0, f"lowerdir={self.unit.root}/usr:/usr")
        kept = [(path, os.open(path, os.O_PATH)) for path in self.keep]
        for directive, step in STEPS.items():
            lines = self.unit.service.get(directive)
            if lines is not None and lines != ["no"]:
                step(self, lines)
                if directive == "PrivateTmp":
                    for path, fd in kept:
                        os.makedirs(path, exist_ok=True)
                        bind(f"/proc/self/fd/{fd}", path)
        for found in (*self.filters, self.last_filter):
            if found is not None:
                found.load()


STEPS: dict[str, Callable[[Sandbox, list[str]], None]] = {}


def step(*directives: str) -> Callable[[Callable[..., None]], Callable[..., None]]:
    def register(function: Callable[..., None]) -> Callable[..., None]:
        STEPS.update(dict.fromkeys(directives, function))
        return function

    return register


def refuse_outside_the_lab() -> None:
    if capability_set("CapBnd") & {"CAP_SYS_TIME"}:
        sys.exit("unit_sandbox: this could set the machine's clock; run it in the lab")
    if not os.path.ismount("/etc"):
        sys.exit("unit_sandbox: these are the machine's own folders; run it in the lab")


# Its folders.


@step("UMask")
def umask(_: Sandbox, lines: list[str]) -> None:
    os.umask(int(lines[-1], 8))


def own_folder(directive: str) -> Callable[[Sandbox, list[str]], None]:
    def make(sandbox: Sandbox, lines: list[str]) -> None:
        mode = sandbox.words(f"{directive}Mode") or ["0755"]
        for name in " ".join(lines).split():
            path = f"{_FOLDERS[directive]}/{name}"
            os.makedirs(path, exist_ok=True)
            os.chmod(path, int(mode[-1], 8))
            sandbox.writable.append(path)

    return make


for _directive in _FOLDERS:
    step(_directive)(own_folder(_directive))


# What it sees.


@step("ProcSubset")
def private_proc(sandbox: Sandbox, lines: list[str]) -> None:
    visible = sandbox.words("ProtectProc") or ["default"]
    assert (lines, visible) == (["pid"], ["invisible"])
    kernel.mount("proc", "/proc", "proc", 0, "hidepid=invisible,subset=pid")


@step("PrivateTmp")
def private_tmp(sandbox: Sandbox, _: list[str]) -> None:
    for path in ("/tmp", "/var/tmp"):
        kernel.mount("tmp", path, "tmpfs", 0, "mode=1777")
        sandbox.writable.append(path)


@step("TemporaryFileSystem")
def temporary_folders(sandbox: Sandbox, lines: list[str]) -> None:
    bound = [(path, os.open(path, os.O_PATH)) for path in sandbox.words("BindPaths")]
    for word in " ".join(lines).split():
        path, options = word.split(":")
        assert options == "ro"
        os.makedirs(path, exist_ok=True)
        kernel.mount("nothing", path, "tmpfs", 0, "mode=0755")
    for path, fd in bound:
        os.makedirs(path)
        bind(f"/proc/self/fd/{fd}", path)


@step("ProtectSystem")
def read_only(sandbox: Sandbox, lines: list[str]) -> None:
    assert lines == ["strict"]
    change_mounts("/", add=_READ_ONLY)
    for path in ("/dev", "/proc", "/sys", *sandbox.words("ReadWritePaths"), *sandbox.writable, *sandbox.keep):
        bind(path, path)
        change_mounts(path, remove=_READ_ONLY)


@step("InaccessiblePaths")
def inaccessible(_: Sandbox, lines: list[str]) -> None:
    for word in " ".join(lines).split():
        path = word.lstrip("-")
        if word.startswith("-") and not os.path.exists(path):
            continue
        if os.path.isdir(path):
            kernel.mount("nothing", path, "tmpfs", _MS_RDONLY, "mode=0")
        else:
            bind("/dev/null", path)


@step("ProtectHome")
def no_homes(sandbox: Sandbox, _: list[str]) -> None:
    inaccessible(sandbox, ["-/home -/root -/run/user"])


@step("ProtectKernelLogs")
def no_kernel_logs(sandbox: Sandbox, _: list[str]) -> None:
    inaccessible(sandbox, ["-/dev/kmsg -/proc/kmsg"])
    sandbox.filters.append(refusing("syslog"))


@step("ProtectKernelModules")
def no_kernel_modules(sandbox: Sandbox, _: list[str]) -> None:
    inaccessible(sandbox, ["-/usr/lib/modules"])
    sandbox.filters.append(refusing("init_module", "finit_module", "delete_module"))


@step("ProtectKernelTunables")
def no_tunables(_: Sandbox, lines: list[str]) -> None:
    # There is no /proc/sys with processes only.
    change_mounts("/sys", add=_READ_ONLY)


@step("NoExecPaths")
def no_exec(sandbox: Sandbox, lines: list[str]) -> None:
    for word in " ".join(lines).split():
        path = word.lstrip("-")
        if not word.startswith("-") or os.path.exists(path):
            bind(path, path)
            change_mounts(path, add=_NO_EXEC)
    for path in sandbox.keep:
        change_mounts(path, remove=_NO_EXEC)


@step("PrivateIPC")
def private_ipc(_: Sandbox, __: list[str]) -> None:
    kernel.unshare(_CLONE_NEWIPC)


@step("ProtectHostname")
def own_host_name(sandbox: Sandbox, _: list[str]) -> None:
    kernel.unshare(kernel.CLONE_NEWUTS)
    sandbox.filters.append(refusing("sethostname", "setdomainname"))


# What it may do.


@step("CapabilityBoundingSet")
def bounding_set(_: Sandbox, lines: list[str]) -> None:
    kept = set(" ".join(lines).split())
    for number, name in capability_names().items():
        if name not in kept:
            prctl(24, number)


@step("NoNewPrivileges")
def no_new_privileges(_: Sandbox, __: list[str]) -> None:
    prctl(38, 1)


@step("RestrictAddressFamilies")
def families(sandbox: Sandbox, lines: list[str]) -> None:
    from seccomp import EQ, GT, Arg

    known = {int(getattr(socket, name)) for name in " ".join(lines).split()}
    others = [Arg(0, EQ, family) for family in range(max(known)) if family not in known]
    filter_ = passing()
    for argument in (*others, Arg(0, GT, max(known))):
        refuse(filter_, "socket", argument, error=errno.EAFNOSUPPORT)
    sandbox.filters.append(filter_)


@step("RestrictNamespaces")
def namespaces(sandbox: Sandbox, _: list[str]) -> None:
    filter_ = refusing("setns")
    for flag in _NAMESPACES:
        refuse(filter_, "unshare", has(0, flag))
        refuse(filter_, "clone", has(0, flag))
    # Its flags lie in memory, where a filter does not see them.
    refuse(filter_, "clone3", error=errno.ENOSYS)
    sandbox.filters.append(filter_)


@step("RestrictRealtime")
def no_realtime(sandbox: Sandbox, _: list[str]) -> None:
    from seccomp import EQ, Arg

    filter_ = passing()
    for policy in (os.SCHED_FIFO, os.SCHED_RR, 6):  # and by deadline
        refuse(filter_, "sched_setscheduler", Arg(1, EQ, policy))
    sandbox.filters.append(filter_)


@step("RestrictSUIDSGID")
def no_set_id_bits(sandbox: Sandbox, _: list[str]) -> None:
    filter_ = passing()
    modes = {"chmod": 1, "fchmod": 1, "creat": 1, "mkdir": 1, "mknod": 1, "fchmodat": 2, "mkdirat": 2, "mknodat": 2}
    for bit in (stat.S_ISUID, stat.S_ISGID):
        for call, argument in modes.items():
            refuse(filter_, call, has(argument, bit))
        for call, argument in {"open": 1, "openat": 2}.items():
            refuse(filter_, call, has(argument, os.O_CREAT), has(argument + 1, bit))
    refuse(filter_, "openat2", error=errno.ENOSYS)
    sandbox.filters.append(filter_)


@step("LockPersonality")
def one_personality(sandbox: Sandbox, _: list[str]) -> None:
    from seccomp import NE, Arg

    filter_ = passing()
    refuse(filter_, "personality", Arg(0, NE, _libc.personality(0xFFFFFFFF)))
    sandbox.filters.append(filter_)


@step("MemoryDenyWriteExecute")
def no_made_code(sandbox: Sandbox, _: list[str]) -> None:
    filter_ = passing()
    refuse(filter_, "mmap", has(2, mmap.PROT_WRITE | mmap.PROT_EXEC))
    for call in ("mprotect", "pkey_mprotect"):
        refuse(filter_, call, has(2, mmap.PROT_EXEC))
    refuse(filter_, "shmat", has(2, 0o100000))
    sandbox.filters.append(filter_)


@step("SystemCallArchitectures")
def native_only(_: Sandbox, lines: list[str]) -> None:
    # Every filter of the library kills what comes by another architecture.
    assert lines == ["native"]


@step("SystemCallFilter")
def system_calls(sandbox: Sandbox, lines: list[str]) -> None:
    from seccomp import ALLOW, ERRNO, Arch, resolve_syscall

    [error] = sandbox.words("SystemCallErrorNumber")
    filter_ = new_filter(ERRNO(getattr(errno, error)))
    for name in allowed_calls(lines):
        if resolve_syscall(Arch.NATIVE, name) >= 0:  # of the groups' names, this machine has some
            filter_.add_rule(ALLOW, name)
    # Behind all others: it does not let a filter be loaded.
    sandbox.last_filter = filter_


# --- mounts


def bind(source: str, target: str) -> None:
    kernel.mount(source, target, None, kernel.MS_BIND | kernel.MS_REC)


class _Change(ctypes.Structure):
    _fields_ = [(name, ctypes.c_uint64) for name in ("set", "clear", "propagation", "user_namespace")]


def change_mounts(path: str, add: int = 0, remove: int = 0) -> None:
    """Changes flags of the mount at a path and of all below it."""
    change = _Change(add, remove, 0, 0)
    at_fdcwd, recursive = -100, 0x8000
    if _libc.syscall(_MOUNT_SETATTR, at_fdcwd, path.encode(), recursive, ctypes.byref(change), ctypes.sizeof(change)):
        raise OSError(ctypes.get_errno(), f"{path}: flags of the mount")


# --- filters


def new_filter(otherwise: Any) -> Any:
    from seccomp import Attr, SyscallFilter

    filter_ = SyscallFilter(otherwise)
    filter_.set_attr(Attr.CTL_NNP, 0)  # a directive of its own
    return filter_


def passing() -> Any:
    from seccomp import ALLOW

    return new_filter(ALLOW)


def has(argument: int, bits: int) -> Any:
    from seccomp import MASKED_EQ, Arg

    return Arg(argument, MASKED_EQ, bits, bits)


def refuse(filter_: Any, call: str, *arguments: Any, error: int = errno.EPERM) -> None:
    from seccomp import ERRNO

    filter_.add_rule(ERRNO(error), call, *arguments)


def refusing(*calls: str) -> Any:
    filter_ = passing()
    for call in calls:
        refuse(filter_, call)
    return filter_


@functools.cache
def call_groups() -> dict[str, list[str]]:
    """The service manager's groups of system calls."""
    text = subprocess.run(
        ["systemd-analyze", "--no-pager", "syscall-filter"], check=True, capture_output=True, text=True
    ).stdout
    groups: dict[str, list[str]] = {}
    name = ""
    for line in text.splitlines():
        if line.startswith("@"):
            name = line.strip()
            groups[name] = []
        elif line.startswith(" ") and not line.lstrip().startswith("#"):
            groups[name].append(line.strip())
    return groups


def allowed_calls(lines: Iterable[str]) -> set[str]:
    """What a list of lines lets through; those with "~" take off what earlier ones added."""
    groups = call_groups()

    def members(word: str) -> set[str]:
        return set().union(*map(members, groups[word])) if word.startswith("@") else {word}

    allowed = members("@default")
    for line in lines:
        named = set().union(*map(members, line.lstrip("~").split()))
        allowed = allowed - named if line.startswith("~") else allowed | named
    return allowed


# --- capabilities


@functools.cache
def capability_names() -> dict[int, str]:
    found = re.findall(r"^#define\s+(CAP_\w+)\s+(\d+)$", _CAPABILITIES.read_text(), re.MULTILINE)
    last = int(Path("/proc/sys/kernel/cap_last_cap").read_text())
    names = {int(number): name for name, number in found}
    # The kernel may know more than its header.
    return {number: names.get(number, f"CAP_{number}") for number in range(last + 1)}


def capability_set(which: str, process: str = "self") -> set[str]:
    status = Path(f"/proc/{process}/status").read_text()
    bits = int(re.search(rf"^{which}:\s*(\w+)$", status, re.MULTILINE)[1], 16)
    return {name for number, name in capability_names().items() if bits >> number & 1}


def prctl(option: int, argument: int) -> None:
    if _libc.prctl(option, ctypes.c_ulong(argument), 0, 0, 0) < 0:
        raise OSError(ctypes.get_errno(), f"prctl {option}")


def main() -> None:
    parser = argparse.ArgumentParser()
    parser.add_argument("root", type=Path)
    parser.add_argument("--keep", action="append", default=[])
    parser.add_argument("command", nargs=argparse.REMAINDER)
    given = parser.parse_args()

    unit = Unit(given.root)
    command = given.command or unit.command()
    environment = {**os.environ, **unit.environment()}
    for name in unit.words("Service", "UnsetEnvironment"):
        environment.pop(name, None)
    if preload := environment.pop("SANDBOX_PRELOAD", None):
        environment["LD_PRELOAD"] = preload
    Sandbox(unit, given.keep).enter()
    os.chdir("/")  # where the service manager starts what says nothing else
    os.execvpe(command[0], command, environment)


if __name__ == "__main__":
    main()
