/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * Calls of the daemon's exported functions, on its event-loop thread, as a
 * component inside the process would make them.
 *
 * "call" holds texts, each ended by a zero byte: a number that the answer repeats,
 * the function's name and its arguments: "=" and a text, or only "-" for a null
 * pointer.  "answer" is a JSON object with the number, the result and where the
 * two output files ended before and after.
 */
#include "shim.h"

#include <dlfcn.h>
#include <errno.h>
#include <inttypes.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

enum { max_arguments = 64, max_call = 65536, look_ms = 5 };

struct call {
    const char *number;
    const char *name;
    int count;
    char *arguments[max_arguments];
};

struct zone_offset {
    int32_t east, hour, minute;
};

typedef union {
    void *address;
    int32_t (*of_nothing)(void);
    int32_t (*of_text)(const char *text);
    int32_t (*of_number)(int32_t number);
    int32_t (*of_count)(uint32_t number);
    int32_t (*of_list)(int32_t count, char **texts);
    int32_t (*of_year)(int32_t year, int64_t now, const char *location);
    struct zone_offset (*offset)(void);
    struct tm *(*local)(const time_t *instant);
    struct tm *(*local_r)(const time_t *instant, struct tm *result);
} function;

static bool calling;

__attribute__((constructor)) static void prepare_calls(void) {
    calling = control_number("calls", 0) != 0;
}

/* Takes a text's end off `rest`, which moves on to the next. */
static char *next_text(char **rest, const char *end) {
    char *text = *rest;

    *rest = text + strnlen(text, (size_t)(end - text)) + 1;
    return text;
}

static bool read_call(struct call *call, char *bytes, size_t size) {
    ssize_t length = shim_read("call", bytes, size);
    char *rest = bytes;

    if (length <= 0)
        return false;
    const char *end = bytes + length;
    *call = (struct call){.number = next_text(&rest, end), .name = next_text(&rest, end)};
    while (rest < end && call->count < max_arguments - 1) {
        char *text = next_text(&rest, end);
        call->arguments[call->count++] = *text == '=' ? text + 1 : NULL;
    }
    return true;
}

static long long number_of(const struct call *call, int index) {
    const char *text = call->arguments[index];
    return text ? strtoll(text, NULL, 10) : 0;
}

/* Renders a result as JSON. */
static void perform(const struct call *call, char *out, size_t size) {
    const char *name = call->name;
    function f = {dlsym(RTLD_DEFAULT, name)};
    char text[512];

    if (!f.address) {
        snprintf(out, size, "\"no such function\"");
    } else if (strcmp(name, "getenv") == 0) {
        const char *value = getenv(call->arguments[0]);
        snprintf(out, size, value ? "\"%s\"" : "null",
                 escaped(text, sizeof(text), value ? value : ""));
    } else if (strncmp(name, "localtime", 9) == 0) {
        time_t instant = number_of(call, 0);
        struct tm own;
        const struct tm *t = name[9] ? f.local_r(&instant, &own) : f.local(&instant);
        if (t)
            snprintf(out, size, "\"%d-%02d-%02d %02d:%02d:%02d %s %d %ld\"", t->tm_year + 1900,
                     t->tm_mon + 1, t->tm_mday, t->tm_hour, t->tm_min, t->tm_sec,
                     escaped(text, sizeof(text), t->tm_zone), t->tm_isdst, t->tm_gmtoff);
        else
            snprintf(out, size, "null");
    } else if (strcmp(name, "get_system_timezone") == 0) {
        struct zone_offset offset = f.offset();
        snprintf(out, size, "[%" PRId32 ", %" PRId32 ", %" PRId32 "]", offset.east, offset.hour,
                 offset.minute);
    } else {
        int32_t result;
        if (strcmp(name, "zdump_main") == 0)
            result = f.of_list(call->count, (char **)call->arguments);
        else if (strcmp(name, "systemGetDstCfg") == 0)
            result = f.of_year((int32_t)number_of(call, 0), number_of(call, 1), call->arguments[2]);
        else if (strcmp(name, "set_timezone_offset") == 0)
            result = f.of_count((uint32_t)number_of(call, 0));
        else if (strcmp(name, "set_timezone_east") == 0)
            result = f.of_number((int32_t)number_of(call, 0));
        else if (call->count == 0)
            result = f.of_nothing();
        else
            result = f.of_text(call->arguments[0]);
        snprintf(out, size, "%" PRId32, result);
    }
}

static long long size_of(int fd) {
    struct stat status;
    return fstat(fd, &status) == 0 ? (long long)status.st_size : 0;
}

/* Makes the call that a test asks for, if there is one, open to signals like the
 * loop's own tasks. */
static bool make_call(const sigset_t *mask) {
    static char bytes[max_call];
    struct call call;
    sigset_t held;
    char result[1024], path[512], new_path[512], target[256];

    if (!read_call(&call, bytes, sizeof(bytes)))
        return false;
    shim_path(path, sizeof(path), "call");
    remove(path);

    long long out = size_of(STDOUT_FILENO), err = size_of(STDERR_FILENO);
    if (mask)
        pthread_sigmask(SIG_SETMASK, mask, &held);
    perform(&call, result, sizeof(result));
    if (mask)
        pthread_sigmask(SIG_SETMASK, &held, NULL);
    REAL(fflush)(stdout);

    shim_path(new_path, sizeof(new_path), "answer.new");
    shim_path(path, sizeof(path), "answer");
    FILE *file = fopen(new_path, "w");
    if (!file)
        abort();
    ssize_t length = readlink("/proc/self/fd/1", target, sizeof(target) - 1);
    target[length < 0 ? 0 : length] = '\0';
    fprintf(file, "{\"number\": %s, \"result\": %s, \"stdout\": [\"%s\", %lld, %lld], ",
            call.number, result, target, out, size_of(STDOUT_FILENO));
    length = readlink("/proc/self/fd/2", target, sizeof(target) - 1);
    target[length < 0 ? 0 : length] = '\0';
    fprintf(file, "\"stderr\": [\"%s\", %lld, %lld]}\n", target, err, size_of(STDERR_FILENO));
    fclose(file);
    rename(new_path, path);
    return true;
}

/* The event loop's wait.  It is woken often to look for a call; the loop takes one
 * that was made for a signal that came in, and begins anew. */
int ppoll(struct pollfd *descriptors, nfds_t count, const struct timespec *timeout,
          const sigset_t *mask) {
    if (!calling || syscall(SYS_gettid) != getpid())
        return REAL(ppoll)(descriptors, count, timeout, mask);

    int64_t left = timeout ? timeout->tv_sec * 1000 + timeout->tv_nsec / 1000000 : INT64_MAX;
    for (;;) {
        if (make_call(mask)) {
            errno = EINTR;
            return -1;
        }
        int64_t slice = left < look_ms ? left : look_ms;
        struct timespec short_time = {.tv_nsec = (long)slice * 1000000};
        int result = REAL(ppoll)(descriptors, count, &short_time, mask);
        if (result != 0)
            return result;
        left -= slice;
        if (left <= 0)
            return 0;
    }
}
