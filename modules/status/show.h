/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * The client's status as people and programs read it.
 */
#ifndef HORAD_STATUS_SHOW_H
#define HORAD_STATUS_SHOW_H

#include <stdint.h>

#include "horad/state.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Takes a piece of the answer, which ends with a line's end or not. */
typedef void (*status_writer)(void *session, const char *text);

/*
 * Writes a status as a table of a line each, or as one JSON object.
 *
 * now        microseconds since 1970-01-01 00:00:00 UTC
 * monotonic  microseconds of CLOCK_MONOTONIC
 */
void show_status_table(const struct horad_client_status *status, int64_t now, int64_t monotonic,
                       status_writer write, void *session);
void show_status_json(const struct horad_client_status *status, int64_t monotonic,
                      status_writer write, void *session);

#ifdef __cplusplus
}
#endif

#endif
