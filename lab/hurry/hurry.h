/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * A preloaded library that measures a time daemon, any of them: it tells when the clock
 * was set, counts how often the process was woken, and can let a week pass in seconds.
 *
 * The machine's clock is never touched.  The daemon has a clock of its own, which starts
 * wrong, runs wrong, and obeys what the daemon asks of the kernel.  An offset that the
 * kernel would take off little by little is taken off at once, and the frequency that
 * follows from it is the kernel's.  No shell command is run.
 *
 * While time leaps, a wait that nothing ends is over at once, with that much later on all
 * clocks; only an answer from the network is waited for as long as it takes.
 *
 * Everything is told through a page shared with bench/daemon: HURRY names its file, and
 * lab/hurry/__init__.py knows its fields.  Without it no clock can be set, and that is all.
 */
#ifndef HURRY_H
#define HURRY_H

#include <dlfcn.h>
#include <pthread.h>
#include <signal.h>
#include <stdbool.h>
#include <stdint.h>
#include <time.h>

/* The definition behind ours, as the dynamic linker finds it. */
#define REAL(name)                           \
    ((__typeof__(&name))__extension__({      \
        static void *found;                  \
        if (!found)                          \
            found = dlsym(RTLD_NEXT, #name); \
        found;                               \
    }))

enum mode {
    PLAIN, /* every wait is the kernel's */
    HOLD,  /* time passes as it does, but may begin to leap */
    LEAP,
};

/* All times are nanoseconds. */
struct page {
    int64_t mode;
    int64_t until;   /* leaps end there, by passed() */
    int64_t skipped; /* by which all the daemon's clocks are ahead of the machine's */
    int64_t sleeps;  /* waits that had to wait, on any thread; not counted when plain */
    /* The clock showed `shown` when passed() was `anchor`. */
    int64_t anchor, shown;
    double drift;     /* how wrong it runs by itself, in ppm */
    double frequency; /* what the daemon has it corrected by, in ppm */
    int64_t tick;     /* 10000 us, or what the daemon has made of it */
    int64_t steps, adjustments, commands;
    int64_t first_step; /* by the machine's monotonic clock */
    /* The last exchange, by the machine's clock, if `stamps` is set. */
    int64_t stamps, sent, arrived, set;
};

/* The shared page; a null pointer when there is none.  Its lock is held for a moment. */
struct page *hurry_page(void);
void lock_page(void);
void unlock_page(void);

/* clock.c: the machine's clocks; how much time has passed for the daemon; its clock then,
 * and what it showed when the machine's clock showed something. */
int64_t machine_ns(clockid_t clock);
int64_t passed(void);
int64_t daemon_ns(clockid_t clock);
int64_t daemon_clock_at(int64_t machine_time);
int64_t ns_of(struct timespec time);
struct timespec timespec_of(int64_t ns);

/* timers.c: when the next of the process's timers is due (INT64_MAX: none); lets those
 * that are due go off, and tells whether one of them was a signal (`mask` as in pselect). */
int64_t next_timer(void);
bool timers_go_off(const sigset_t *mask);

/* sockets.c: until when, by the machine's monotonic clock, an answer may still come. */
int64_t answer_awaited_until(void);

#endif
