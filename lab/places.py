# SPDX-License-Identifier: GPL-2.0-or-later
"""Names, addresses and folders of the lab."""
from __future__ import annotations

HOST_NAME = "lab"
DAEMON_ADDRESS = "10.77.0.100"
SERVER_ADDRESSES = [f"10.77.0.{n}" for n in range(1, 10)]

# Descriptors of the process that holds the networks.
SERVER_NETWORK_FD = 100
DAEMON_NETWORK_FD = 101

PRIVATE_FOLDERS = ("/etc", "/tmp", "/run", "/var")
# The loader's cache and what name look-ups of numbers and users need.
KEPT_IN_ETC = ("ld.so.cache", "ld.so.conf", "ld.so.conf.d", "passwd", "group", "services", "protocols")
