// SPDX-License-Identifier: GPL-2.0-or-later
#include "database.h"

constinit config_db g_horad_db{};

int ntp_database_init(config_db *db) noexcept { return database_init(db); }

int ntp_database_free(config_db *db) noexcept { return database_disconnect(db); }
