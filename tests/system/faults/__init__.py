# SPDX-License-Identifier: GPL-2.0-or-later
"""What can fail under the daemon, and what has to come of it.

A fault is one call that fails, once or always, in a scenario: something that the
daemon does while the call fails.  What is observed is a list of short texts, those
of the table in docs/faults.md.
"""
from .fault import ONCE, Fault, Texts
from .page import page
from .table import FAULTS
from .zone import memory

__all__ = ["FAULTS", "ONCE", "Fault", "Texts", "memory", "page"]
