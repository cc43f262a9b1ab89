/* SPDX-License-Identifier: GPL-2.0-or-later */
/* Waiting: for as long as it takes, or over at once and that much later. */
#include "hurry.h"

#include <errno.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <unistd.h>

enum { max_threads = 16 };

static const int64_t millisecond = 1000000;
static const int64_t never = INT64_MAX;

/* Until when each thread waits; `never` for one that waits for ever, or works. */
static int64_t waits_until[max_threads];

__attribute__((constructor)) static void nobody_waits(void) {
    for (int i = 0; i < max_threads; i++)
        waits_until[i] = never;
}

static int own_number(void) {
    static int threads;
    static _Thread_local int number = -1;

    if (number < 0)
        number = __atomic_fetch_add(&threads, 1, __ATOMIC_RELAXED);
    if (number >= max_threads) {
        fputs("hurry: more threads than there is room for\n", stderr);
        abort();
    }
    return number;
}

/* The call that waits, made again with a limit of its own (-1: none). */
typedef int wait_call(void *call, int64_t limit);

/* Makes it `due`, unless an answer may come, or another thread is to be woken first. */
static bool leap_to(int64_t due) {
    struct page *page = hurry_page();

    if (page->mode != LEAP || machine_ns(CLOCK_MONOTONIC) < answer_awaited_until())
        return false;
    lock_page();
    bool is_first = true;
    for (int i = 0; i < max_threads; i++)
        is_first &= waits_until[i] >= due;
    int64_t end = due < page->until ? due : page->until;
    int64_t left = end - passed();
    if (is_first && left > 0)
        page->skipped += left;
    if (is_first && end == page->until)
        page->mode = HOLD;
    unlock_page();
    return is_first;
}

static int64_t sooner(int64_t a, int64_t b) { return a < b ? a : b; }

static int wait_in_steps(void *arguments, wait_call *call, int64_t end, const sigset_t *mask) {
    struct page *page = hurry_page();
    bool slept = false;

    for (;;) {
        int result = call(arguments, 0);
        if (result != 0)
            return result;
        int64_t now = passed();
        if (next_timer() <= now) {
            if (timers_go_off(mask)) {
                errno = EINTR;
                return -1;
            }
            continue;
        }
        if (end <= now)
            return 0;
        if (!slept)
            __atomic_fetch_add(&page->sleeps, 1, __ATOMIC_RELAXED);
        slept = true;
        int64_t due = sooner(end, next_timer());
        if (due == never)
            return call(arguments, -1);
        waits_until[own_number()] = due;
        if (leap_to(due))
            continue;
        result = call(arguments, sooner(due - now, 5 * millisecond));
        if (result != 0)
            return result;
    }
}

/* `limit` in nanoseconds, -1 for none. */
static int wait_for(void *arguments, wait_call *call, int64_t limit, const sigset_t *mask) {
    const struct page *page = hurry_page();

    if (!page || page->mode == PLAIN || limit == 0)
        return call(arguments, limit);
    int64_t end = limit < 0 ? never : passed() + limit;
    int result = wait_in_steps(arguments, call, end, mask);
    int saved = errno;
    waits_until[own_number()] = never;
    errno = saved;
    return result;
}

static struct timespec *as_timespec(struct timespec *time, int64_t limit) {
    *time = timespec_of(limit < 0 ? 0 : limit);
    return limit < 0 ? NULL : time;
}

/* --- select */

struct select_call {
    int count;
    fd_set *sets[3];
    fd_set given[3];
    const sigset_t *mask;
};

static int call_select(void *arguments, int64_t limit) {
    struct select_call *call = arguments;
    struct timespec time;

    for (int i = 0; i < 3; i++)
        if (call->sets[i])
            *call->sets[i] = call->given[i];
    return REAL(pselect)(call->count, call->sets[0], call->sets[1], call->sets[2],
                         as_timespec(&time, limit), call->mask);
}

int pselect(int count, fd_set *restrict reading, fd_set *restrict writing, fd_set *restrict errors,
            const struct timespec *restrict limit, const sigset_t *restrict mask) {
    struct select_call call = {.count = count, .sets = {reading, writing, errors}, .mask = mask};

    for (int i = 0; i < 3; i++)
        if (call.sets[i])
            call.given[i] = *call.sets[i];
    return wait_for(&call, call_select, limit ? ns_of(*limit) : -1, mask);
}

int select(int count, fd_set *restrict reading, fd_set *restrict writing, fd_set *restrict errors,
           struct timeval *restrict limit) {
    if (!limit)
        return pselect(count, reading, writing, errors, NULL, NULL);
    int64_t start = passed(), ns = limit->tv_sec * 1000000000 + limit->tv_usec * 1000;
    struct timespec fine = timespec_of(ns);
    int result = pselect(count, reading, writing, errors, &fine, NULL);
    int saved = errno;
    int64_t left = ns - (passed() - start);
    if (left < 0)
        left = 0;
    *limit = (struct timeval){.tv_sec = left / 1000000000, .tv_usec = left % 1000000000 / 1000};
    errno = saved;
    return result;
}

/* --- poll */

struct poll_call {
    struct pollfd *descriptors;
    nfds_t count;
    const sigset_t *mask;
};

static int call_poll(void *arguments, int64_t limit) {
    const struct poll_call *call = arguments;
    struct timespec time;

    return REAL(ppoll)(call->descriptors, call->count, as_timespec(&time, limit), call->mask);
}

int ppoll(struct pollfd *descriptors, nfds_t count, const struct timespec *limit,
          const sigset_t *mask) {
    struct poll_call call = {.descriptors = descriptors, .count = count, .mask = mask};
    return wait_for(&call, call_poll, limit ? ns_of(*limit) : -1, mask);
}

int poll(struct pollfd *descriptors, nfds_t count, int limit_ms) {
    struct timespec limit = timespec_of(limit_ms * millisecond);
    return ppoll(descriptors, count, limit_ms < 0 ? NULL : &limit, NULL);
}

/* --- epoll */

struct epoll_call {
    int fd, most;
    struct epoll_event *events;
};

static int call_epoll(void *arguments, int64_t limit) {
    const struct epoll_call *call = arguments;
    int limit_ms = limit < 0 ? -1 : (int)((limit + millisecond - 1) / millisecond);

    return REAL(epoll_wait)(call->fd, call->events, call->most, limit_ms);
}

int epoll_wait(int fd, struct epoll_event *events, int most, int limit_ms) {
    struct epoll_call call = {.fd = fd, .events = events, .most = most};
    return wait_for(&call, call_epoll, limit_ms < 0 ? -1 : limit_ms * millisecond, NULL);
}

/* --- sleep */

static int call_sleep(void *arguments, int64_t limit) {
    struct timespec time;

    (void)arguments;
    return limit == 0 ? 0 : REAL(nanosleep)(as_timespec(&time, limit), NULL);
}

int nanosleep(const struct timespec *asked, struct timespec *left) {
    if (left)
        *left = (struct timespec){0};
    return wait_for(NULL, call_sleep, ns_of(*asked), NULL);
}

unsigned sleep(unsigned seconds) {
    struct timespec asked = {.tv_sec = seconds};
    nanosleep(&asked, NULL);
    return 0;
}

int usleep(useconds_t microseconds) {
    struct timespec asked = timespec_of((int64_t)microseconds * 1000);
    return nanosleep(&asked, NULL);
}
