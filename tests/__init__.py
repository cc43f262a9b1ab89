# SPDX-License-Identifier: GPL-2.0-or-later
"""What tests the daemon.  Imported from the project's folder, as is `lab`."""
