# SPDX-License-Identifier: GPL-2.0-or-later
"""A build of the daemon: where its files are and what has to be loaded with it."""
from __future__ import annotations

import functools
import re
import subprocess
from dataclasses import dataclass
from pathlib import Path

from .world import PROJECT, Unavailable

DEFAULT_BUILD = PROJECT / "build" / "release"

# The sanitizers' runtimes have to be the first libraries of a process (gcc's; clang's are
# part of a program).
_RUNTIMES = ("libasan.so", "libtsan.so")


@dataclass(frozen=True)
class Build:
    folder: Path = DEFAULT_BUILD

    @property
    def daemon(self) -> Path:
        return self.folder / "bin" / "horad"

    @property
    def shim(self) -> Path:
        return self.folder / "lib" / "libclock_shim.so"

    @functools.cached_property
    def emulator(self) -> list[str]:
        """What runs programs of a build for another processor."""
        named = self.folder / "emulator"
        return named.read_text().split() if named.exists() else []

    @functools.cached_property
    def libraries(self) -> list[Path]:
        """What the loader finds for the daemon."""
        if self.emulator:
            return []
        done = subprocess.run(["ldd", str(self.daemon)], capture_output=True, text=True)
        if done.returncode != 0:
            raise Unavailable(f"no daemon in {self.folder}: {done.stderr.strip()}")
        return [Path(path) for path in re.findall(r"=> (/.*) \(0x", done.stdout)]

    @property
    def folders(self) -> list[Path]:
        """Where the daemon and all that it needs are, for World(visible=...)."""
        found = {path.parent for named in self.libraries for path in (named, named.resolve())}
        return [self.folder, *sorted(found)]

    @property
    def runtimes(self) -> list[str]:
        """Paths of the sanitizer runtimes that the daemon is linked with."""
        return [str(path) for path in self.libraries if path.name.startswith(_RUNTIMES)]

    @functools.cached_property
    def libfrr(self) -> tuple[int, ...]:
        """The version of the libfrr it was built with: (8, 4, 4).  A few of the library's own answers differ."""
        told = subprocess.run([*self.command(), "--version"], check=True, capture_output=True, text=True).stdout
        found = re.search(r"with libfrr (\d+(?:\.\d+)*)", told)
        assert found is not None, told
        return tuple(map(int, found[1].split(".")))

    @property
    def counts_lines(self) -> bool:
        """Whether the daemon counts which of its lines run."""
        return b"__llvm_prf_cnts" in self.daemon.read_bytes()

    @property
    def sanitized(self) -> bool:
        return bool(self.runtimes) or b"__asan_init" in self.daemon.read_bytes()

    @property
    def checks_threads(self) -> bool:
        return any("libtsan" in path for path in self.runtimes)

    def command(self) -> list[str]:
        """How to start the daemon."""
        # The thread sanitizer cannot lay out its memory where the kernel
        # scatters mappings widely.
        scattered_not = ["setarch", "-R"] if self.checks_threads else []
        return [*scattered_not, *self.emulator, str(self.daemon)]

    def preload(self, library: Path) -> dict[str, str]:
        """The variables that make the daemon load a library before all others."""
        libraries = " ".join([*self.runtimes, str(library)])
        # The emulator must not load what is made for the other processor.
        return {"QEMU_SET_ENV": f"LD_PRELOAD={libraries}"} if self.emulator else {"LD_PRELOAD": libraries}
