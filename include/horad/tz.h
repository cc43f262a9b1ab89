/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * The time-zone engine, for code that runs inside the daemon's process.
 *
 * Threads: zone objects need no lock as long as nobody frees them meanwhile.
 * localtime_r(), ctime_r(), gmtime_r() and all functions of zone objects may be
 * called on any thread at any time, also while another one changes the process's
 * zone: a conversion is all in one zone, the one before the change or the one
 * after.  A tm_zone of the process's zone can be read until the change after the
 * next one at least; later it may be another zone's name.
 *
 * tzset(), localtime(), gmtime(), ctime() and mktime() write one result, tzname,
 * timezone and daylight, which nothing protects: call them on one thread at a
 * time, and change TZ on that thread only.
 *
 * TZ: localtime(), ctime() and mktime() notice all that the C library's functions do to the
 * environment, and entries exchanged by hand.  Who turns the text of an entry before TZ into
 * another TZ, in place, calls tzset() on the thread that goes on with them.
 *
 * While TZ is not set, only set_system_timezone_by_path() makes the process's zone follow
 * a changed /etc/localtime.
 */
#ifndef HORAD_TZ_H
#define HORAD_TZ_H

#include <stddef.h>
#include <time.h>

#include "horad/noexcept.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --- the standard names --------------------------------------------------- */

/*
 * For everything in the process, libraries included; <time.h> declares them.
 *
 *     void tzset(void);
 *     struct tm *localtime(const time_t *time);
 *     struct tm *localtime_r(const time_t *time, struct tm *result);
 *     struct tm *gmtime(const time_t *time);
 *     struct tm *gmtime_r(const time_t *time, struct tm *result);
 *     char *ctime(const time_t *time);
 *     char *ctime_r(const time_t *time, char *text);
 *     time_t mktime(struct tm *tm);
 *
 * They convert as localtime_rz() and mktime_z() do, gmtime() and gmtime_r() in
 * UTC, all others in the process's zone: that of TZ, or of /etc/localtime when TZ
 * is not set.  `text` has room for 26 bytes.
 *
 * For times in use they differ from the C library's in this:
 *
 * - localtime_r() loads the zone only when none was loaded yet (or TZ has 256
 *   characters or more).
 *
 * - An unusable or empty TZ is UTC named "GMT".
 *
 * - mktime() finds no time for one that a clock change skipped unless tm_isdst is 0
 *   or 1.
 *
 * - mktime() with a tm_isdst other than the one in force moves the time by the
 *   difference between the zone's latest daylight-saving and standard time, not those
 *   of that year; it finds none where the zone never changed to the kind asked for
 *   (tm_isdst 1 in UTC).
 *
 * - tzname has the latest name of each kind of time that the zone ever had, and three
 *   blanks for one that it never had; daylight is 1 if it ever changed to
 *   daylight-saving time.
 *
 * Return null, and mktime() -1, when there is no such time.
 */

/* --- zone objects --------------------------------------------------------- */

/* A zone of one's own: nothing that its functions tell changes until tzfree(). */
typedef struct zone_state *timezone_t;
typedef const struct zone_state *const_timezone_t;

/*
 * Makes a zone object.
 *
 * name  a zone file below /usr/share/zoneinfo/ or with an absolute path, or else
 *       a POSIX TZ string; a name that begins with ":" is a file only.  Empty:
 *       UTC named "GMT", without any file.  Null: the default zone,
 *       /etc/localtime.
 *
 * Returns the object, one block of the memory type "NTP client" to be given back
 * with tzfree(); null with errno set (ENOENT, EACCES, EINVAL for a damaged file,
 * ENAMETOOLONG, ...) when there is no such zone.
 */
timezone_t tzalloc(const char *name) HORAD_NOEXCEPT;

/* Gives a zone object back.  Null is allowed. */
void tzfree(timezone_t zone) HORAD_NOEXCEPT;

/*
 * Local time in a zone.
 *
 * zone    null: UTC, whose abbreviation is empty until gmtime(), gmtime_r() or
 *         mktime_z() has loaded it
 * time    seconds since 1970-01-01 00:00:00 UTC, any 64-bit number
 * result  all fields are set; tm_gmtoff in seconds east of UTC; tm_zone points
 *         into the zone object and lives as long as it does
 *
 * Returns `result`; null when the year does not fit tm_year (errno EOVERFLOW, or
 * unchanged for a time beyond the zone's table).
 */
struct tm *localtime_rz(const_timezone_t zone, const time_t *time,
                        struct tm *result) HORAD_NOEXCEPT;

/*
 * The time that reads like `tm` in a zone.
 *
 * zone  null: UTC
 * tm    year to second; fields out of their ranges carry over.  tm_isdst above 0
 *       asks for daylight-saving time, 0 for standard time, below 0 for either:
 *       it chooses between two times that read alike, and moves one that a clock
 *       change skipped.  tm_gmtoff, when it lies within a day, is preferred
 *       among times that read alike with the same tm_isdst.  On success all
 *       fields are set as localtime_rz() sets them.
 *
 * Returns the time; -1 when there is none, also when tm_isdst asks for a kind of
 * time that the zone never had (or `tm` is null: errno EINVAL).  -1 is also the last
 * second of 1969: tm_wday is set only on success.
 */
time_t mktime_z(const_timezone_t zone, struct tm *tm) HORAD_NOEXCEPT;

/* --- helpers -------------------------------------------------------------- */

/*
 * Allocation on the memory type "NTP client".  Sizes in bytes; 0 gets one byte.
 *
 * Return the block, to be given back with ifree() or icfree().  Memory that cannot
 * be had ends the process, as everywhere in libfrr; null is only returned by
 * icalloc() for a product beyond SIZE_MAX.
 */
void *imalloc(size_t n) HORAD_NOEXCEPT;
void *icalloc(size_t n, size_t size) HORAD_NOEXCEPT;    /* zeroed */
void *irealloc(void *pointer, size_t n) HORAD_NOEXCEPT; /* null: like imalloc */
void ifree(void *pointer) HORAD_NOEXCEPT;               /* null is allowed */
void icfree(void *pointer) HORAD_NOEXCEPT;              /* the same */

/*
 * Strings on the same memory.  icatalloc() appends `text` to `old`, whose block
 * it takes over; a null `text` appends nothing, a null `old` is an empty string.
 *
 * Return the string, to be given back with ifree().
 */
char *icatalloc(char *old, const char *text) HORAD_NOEXCEPT;
char *icpyalloc(const char *text) HORAD_NOEXCEPT;

/*
 * Whether nothing is left of a string when all of a scanf() format has matched.
 * Nothing is assigned.  It does not tell that the string matches: one that stops
 * matching earlier, or never begins to, passes as well.
 *
 * Returns `format`; an empty text when all of it has matched and something is left
 * over, or an argument is null.
 */
const char *scheck(const char *string, const char *format) HORAD_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
