/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * The shared state of the time daemon, for code that runs inside its process.
 */
#ifndef HORAD_STATE_H
#define HORAD_STATE_H

#include <stdint.h>

#include "horad/noexcept.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Lock and unlock the one mutex that guards the daemon's configuration record.
 *
 * The mutex is not recursive.  The client thread holds it while it looks a
 * server's name up, so a caller may wait as long as a look-up takes.
 *
 * Return 0, or the error number of the underlying pthread call.
 */
int ntp_lock(void) HORAD_NOEXCEPT;
int ntp_unlock(void) HORAD_NOEXCEPT;

/*
 * Whether daylight-saving time is in use for the zone: 1 or 0, initially 0.
 * Kept for callers; the daemon itself neither sets nor tests it.  No locking.
 */
int32_t get_is_using_dst(void) HORAD_NOEXCEPT;
void set_is_using_dst(int32_t value) HORAD_NOEXCEPT;

/*
 * Record in the configuration whether NTP is enabled (1) or not (0).  This only
 * stores the value: it neither starts nor stops the client.  No locking.
 */
void set_g_ntp_en(int32_t value) HORAD_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
