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
 * server's name up for a request, so a caller may wait as long as that takes.
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

/* --- what the NTP client is doing ------------------------------------------- */

/* What the client thread waits for. */
enum horad_client_state {
    HORAD_CLIENT_OFF,        /* to be switched on: never was, or was stopped */
    HORAD_CLIENT_LOOKING_UP, /* a server's name is being looked up */
    HORAD_CLIENT_WAITING,    /* for the answer to a request */
    HORAD_CLIENT_RETRYING,   /* to send the next request: none is out */
    HORAD_CLIENT_RESTING,    /* for a week to pass after a good answer, or for five minutes
                              * after a datagram of a wrong length that came meanwhile */
    HORAD_CLIENT_DEAD,       /* it could not have its socket: nothing but a new start helps */
};

/* What went wrong last. */
enum horad_client_failure {
    HORAD_FAILURE_NONE,
    HORAD_FAILURE_START,            /* the thread could not be created, or its socket not be had */
    HORAD_FAILURE_LOOK_UP,          /* a server's name has no IPv4 address */
    HORAD_FAILURE_SEND,             /* a request could not be sent */
    HORAD_FAILURE_RECEIVE,          /* waiting or receiving failed */
    HORAD_FAILURE_NO_ANSWER,        /* the time for an answer ran out */
    HORAD_FAILURE_WRONG_LENGTH,     /* a datagram that is no reply put the next request off */
    HORAD_FAILURE_NO_TRANSMIT_TIME, /* a reply without a time to set */
    HORAD_FAILURE_STEP_REFUSED,     /* the kernel refused to set the clock */
    HORAD_FAILURE_NEGATIVE_DELAY,   /* the clock was set by a reply that cannot be right */
};

/*
 * What the client thread last told of itself.  Times are microseconds since 1970-01-01
 * 00:00:00 UTC by the system's clock as it was then; texts are terminated.
 */
struct horad_client_status {
    int32_t state;    /* enum horad_client_state */
    int32_t server;   /* the one in use: 1 the primary, 2 the secondary */
    uint32_t address; /* its IPv4 address in network order, 0 until its name was looked up */
    int32_t failure;  /* enum horad_client_failure */
    char server_name[128];
    char reason[96];        /* why it is dead: the call and its error; else empty */
    char failure_text[256]; /* the last failure in words, naming the server where it is one's, the
                             * sender of a wrong length; empty: none */
    int64_t failure_time;   /* of the last failure */
    int64_t last_request;   /* when one was last sent; meaningful when `requests` is not 0 */
    int64_t next_request;   /* when the next one is due if nothing happens before, in microseconds
                             * of CLOCK_MONOTONIC; meaningful when neither off nor dead */

    /* The last reply by which the clock was set; meaningful when `answers_used` is not 0. */
    int64_t answer_time;     /* after the step */
    uint32_t answer_address; /* IPv4, network order */
    int32_t stepped;         /* by how many whole seconds the clock was stepped */
    double offset;           /* server minus client, microseconds */
    double round_trip;       /* the network's share of it, microseconds */

    /* Counted since the start of the daemon. */
    uint64_t failures;         /* all that became a failure_text */
    uint64_t requests;         /* sent */
    uint64_t answers_used;     /* the clock was set */
    uint64_t foreign_address;  /* datagrams from elsewhere, dropped */
    uint64_t wrong_length;     /* datagrams that are no replies, dropped */
    uint64_t no_transmit_time; /* replies without a time to set */
    uint64_t negative_delay;   /* replies with less than no network delay; used all the same */
    uint64_t look_ups_failed;
    uint64_t sends_failed;
    uint64_t steps_refused; /* by the kernel */
};

/*
 * Copies out what the client thread last published: all of it from one moment, and of its
 * last event (a name being looked up is one).  Takes no lock and makes no system call, so
 * that it answers during a look-up, too.  Any thread.
 *
 * Returns 0, or -1 for a null pointer.
 */
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wshadow" /* a function called like its record, as stat() is */
int horad_client_status(struct horad_client_status *status) HORAD_NOEXCEPT;
#pragma GCC diagnostic pop

/*
 * A function that is told of the client's events once they can be read, but for the beginning
 * of a look-up.  It runs on the client thread, or on the event loop's when that thread could
 * not be created.  It returns at once, and neither blocks nor throws; it may wake somebody else.
 */
typedef void (*horad_client_watcher)(void);

/*
 * Has a function told of the client's events; null, as at first, nobody.  Event-loop
 * thread; the events that are under way may still tell the former one.
 */
void horad_client_watch(horad_client_watcher watcher) HORAD_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
