/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * The system's time zone, for code that runs inside the daemon's process.
 *
 * None of these functions takes ntp_lock(); call them on the event-loop thread.
 * Those that set a zone change TZ and the process's zone: nothing else may convert
 * times meanwhile.  Messages go to standard output, reasons of failed system calls to
 * standard error.
 */
#ifndef HORAD_TIMEZONE_H
#define HORAD_TIMEZONE_H

#include <stdint.h>

#include "horad/noexcept.h"

#ifdef __cplusplus
extern "C" {
#endif

/* libfrr's command-line session. */
struct vty;

/* --- by zone file --------------------------------------------------------- */

/*
 * Makes a zone file the system's zone: points /etc/localtime at it and reloads
 * the process's zone.
 *
 * path  absolute path of a zone file, used as given
 *
 * Returns 0; -27 for a null path; -1 when the link cannot be made, with the
 * reason on standard error: no /etc/localtime is left then, unless a second line
 * says why the old one could not be removed.  With TZ in the environment the
 * process keeps the zone that it names, even where it names /etc/localtime.
 */
int32_t set_system_timezone_by_path(const char *path) HORAD_NOEXCEPT;

/*
 * Prints one line naming the zone in use on a session.
 *
 * Returns what vty_out() returns: the length of the line, before the session puts
 * its own line end in place of the line feed.
 */
int32_t show_system_timezone(struct vty *vty) HORAD_NOEXCEPT;

/* --- by offset ------------------------------------------------------------ */

/*
 * Exports a TZ text to the system: to /etc/TZ (overwritten from its start, never
 * shortened), to this process's TZ and zone, and to the login profile
 * /etc/profile, by way of a shell: in place of each line with "export TZ=", or at
 * its end when it does not have the word TZ.  A new /etc/TZ gets the mode that
 * libfrr's mask for new files leaves of 0777, a new /etc/profile what it leaves of
 * 0666 (0640: other users cannot read it).
 *
 * A profile whose last line has no line end gets the command joined to that line,
 * and both are useless.  Where sed is missing or fails, the command goes to the end
 * although the word TZ is there.
 *
 * A second shell command, "source /etc/profile", has no effect on this process.
 * Where sh is dash, as on Debian, which does not know `source`, the shell complains
 * about it on standard error each time.
 *
 * text  a POSIX TZ string of at most 59 characters, of those that the device's
 *       input check accepts (the stand-in's: letters, digits, "+-:,._")
 *
 * Returns 0, also when the profile could not be changed; with a message -2 for a
 * text with other characters or too long and -27 for a null one, both before
 * anything is written; -14 when /etc/TZ cannot be opened.
 */
int32_t sync_sys_timezone(const char *text) HORAD_NOEXCEPT;

/*
 * Sets the zone from an offset: "[-]HOURS[:MINUTES][-NUMBER]", such as "8",
 * "-5:30" or "8:0-2", at most 6 characters, hours -12..12, minutes 0..59; a
 * leading "-" is west of Greenwich, NUMBER the time-zone offset below, but of any
 * size ("8-99", "8--5").  A number that is not one counts as 0, what follows a
 * number is not looked at: behind a leading "-", with another sign or a blank, hours
 * of any size are taken ("--99").
 *
 * Returns 0, also when the zone could not be exported; -1 for a text that is not
 * of this form, with a message (none for a null text).  A wrong minute is found
 * after `east` was stored.
 */
int32_t set_system_timezone(const char *text) HORAD_NOEXCEPT;

/*
 * Sets the zone from an offset: "+HHMM" or "-HHMM", hours -12..12, minutes 0..60,
 * then optionally any one or two characters, the second of which is the time-zone
 * offset below.  Of each pair of characters the number that it begins with counts,
 * with a sign of its own ("+-500" is taken, too), and 0 where it begins with none.
 * The TZ text gets them as they are: "+05x3" is taken as 5 hours and exported as
 * "UTC-05:x3", which is no zone, so that local time is UTC.
 *
 * Returns 0, also when the zone could not be exported (nothing is recorded
 * then); -2 with a message for a null text, one of fewer than 5 or more than 7
 * characters, without a leading sign, or with hours or minutes out of range.
 */
int32_t set_system_timezone_new(const char *text) HORAD_NOEXCEPT;

/* The offset of a zone from UTC. */
struct sys_timezone_info {
    int32_t east; /* 1 east of Greenwich, 0 west */
    int32_t hour; /* hours and minutes of the offset, without its sign; below 0 only
                   * where the text had another sign after it */
    int32_t minute;
};

/* The offset last set; all zero at first. */
struct sys_timezone_info get_system_timezone(void) HORAD_NOEXCEPT;

/* The time-zone offset, a number that is carried with the zone; 0 at first. */
int32_t get_timezone_offset(void) HORAD_NOEXCEPT;

/* Stores the time-zone offset, 0..10.
 *
 * Returns 0; -2 with a message for any other number. */
int32_t set_timezone_offset(uint32_t number) HORAD_NOEXCEPT;

/* Whether the zone's offset lies east of Greenwich (1) or west (0). */
int32_t get_timezone_east(void) HORAD_NOEXCEPT;

/* Stores the side of Greenwich: east for any number but 0.
 *
 * Returns 0. */
int32_t set_timezone_east(int32_t east) HORAD_NOEXCEPT;

/* --- changes of local time ------------------------------------------------ */

/*
 * Lists when the local time of zones changes, in the file /tmp/dstconfig (removed,
 * and made anew with the first line), one line an instant.  Every change gives two
 * lines: the last second before it and the first second after it.
 *
 *     Europe/London  Sun Mar 29 00:59:59 2020 UT = Sun Mar 29 00:59:59 2020 GMT isdst=0 gmtoff=0
 *     Europe/London  Sun Mar 29 01:00:00 2020 UT = Sun Mar 29 02:00:00 2020 BST isdst=1 gmtoff=3600
 *
 * The list of a zone begins and ends with two instants at either end of time,
 * which have a number in place of the first date and NULL in place of the second.
 *
 *   argv[0]     not looked at
 *   argv[1..2]  "-c" and the years to list: "HIGH" or "LOW,HIGH", after the first
 *               second of one, up to and with the first second of the other, in
 *               UTC; null, and without "-c": -500,2500
 *   argv[3]     "-v"; anything else: only the present time of each zone
 *   argv[4...]  zones, as tzalloc() takes them, not null
 *
 * Changes less than 12 hours apart may be missed.
 *
 * Returns 0; 1 for fewer than four arguments and for a null zone (with a message
 * on standard error), for years that cannot be read (without one) and for a zone
 * that does not exist (with the reason on standard error, the zones before it
 * listed).  A line that cannot be written is dropped with a message.
 */
int32_t zdump_main(int32_t argc, char *argv[]) HORAD_NOEXCEPT;

/*
 * Guesses whether daylight-saving time is in force in a zone.  Lists the year's
 * changes with zdump_main(), waits 100 ms, prints the first eight lines of the list
 * and judges by its first two changes: in force is what lies between them where the
 * first sets the clock forward (the north), else what lies before the first or after
 * the second (the south).  After a year's only change, if it sets the clock forward,
 * that is the rest of the year.
 *
 * What kind of time the zone calls it is not looked at.  A lasting change of the
 * offset counts as well (Moscow in 2011, Caracas in 2016), and years with more than
 * two changes (Casablanca) and zones whose winter time is the special one (Dublin)
 * are misjudged.
 *
 * year      the year to look at, 0..9999, normally that of `now`
 * now       seconds since 1970-01-01 00:00:00 UTC
 * location  the zone, as tzalloc() takes it
 *
 * The bounds are read as local times of the process's own zone.  In the north
 * both ends are outside daylight-saving time, in the south both ends are
 * standard time.
 *
 * Whether a bound is read in daylight-saving time, the conversion decides (it is
 * made with tm_isdst -1).  A bound that the process's zone skips is read in its
 * standard time: west of UTC, as in the Azores, the hour that a change skips can
 * be the one at which it comes in UTC.
 *
 * Returns 1 with a message when it is; 0 when it is not, or when the list shows no
 * change in that year; also 0 in years whose digits occur in the number of one of the
 * two lowest instants, -9223372036854775808 and -9223372036854689408: in 2036, in some
 * after 2200 and in some before 1000; -1 with a message for an empty or null location
 * and for another year.
 */
int32_t systemGetDstCfg(int32_t year, int64_t now, const char *location) HORAD_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
