# SPDX-License-Identifier: GPL-2.0-or-later
"""A look into the daemon's configuration database from outside the lab."""
from __future__ import annotations

import shutil
import sqlite3
import tempfile
from pathlib import Path
from typing import Any

from lab import World

DATABASE = "/var/lib/horad/config.db"


def rows(world: World, query: str, database: str = DATABASE) -> list[tuple[Any, ...]]:
    """The answer to a query.

    Asked of a copy: SQLite follows the path to a place outside the lab.
    """
    with tempfile.TemporaryDirectory() as folder:
        for ending in ("", "-wal"):
            source = world.path(database + ending)
            if source.exists():
                shutil.copyfile(source, Path(folder) / f"copy.db{ending}")
        connection = sqlite3.connect(Path(folder) / "copy.db")
        try:
            return connection.execute(query).fetchall()
        finally:
            connection.close()


# Holds the database for writing until it is ended; says when.
HOLD = """
import sqlite3, sys, time
connection = sqlite3.connect(sys.argv[1], isolation_level=None)
connection.execute("BEGIN EXCLUSIVE")
print("held", flush=True)
time.sleep(600)
"""
