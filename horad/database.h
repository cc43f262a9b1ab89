// SPDX-License-Identifier: GPL-2.0-or-later
//
// The daemon's one handle on the device's configuration database.  It needs no lock:
// the event loop connects before the client thread exists, and from then on only the
// client thread uses it, to record the steps of the clock.
#pragma once

#include "config_db/config_db.h"

/// Opaque: only its address is ever used.
extern config_db g_horad_db;

/// Connects to the configuration database.  Returns the library's result, 0
/// when it can be used; the daemon runs on in either case.
int ntp_database_init(config_db *db) noexcept;

/// Disconnects.  Returns the library's result.  Nothing calls it: the daemon
/// keeps its database until it exits.
int ntp_database_free(config_db *db) noexcept;
