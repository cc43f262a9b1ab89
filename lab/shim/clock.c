/* SPDX-License-Identifier: GPL-2.0-or-later */
/* The daemon's own clock: the machine's plus an offset, or one that stands still. */
#include "shim.h"

#include <errno.h>
#include <stdatomic.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/timex.h>
#include <time.h>
#include <unistd.h>

static bool frozen;
static _Atomic int64_t offset_us; /* to the machine's clock; the time itself when frozen */

/* The clock of timers, which nobody sets. */
static double monotonic_rate;
static struct timespec monotonic_start;

__attribute__((constructor)) static void start_clock(void) {
    double start = control_number("clock_frozen", -1);

    frozen = start >= 0;
    if (!frozen)
        start = control_number("clock_offset", 0);
    /* rounded: 0.5 s must not become 499999 us */
    atomic_store(&offset_us, (int64_t)(start * 1e6 + (start < 0 ? -0.5 : 0.5)));

    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &monotonic_start);
    monotonic_rate = control_number("monotonic_rate", 1);
}

static struct timespec now(void) {
    struct timespec time = {0};
    int64_t shift = atomic_load(&offset_us);

    if (!frozen)
        syscall(SYS_clock_gettime, CLOCK_REALTIME, &time);
    int64_t ns = time.tv_nsec + (shift % 1000000) * 1000;
    time.tv_sec += shift / 1000000;
    if (ns >= 1000000000) {
        ns -= 1000000000;
        time.tv_sec++;
    } else if (ns < 0) {
        ns += 1000000000;
        time.tv_sec--;
    }
    time.tv_nsec = ns;
    return time;
}

int gettimeofday(struct timeval *restrict value, void *restrict zone) {
    struct timespec time = now();

    (void)zone;
    if (on_client_thread() && control_fails("gettimeofday"))
        return -1;
    *value = (struct timeval){.tv_sec = time.tv_sec, .tv_usec = time.tv_nsec / 1000};
    return 0;
}

time_t time(time_t *result) {
    time_t seconds = now().tv_sec;

    if (result)
        *result = seconds;
    return seconds;
}

int clock_gettime(clockid_t clock, struct timespec *value) {
    if (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE) {
        *value = now();
        return 0;
    }
    int result = (int)syscall(SYS_clock_gettime, clock, value);
    if (result == 0 && clock == CLOCK_MONOTONIC && monotonic_rate > 1) {
        int64_t ns = (value->tv_sec - monotonic_start.tv_sec) * 1000000000 + value->tv_nsec -
                     monotonic_start.tv_nsec;
        ns = (int64_t)((double)ns * monotonic_rate) + monotonic_start.tv_nsec;
        value->tv_sec = monotonic_start.tv_sec + ns / 1000000000;
        value->tv_nsec = ns % 1000000000;
    }
    return result;
}

int timespec_get(struct timespec *value, int base) {
    if (base != TIME_UTC)
        return 0;
    *value = now();
    return base;
}

int settimeofday(const struct timeval *value, const struct timezone *zone) {
    struct timespec before = now();

    if (!shim_active() || !value || zone) {
        errno = ENOSYS; /* never the machine's clock */
        return -1;
    }
    bool fails = control_fails("settimeofday");
    if (!fails && (value->tv_sec < 0 || value->tv_usec < 0 || value->tv_usec >= 1000000)) {
        errno = EINVAL;
        fails = true;
    }
    int saved = errno;
    event("settimeofday", ", \"sec\": %lld, \"usec\": %lld, \"before\": %lld, \"result\": %d",
          (long long)value->tv_sec, (long long)value->tv_usec, (long long)before.tv_sec,
          fails ? -1 : 0);
    if (fails) {
        errno = saved;
        return -1;
    }
    struct timespec machine = {0};
    if (!frozen)
        syscall(SYS_clock_gettime, CLOCK_REALTIME, &machine);
    atomic_store(&offset_us, (int64_t)(value->tv_sec - machine.tv_sec) * 1000000 + value->tv_usec -
                                 machine.tv_nsec / 1000);
    return 0;
}

int clock_settime(clockid_t clock, const struct timespec *value) {
    if (clock == CLOCK_REALTIME) {
        struct timeval coarse = {.tv_sec = value->tv_sec, .tv_usec = value->tv_nsec / 1000};
        return settimeofday(&coarse, NULL);
    }
    errno = EINVAL;
    return -1;
}

static int query_kernel_clock(struct timex *state) {
    bool fails = control_fails("adjtimex");
    int saved = errno;

    event("adjtimex", ", \"modes\": %u, \"result\": %d", state->modes, fails ? -1 : 0);
    if (fails || state->modes != 0) {
        errno = fails ? saved : EPERM;
        return -1;
    }
    *state = (struct timex){.freq = (long)control_number("adjtimex_freq", 0)};
    return 0;
}

int adjtimex(struct timex *state) { return query_kernel_clock(state); }

int ntp_adjtime(struct timex *state) { return query_kernel_clock(state); }

int clock_adjtime(clockid_t clock, struct timex *state) {
    (void)clock;
    return query_kernel_clock(state);
}
