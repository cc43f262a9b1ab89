/* SPDX-License-Identifier: GPL-2.0-or-later */
/* Timers, as signals and as descriptors: due by the daemon's time, not the machine's. */
#include "hurry.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/timerfd.h>

enum { max_timers = 16 };

static struct timer {
    bool used;
    int fd; /* -1: a signal */
    int signal;
    clockid_t clock;
    int64_t due, interval;
} timers[max_timers];

static bool are_ours(void) { return hurry_page() && hurry_page()->mode != PLAIN; }

static struct timer *add(struct timer added) {
    for (int i = 0; i < max_timers; i++) {
        if (!timers[i].used || (added.fd >= 0 && timers[i].fd == added.fd)) {
            timers[i] = added;
            return &timers[i];
        }
    }
    fputs("hurry: more timers than there is room for\n", stderr);
    abort();
}

static void set(struct timer *timer, bool absolute, const struct itimerspec *value) {
    timer->interval = ns_of(value->it_interval);
    timer->due = INT64_MAX;
    /* Beyond all weeks it only asks to be told when the clock is set. */
    bool is_far = value->it_value.tv_sec > 2 * (int64_t)INT32_MAX;
    int64_t first = is_far ? 0 : ns_of(value->it_value);
    if (first != 0)
        timer->due = passed() + first - (absolute ? daemon_ns(timer->clock) : 0);
}

int64_t next_timer(void) {
    int64_t next = INT64_MAX;

    for (int i = 0; i < max_timers; i++)
        if (timers[i].used && timers[i].due < next)
            next = timers[i].due;
    return next;
}

static void go_off(struct timer *timer, const sigset_t *mask) {
    sigset_t held;

    timer->due = timer->interval ? timer->due + timer->interval : INT64_MAX;
    if (timer->fd >= 0) {
        REAL(timerfd_settime)(timer->fd, 0, &(struct itimerspec){.it_value.tv_nsec = 1}, NULL);
        return;
    }
    if (mask)
        pthread_sigmask(SIG_SETMASK, mask, &held);
    raise(timer->signal);
    if (mask)
        pthread_sigmask(SIG_SETMASK, &held, NULL);
}

bool timers_go_off(const sigset_t *mask) {
    bool signalled = false;

    for (int i = 0; i < max_timers; i++) {
        if (timers[i].used && timers[i].due <= passed()) {
            signalled |= timers[i].fd < 0;
            go_off(&timers[i], mask);
        }
    }
    return signalled;
}

int timerfd_create(clockid_t clock, int flags) {
    int fd = REAL(timerfd_create)(clock, flags);

    if (fd >= 0 && are_ours())
        add((struct timer){.used = true, .fd = fd, .clock = clock, .due = INT64_MAX});
    return fd;
}

int timerfd_settime(int fd, int flags, const struct itimerspec *value, struct itimerspec *old) {
    for (int i = 0; are_ours() && i < max_timers; i++) {
        if (timers[i].used && timers[i].fd == fd) {
            /* One that went off and was not read is none any more. */
            REAL(timerfd_settime)(fd, 0, &(struct itimerspec){0}, old);
            set(&timers[i], flags & TFD_TIMER_ABSTIME, value);
            return 0;
        }
    }
    return REAL(timerfd_settime)(fd, flags, value, old);
}

int timer_create(clockid_t clock, struct sigevent *restrict how, timer_t *restrict made) {
    if (!are_ours())
        return REAL(timer_create)(clock, how, made);
    if (how && how->sigev_notify != SIGEV_SIGNAL) {
        errno = ENOTSUP;
        return -1;
    }
    *made = add((struct timer){.used = true,
                               .fd = -1,
                               .signal = how ? how->sigev_signo : SIGALRM,
                               .clock = clock,
                               .due = INT64_MAX});
    return 0;
}

int timer_settime(timer_t timer, int flags, const struct itimerspec *restrict value,
                  struct itimerspec *restrict old) {
    if (!are_ours())
        return REAL(timer_settime)(timer, flags, value, old);
    if (old)
        *old = (struct itimerspec){0};
    set(timer, flags & TIMER_ABSTIME, value);
    return 0;
}

int timer_gettime(timer_t timer, struct itimerspec *value) {
    if (!are_ours())
        return REAL(timer_gettime)(timer, value);
    const struct timer *asked = timer;
    bool runs = asked->due != INT64_MAX;
    *value = (struct itimerspec){.it_interval = timespec_of(asked->interval),
                                 .it_value = timespec_of(runs ? asked->due - passed() : 0)};
    return 0;
}
