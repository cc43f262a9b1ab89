# SPDX-License-Identifier: GPL-2.0-or-later
"""All faults, room by room; a fault's number is its place here."""
from __future__ import annotations

from . import client, commands, ctl, device, status, timezone, zones

FAULTS = [*client.FAULTS, *commands.FAULTS, *timezone.FAULTS, *zones.FAULTS, *device.FAULTS, *status.FAULTS,
          *ctl.FAULTS]
