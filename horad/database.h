// SPDX-License-Identifier: GPL-2.0-or-later
//
// The daemon's one handle on the device's configuration database.  Both threads use
// it, one after the other and so without a lock: the event loop connects before the
// client thread can exist, and from then on only the client thread, which records the
// steps of the clock, hands it to the device's libraries.
#pragma once

#include "config_db/config_db.h"

/// Opaque: only its address is ever used.
extern config_db g_horad_db;

/// Connects to the configuration database.  Returns the library's result, 0
/// when it can be used; the daemon runs on in either case.
int ntp_database_init(config_db *db);

/// Disconnects.  Returns the library's result.  Nothing calls it: the daemon
/// keeps its database until it exits.
int ntp_database_free(config_db *db);
