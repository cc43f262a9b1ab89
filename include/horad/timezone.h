/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * The system's time zone, for code that runs inside the daemon's process.
 *
 * None of these functions locks; call them on the event-loop thread.
 */
#ifndef HORAD_TIMEZONE_H
#define HORAD_TIMEZONE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct vty; /* libfrr's command-line session */

/*
 * Makes a zone file the system's zone: points /etc/localtime at it and reloads
 * the process's zone.
 *
 * path  absolute path of a zone file, used as given
 *
 * Returns 0; -27 for a null path; -1 when the link cannot be made, with the
 * reason on standard error and no /etc/localtime left.
 */
int32_t set_system_timezone_by_path(const char *path);

/*
 * Prints one line naming the zone in use on a session.
 *
 * Returns what vty_out() returns: the number of bytes printed.
 */
int32_t show_system_timezone(struct vty *vty);

#ifdef __cplusplus
}
#endif

#endif
