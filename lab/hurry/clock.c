/* SPDX-License-Identifier: GPL-2.0-or-later */
/* The daemon's clock, and all that sets it. */
#include "hurry.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/capability.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <sys/timex.h>
#include <unistd.h>

static const int64_t second = 1000000000;
static struct page *page;
static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;

/* What the kernel keeps for adjtimex(), beside the frequency. */
static struct {
    int status;
    long constant;
    int64_t last_offset; /* when it got the last one */
} kernel = {.status = STA_UNSYNC};

__attribute__((constructor)) static void open_page(void) {
    const char *path = getenv("HURRY");
    int fd = path ? open(path, O_RDWR | O_CLOEXEC) : -1;

    if (fd < 0)
        return;
    void *mapped = mmap(NULL, sizeof(struct page), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (mapped != MAP_FAILED)
        page = mapped;
    close(fd);
}

struct page *hurry_page(void) {
    return page;
}
void lock_page(void) { pthread_mutex_lock(&lock); }
void unlock_page(void) { pthread_mutex_unlock(&lock); }

int64_t ns_of(struct timespec time) { return time.tv_sec * second + time.tv_nsec; }

struct timespec timespec_of(int64_t ns) {
    return (struct timespec){.tv_sec = ns / second, .tv_nsec = ns % second};
}

int64_t machine_ns(clockid_t clock) {
    struct timespec time = {0};

    REAL(clock_gettime)(clock, &time);
    return ns_of(time);
}

int64_t passed(void) { return machine_ns(CLOCK_MONOTONIC) + (page ? page->skipped : 0); }

/* With the lock held. */
static int64_t clock_when(int64_t moment) {
    int64_t since = moment - page->anchor;
    double wrong = (page->drift + page->frequency) * 1e-6 + (double)(page->tick - 10000) / 10000;

    return page->shown + since + (int64_t)((double)since * wrong);
}

int64_t daemon_clock_at(int64_t machine_time) {
    int64_t ago = machine_ns(CLOCK_REALTIME) - machine_time;

    lock_page();
    int64_t shown = clock_when(passed() - ago);
    unlock_page();
    return shown;
}

int64_t daemon_ns(clockid_t clock) {
    if (!page)
        return machine_ns(clock);
    if (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE) {
        lock_page();
        int64_t shown = clock_when(passed());
        unlock_page();
        return shown;
    }
    bool passes = clock != CLOCK_PROCESS_CPUTIME_ID && clock != CLOCK_THREAD_CPUTIME_ID;
    return machine_ns(clock) + (passes ? page->skipped : 0);
}

/* What is changed from now on leaves what the clock shows as it is.  With the lock held. */
static void anchor_now(void) {
    int64_t now = passed();

    page->shown = clock_when(now);
    page->anchor = now;
}

/* --- reading */

int clock_gettime(clockid_t clock, struct timespec *value) {
    if (!page || clock < 0)
        return REAL(clock_gettime)(clock, value);
    *value = timespec_of(daemon_ns(clock));
    return 0;
}

int gettimeofday(struct timeval *restrict value, void *restrict zone) {
    struct timespec now = timespec_of(daemon_ns(CLOCK_REALTIME));

    (void)zone;
    *value = (struct timeval){.tv_sec = now.tv_sec, .tv_usec = now.tv_nsec / 1000};
    return 0;
}

time_t time(time_t *result) {
    time_t seconds = daemon_ns(CLOCK_REALTIME) / second;

    if (result)
        *result = seconds;
    return seconds;
}

/* --- setting */

static int refuse(void) {
    errno = EPERM; /* never the machine's clock */
    return -1;
}

/* Some daemons try out at their start whether they may: that moves nothing. */
static void step_to(int64_t shown) {
    int64_t moment = passed(), by = llabs(shown - clock_when(moment));

    page->set = machine_ns(CLOCK_REALTIME);
    if (by > second / 1000 && page->steps++ == 0)
        page->first_step = machine_ns(CLOCK_MONOTONIC);
    page->anchor = moment;
    page->shown = shown;
}

int clock_settime(clockid_t clock, const struct timespec *value) {
    if (!page || clock != CLOCK_REALTIME)
        return refuse();
    lock_page();
    step_to(ns_of(*value));
    unlock_page();
    return 0;
}

int settimeofday(const struct timeval *value, const struct timezone *zone) {
    (void)zone;
    if (!page)
        return refuse();
    if (!value)
        return 0; /* the kernel's zone only */
    struct timespec fine = {.tv_sec = value->tv_sec, .tv_nsec = value->tv_usec * 1000};
    return clock_settime(CLOCK_REALTIME, &fine);
}

static void slew(int64_t offset) {
    page->shown += offset;
    page->adjustments++;
}

int adjtime(const struct timeval *delta, struct timeval *left) {
    if (!page)
        return refuse();
    if (left)
        *left = (struct timeval){0};
    if (delta) {
        lock_page();
        slew(delta->tv_sec * second + delta->tv_usec * 1000);
        unlock_page();
    }
    return 0;
}

/* An offset for the kernel's own loop: the phase at once, the frequency as adjtimex(2)'s
 * PLL has it, or its FLL after a long while. */
static void follow_offset(int64_t offset) {
    int64_t now = passed(), since = kernel.last_offset ? (now - kernel.last_offset) / second : 0;
    int64_t longest = (int64_t)1 << (3 + kernel.constant);
    double gained = 0;

    if (since > 2048 || ((kernel.status & STA_FLL) && since >= 256))
        gained = (double)offset / 4.0 / (double)since;
    int64_t counted = since < longest ? since : longest;
    gained +=
        (double)offset * (double)counted / (double)((int64_t)1 << (2 * (4 + kernel.constant)));
    page->frequency += gained / 1000; /* from ns/s */
    kernel.last_offset = now;
    slew(offset);
}

static int64_t offset_in_ns(const struct timex *asked) {
    return kernel.status & STA_NANO ? asked->offset : asked->offset * 1000;
}

static void change_kernel(const struct timex *asked) {
    anchor_now();
    if (asked->modes & ADJ_STATUS)
        kernel.status = (asked->status & ~STA_RONLY) | (kernel.status & STA_NANO);
    if (asked->modes & ADJ_NANO)
        kernel.status |= STA_NANO;
    if (asked->modes & ADJ_MICRO)
        kernel.status &= ~STA_NANO;
    if (asked->modes & ADJ_TIMECONST)
        kernel.constant = asked->constant + (kernel.status & STA_NANO ? 0 : 4);
    if (asked->modes & ADJ_FREQUENCY)
        page->frequency = (double)asked->freq / 65536;
    if (asked->modes & ADJ_TICK)
        page->tick = asked->tick;
    if (asked->modes & (ADJ_FREQUENCY | ADJ_TICK))
        page->adjustments++;
    if (asked->modes & ADJ_OFFSET)
        follow_offset(offset_in_ns(asked));
    if (asked->modes & ADJ_SETOFFSET)
        step_to(clock_when(passed()) + asked->time.tv_sec * second +
                asked->time.tv_usec * (asked->modes & ADJ_NANO ? 1 : 1000));
}

int adjtimex(struct timex *state) {
    if (!page)
        return refuse();
    lock_page();
    if (state->modes == ADJ_OFFSET_SINGLESHOT) {
        anchor_now();
        slew(state->offset * 1000);
    } else if (state->modes != ADJ_OFFSET_SS_READ) {
        change_kernel(state);
    }
    *state = (struct timex){
        .modes = state->modes,
        .freq = (long)(page->frequency * 65536),
        .status = kernel.status,
        .constant = kernel.constant,
        .precision = 1,
        .tolerance = 500 << 16,
        .tick = page->tick,
    };
    int64_t now = clock_when(passed());
    state->time.tv_sec = now / second;
    state->time.tv_usec = now % second / (kernel.status & STA_NANO ? 1 : 1000);
    unlock_page();
    return kernel.status & STA_UNSYNC ? TIME_ERROR : TIME_OK;
}

int ntp_adjtime(struct timex *state) { return adjtimex(state); }

int clock_adjtime(clockid_t clock, struct timex *state) {
    return clock == CLOCK_REALTIME ? adjtimex(state) : refuse();
}

/* --- what else would reach the machine, or fail without its clock */

int system(const char *command) {
    if (command && page)
        page->commands++;
    return command ? 0 : 1;
}

/* libcap's, for daemons that keep the right to set the clock: nobody in the lab has it. */
int cap_set_proc(void *wanted);
int cap_set_flag(void *set, int flag, int count, const int *capabilities, int value);

int cap_set_proc(void *wanted) {
    const int set_time = CAP_SYS_TIME;

    for (int flag = 0; flag < 3; flag++) /* effective, permitted, inheritable */
        REAL(cap_set_flag)(wanted, flag, 1, &set_time, 0);
    return REAL(cap_set_proc)(wanted);
}
