/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * The change log, as the configuration database offers it to the device's other
 * libraries.  It lives here because one library alone should know the file, its
 * tables and SQLite; not for the daemon's use.
 */
#ifndef HORAD_DEVICE_CHANGE_LOG_H
#define HORAD_DEVICE_CHANGE_LOG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct config_db;

/* One change. */
struct config_db_change {
    uint16_t kind;      /* what was changed, as the device numbers it */
    uint32_t value;     /* how it was changed, as the device numbers it */
    const void *record; /* the caller's whole record, kept as raw bytes */
    int record_size;    /* its size in bytes */
    const char *text;   /* for the reader of the log */
};

/*
 * Appends one change, with the present time, to the log, in which SQL's UPDATE
 * and DELETE are refused.
 *
 * Returns 0 once the row is in the file, else -1 with one line on standard error.  It
 * does not wait for the disk: the row gets there with the next step of the clock that is
 * stored, or when the kernel writes the file back.  Where no step is stored, one row in
 * some sixty waits, for all of them.
 */
int config_db_log_change(struct config_db *db, const struct config_db_change *change);

#ifdef __cplusplus
}
#endif

#endif
