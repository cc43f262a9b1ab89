# SPDX-License-Identifier: GPL-2.0-or-later
"""The library of docs/porting.md, in place of the stand-in."""
from __future__ import annotations

import re
import subprocess
from pathlib import Path

import pytest

from lab import PROJECT
from lab.bench import PRIMARY, START, Bench, configured
from lab.servers.ntp_server import truthful
from lab.servers.packet import timestamp

PAGE = (PROJECT / "docs" / "porting.md").read_text()
SLOW = 2220  # seconds; what the page says comes of it


@pytest.mark.plain_build
def test_database_of_the_page(bench: Bench, tmp_path: Path) -> None:
    source = re.search(r"```c\n(/\* A configuration database.*?)```", PAGE, re.DOTALL)
    assert source is not None
    (tmp_path / "config_db.c").write_text(source[1])
    library = bench.world.path("/tmp/libconfig_db.so")
    command = "gcc -shared -fPIC -O2 -Idevice -o mine/libconfig_db.so config_db.c"
    assert f"    {command}\n" in PAGE
    subprocess.run(["gcc", "-Wall", "-Werror", "-shared", "-fPIC", "-O2", f"-I{PROJECT}/device", "-o", str(library),
                    str(tmp_path / "config_db.c")], check=True)

    bench.server(answer=truthful(timestamp(START + SLOW)))
    daemon = bench.daemon(configured(PRIMARY), clock_frozen=START, environment={"LD_LIBRARY_PATH": "/tmp"})
    said = [line for line in daemon.wait_stderr(b"(record 4, 1)\n").decode().splitlines() if line.startswith("database")]
    assert said == ["database: connected", *re.findall(r"^    (database: c.*\d\))$", PAGE, re.MULTILINE)]
