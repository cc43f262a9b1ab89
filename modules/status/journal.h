/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * Which of the client's events are worth a line in the log.
 *
 * Each step of the clock, each change of server, and each failure that begins or ends is
 * a line; the warnings alone tell when time was not to be had.  Of one kind there is at
 * most one line a minute, and one with the number of those left out: anybody's datagrams
 * can bring most of them about.
 */
#ifndef HORAD_STATUS_JOURNAL_H
#define HORAD_STATUS_JOURNAL_H

#include <stdbool.h>
#include <stdint.h>

#include "horad/state.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Kinds of lines: a failure's is its number in enum horad_client_failure. */
enum journal_kind {
    JOURNAL_STEP = HORAD_FAILURE_NEGATIVE_DELAY + 1,
    JOURNAL_TURN,
    JOURNAL_STRANGER,
    JOURNAL_RECOVERY,
    JOURNAL_KINDS,
};

/* What was seen and written so far; all zero at first. */
struct journal {
    struct horad_client_status seen;
    struct {
        bool is_used;
        int64_t last_line; /* seconds of CLOCK_MONOTONIC */
        uint64_t left_out;
    } kinds[JOURNAL_KINDS];
    bool is_in_trouble;
    int64_t trouble_since; /* seconds of CLOCK_MONOTONIC */
    uint32_t told;         /* a bit for each failure of this trouble that had its turn */
};

/* Writes one line, with a priority of syslog's. */
typedef void (*journal_writer)(int priority, const char *text);

/*
 * Compares the client's status with the one seen last, and writes what is new.
 *
 * monotonic  seconds of CLOCK_MONOTONIC
 *
 * Returns after how many seconds to look again, for lines that were left out; 0: at the
 * client's next event.
 */
int64_t journal_look(struct journal *journal, const struct horad_client_status *status,
                     int64_t monotonic, journal_writer write);

#ifdef __cplusplus
}
#endif

#endif
