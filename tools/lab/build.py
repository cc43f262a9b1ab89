# SPDX-License-Identifier: GPL-2.0-or-later
"""A build of the daemon: where its files are and what has to be loaded with it."""
from __future__ import annotations

import functools
import subprocess
from dataclasses import dataclass
from pathlib import Path

from .world import PROJECT

DEFAULT_BUILD = PROJECT / "build" / "release"

# The sanitizers' runtimes have to be the first libraries of a process.
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
    def runtimes(self) -> list[str]:
        """Paths of the sanitizer runtimes that the daemon is linked with."""
        if self.emulator:
            return []
        linked = subprocess.run(["ldd", str(self.daemon)], check=True, capture_output=True, text=True).stdout
        lines = [line.split() for line in linked.splitlines()]
        return [words[2] for words in lines if len(words) > 2 and words[0].startswith(_RUNTIMES)]

    @property
    def sanitized(self) -> bool:
        return bool(self.runtimes)

    def command(self) -> list[str]:
        """How to start the daemon."""
        # The thread sanitizer cannot lay out its memory where the kernel
        # scatters mappings widely.
        scattered_not = ["setarch", "-R"] if any("libtsan" in path for path in self.runtimes) else []
        return [*scattered_not, *self.emulator, str(self.daemon)]

    def preload(self, library: Path) -> dict[str, str]:
        """The variables that make the daemon load a library before all others."""
        libraries = " ".join([*self.runtimes, str(library)])
        # The emulator must not load what is made for the other processor.
        return {"QEMU_SET_ENV": f"LD_PRELOAD={libraries}"} if self.emulator else {"LD_PRELOAD": libraries}
