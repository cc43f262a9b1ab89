/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * The frequency discipline: from the last 16 clock offsets, the frequency at
 * which the clock should run.  For code that runs inside the daemon's process;
 * the daemon itself has no caller for it.
 *
 * All of it works on one global state that is never reset (but by
 * polygon_reset(), for the limits): call it on one thread only.  Numbers that are
 * infinite or no numbers give a useless but defined result: what does not fit an
 * int32_t becomes the nearest one that does, no number becomes 0.
 */
#ifndef HORAD_DISCIPLINE_H
#define HORAD_DISCIPLINE_H

#include <stdint.h>

#include "horad/noexcept.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Takes a sample and proposes a frequency.
 *
 * time       seconds; only differences matter, and the count may wrap around
 * offset     what the clock is off, in microseconds
 * error_bar  how wrong the offset can be, in microseconds; 800 of them are
 *            allowed for and taken off
 * frequency  the clock's frequency when the sample was taken, in parts per
 *            million x 65536, as adjtimex() has it
 *
 * Returns the frequency to use from now on: `frequency` itself, whatever it is,
 * while there are fewer than 16 samples, and when no frequency explains all of the
 * last 16; otherwise one within 250 parts per million (+-16384000).
 *
 * Prints a line "# box ..." with the result before it is limited, or
 * "# inconsistent", on standard output for every sample from the 16th on; with the
 * daemon's variable `debug` set, which no command does, also how it came about.
 *
 * For a loop that converges an offset is the server's time less the clock's, as
 * in the statistics line, the error bar half the round trip, and `frequency` the
 * one in force before the sample.  A network whose round trips are shorter than
 * 1600 microseconds leaves nothing of such an error bar: give it a floor of more
 * than 800, or every evaluation is inconsistent.
 */
int32_t contemplate_data(uint32_t time, double offset, double error_bar,
                         int32_t frequency) HORAD_NOEXCEPT;

/* --- its parts ------------------------------------------------------------ */

/* A line in the plane of time and offset; a corner of the polygon is one. */
struct segment {
    double slope; /* microseconds per second: parts per million */
    double value; /* microseconds, at the newest sample's time */
};

/* A point in any plane. */
struct point {
    double x;
    double y;
};

/* The ring slots of the samples after and before slot i, 0..15. */
int next_up(int i) HORAD_NOEXCEPT;
int next_dn(int i) HORAD_NOEXCEPT;

/*
 * The steepest or the shallowest line from one sample to any later one.
 *
 * newest  ring slot of the newest sample
 * from    ring slot of the sample at which the line begins, not the newest
 * a, b    which bounds: 0 the lower, 1 the upper; `a` of the later sample, `b`
 *         of the one at which it begins
 * dir     0 for the smallest slope (the earliest of equals), 1 for the largest
 *         (the latest of equals)
 * out     the line
 *
 * Returns the ring slot of the later sample.
 */
int search(int newest, int from, int a, int b, int dir, struct segment *out) HORAD_NOEXCEPT;

/* Widens the limits of the correction to 20 parts per million both ways. */
void polygon_reset(void) HORAD_NOEXCEPT;

/*
 * Narrows the limits by a corner of the polygon of the lines that explain all
 * samples: a correction should lead every one of them towards no offset.
 */
void polygon_point(const struct segment *corner) HORAD_NOEXCEPT;

/*
 * How far a corner lets a correction go in one direction.
 *
 * x  the corner's slope in parts per million; with its sign changed for the other
 *    direction
 * y  its value in microseconds; with its sign changed where that of `x` is not
 *
 * Returns parts per million, not negative: 0 when it may not go that way at all.
 */
double find_shift(double x, double y) HORAD_NOEXCEPT;

/*
 * The correction that the limits allow in one direction only.
 *
 * both  set to 1 when the limits allow both, else left as it is
 *
 * Returns parts per million; 0 when the limits allow both directions, or none.
 */
double find_df(int *both) HORAD_NOEXCEPT;

/*
 * What to add to a correction so that the middle of the polygon leads towards no
 * offset.
 *
 * mincross, maxcross  the shallowest and the steepest line through all samples
 * d                   the correction, parts per million
 *
 * Returns parts per million.
 */
double find_df_center(const struct segment *mincross, const struct segment *maxcross,
                      double d) HORAD_NOEXCEPT;

/* The y at abscissa x of the line through two points with different x. */
double interpolate(const struct point *p, const struct point *q, double x) HORAD_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
