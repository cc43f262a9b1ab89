/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * The device's configuration database, as the time daemon uses it.
 *
 * This stand-in keeps one SQLite file: $HORAD_CONFIG_DB, by default
 * /var/lib/horad/config.db.  Every function may be called from any thread; none
 * waits longer than about a second for somebody else's lock on the file.
 */
#ifndef HORAD_DEVICE_CONFIG_DB_H
#define HORAD_DEVICE_CONFIG_DB_H

#ifdef __cplusplus
extern "C" {
#endif

/* The database handle.  Callers own its storage, pass its address and never
 * look inside; all-zero is a handle that was never initialised. */
struct config_db {
    char path[4096]; /* the database file; empty before database_init() */
};

/*
 * Connects `db` to the configuration database, creating the file (and its
 * folder) on first use.
 *
 * Returns 0, or -1 when the database cannot be used; one line on standard error
 * then says why.  The handle is good in both cases: each later call tries anew.
 */
int database_init(struct config_db *db);

/* Ends the connection and empties the handle.  Returns 0. */
int database_disconnect(struct config_db *db);

/*
 * Stores one step of the clock, with the time at which it is stored.
 *
 * diff      the step in whole seconds, new time minus old time
 * area, id  the record's place in the device's data model, kept as given
 *
 * Returns 0 once the row is on disk, else -1 with one line on standard error;
 * nothing of the row is stored then.
 */
int db_olt_ntp_set_ntp_diff_time(struct config_db *db, int diff, int area, int id);

#ifdef __cplusplus
}
#endif

#endif
