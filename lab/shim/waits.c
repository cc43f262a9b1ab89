/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * Waiting.  A time-out of the daemon is kept to the microsecond in its own
 * reckoning, however late the machine wakes us: schedules come out exact.
 */
#include "shim.h"

#include <errno.h>
#include <pthread.h>
#include <stdatomic.h>
#include <stdio.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

static const int64_t longest_plain_wait = 200 * (int64_t)1000000;

static _Atomic int64_t waited;
static double scale = 1;

__attribute__((constructor)) static void prepare_waits(void) {
    scale = control_number("scale", 1);
    if (shim_active() && control_number("unbuffered", 0) != 0)
        setvbuf(stdout, NULL, _IONBF, 0);
}

int64_t waited_us(void) { return atomic_load(&waited); }

int64_t real_monotonic_us(void) {
    struct timespec now;

    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
    return (int64_t)now.tv_sec * 1000000 + now.tv_nsec / 1000;
}

void real_sleep(double seconds) {
    struct timespec left = {.tv_sec = (time_t)seconds,
                            .tv_nsec = (long)((seconds - (double)(time_t)seconds) * 1e9)};

    while (syscall(SYS_clock_nanosleep, CLOCK_MONOTONIC, 0, &left, &left) < 0 && errno == EINTR)
        ;
}

int nanosleep(const struct timespec *asked, struct timespec *left) {
    if (!shim_active())
        return (int)syscall(SYS_nanosleep, asked, left);
    double seconds = (double)asked->tv_sec + (double)asked->tv_nsec / 1e9;
    bool fails = control_fails("sleep");
    int saved = errno;
    event("sleep", ", \"seconds\": %.9f, \"result\": %d", seconds, fails ? -1 : 0);
    if (!fails) {
        real_sleep(seconds * scale);
        return 0;
    }
    if (left)
        *left = *asked;
    errno = saved;
    return -1;
}

static struct timeval from_us(int64_t us) {
    return (struct timeval){.tv_sec = us / 1000000, .tv_usec = us % 1000000};
}

/* A loop that is woken again and again, and does nothing but wait the same time
 * again, is written down once. */
static void record_wait(int64_t asked) {
    static _Thread_local int64_t last_asked = -1;
    static _Thread_local unsigned long last_event;

    if (asked == last_asked && last_event == events_of_thread())
        return;
    event("select", ", \"timeout\": %.6f", (double)asked / 1e6);
    last_asked = asked;
    last_event = events_of_thread();
}

/* select() that is given `us` of the daemon's time.  Takes what passed off it. */
static int scaled_select(int count, fd_set *reading, fd_set *writing, fd_set *errors, int64_t *us) {
    struct timeval real = from_us((int64_t)((double)*us * scale));
    int64_t start = real_monotonic_us();
    int result = REAL(select)(count, reading, writing, errors, &real);
    int saved = errno;
    int64_t passed = *us;

    if (result != 0) {
        passed = (int64_t)((double)(real_monotonic_us() - start) / scale);
        if (passed > *us)
            passed = *us;
    }
    atomic_fetch_add(&waited, passed);
    *us -= passed;
    errno = saved;
    return result;
}

/* The same in slices, between which the wait may be cut short. */
static int skippable_select(int count, fd_set *reading, fd_set *writing, fd_set *errors,
                            int64_t *us) {
    fd_set watched = *reading;

    while (*us > 0) {
        if (control_uses_up("skip")) {
            atomic_fetch_add(&waited, *us);
            *us = 0;
            return 0;
        }
        int64_t slice = (int64_t)(20000 / scale);
        if (slice > *us)
            slice = *us;
        int64_t left = slice;
        *reading = watched;
        int result = scaled_select(count, reading, writing, errors, &left);
        *us -= slice - left;
        if (result != 0)
            return result;
    }
    return 0;
}

int select(int count, fd_set *reading, fd_set *writing, fd_set *errors, struct timeval *timeout) {
    if (!shim_active() || !timeout)
        return REAL(select)(count, reading, writing, errors, timeout);

    int64_t left = (int64_t)timeout->tv_sec * 1000000 + timeout->tv_usec;
    record_wait(left);
    if (control_fails("select"))
        return -1;

    bool skippable = left > longest_plain_wait && reading && !writing && !errors;
    int result =
        (skippable ? skippable_select : scaled_select)(count, reading, writing, errors, &left);
    *timeout = from_us(left);
    return result;
}

int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*entry)(void *),
                   void *argument) {
    if (control_fails("pthread_create"))
        return errno;
    return REAL(pthread_create)(thread, attributes, entry, argument);
}
