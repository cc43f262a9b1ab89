# SPDX-License-Identifier: GPL-2.0-or-later
"""The daemon's unit, as installed below a folder."""
from __future__ import annotations

import shlex
from pathlib import Path

UNIT = "lib/systemd/system/horad.service"


class Unit:
    """A unit file: the lines of each directive, by section."""

    def __init__(self, root: Path) -> None:
        self.root = root
        self.path = next(path for path in (root / UNIT, root / "usr" / UNIT) if path.exists())
        self.sections: dict[str, dict[str, list[str]]] = {}
        directives: dict[str, list[str]] = {}
        for line in self.path.read_text().replace("\\\n", " ").splitlines():
            if line.startswith("["):
                directives = self.sections.setdefault(line.strip("[]"), {})
            elif line and line[0] not in "#;":
                name, value = line.split("=", 1)
                lines = directives.setdefault(name, [])
                lines.append(value)

    def words(self, section: str, directive: str) -> list[str]:
        return [word for line in self.sections[section].get(directive, []) for word in line.split()]

    @property
    def service(self) -> dict[str, list[str]]:
        return self.sections["Service"]

    def environment(self) -> dict[str, str]:
        """The variables that unit and file set; the file's win."""
        found = {}
        for line in self.service.get("Environment", []):
            found.update(word.split("=", 1) for word in shlex.split(line))
        for named in self.service.get("EnvironmentFile", []):
            file = self.root / named.lstrip("-/")
            if not named.startswith("-") or file.exists():
                for line in file.read_text().splitlines():
                    if line and line[0] not in "#;":
                        name, value = line.split("=", 1)
                        found[name] = "".join(shlex.split(value))
        return found

    def command(self, directive: str = "ExecStart") -> list[str]:
        """Only a word that is nothing but a variable becomes the words of its value."""
        [line] = self.service[directive]
        variables = self.environment()
        words = []
        for word in shlex.split(line):
            words += shlex.split(variables.get(word[1:], "")) if word.startswith("$") else [word]
        return words
