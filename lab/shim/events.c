/* SPDX-License-Identifier: GPL-2.0-or-later */
#include "shim.h"

#include <fcntl.h>
#include <inttypes.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/prctl.h>
#include <unistd.h>

static void thread_name(char name[17]) {
    memset(name, 0, 17);
    prctl(PR_GET_NAME, name);
}

bool on_client_thread(void) {
    char name[17];

    thread_name(name);
    return strcmp(name, "ntpClient") == 0;
}

static _Thread_local unsigned long events_written;

unsigned long events_of_thread(void) { return events_written; }

void event(const char *name, const char *format, ...) {
    char path[512], line[8192], thread[17];
    va_list args;
    int length, more, fd;

    if (!shim_active())
        return;
    events_written++;
    thread_name(thread);
    length = snprintf(line, sizeof(line),
                      "{\"event\": \"%s\", \"thread\": \"%s\", \"waited\": %.6f, \"real\": %.6f",
                      name, thread, (double)waited_us() / 1e6, (double)real_monotonic_us() / 1e6);
    va_start(args, format);
    more = vsnprintf(line + length, sizeof(line) - (size_t)length - 2, format, args);
    va_end(args);
    length += more;
    if (more < 0 || (size_t)length > sizeof(line) - 3)
        length = snprintf(line, sizeof(line), "{\"event\": \"%s\", \"too_long\": true", name);
    line[length++] = '}';
    line[length++] = '\n';

    /* Opened each time: the daemon may close descriptors that are not its own. */
    shim_path(path, sizeof(path), "events");
    fd = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0)
        return;
    if (write(fd, line, (size_t)length) != length)
        fprintf(stderr, "clock_shim: cannot write %s\n", path);
    close(fd);
    control_passed(name);
}

const char *hex(char *out, size_t size, const void *bytes, size_t length) {
    const unsigned char *from = bytes;
    size_t at = 0;

    out[0] = '\0';
    for (size_t i = 0; i < length && at + 3 <= size; i++, at += 2)
        snprintf(out + at, 3, "%02x", from[i]);
    return out;
}

const char *escaped(char *out, size_t size, const char *text) {
    size_t at = 0;

    for (; *text && at + 7 <= size; text++) {
        unsigned char byte = (unsigned char)*text;

        if (byte == '"' || byte == '\\' || byte < 0x20 || byte >= 0x7f)
            at += (size_t)snprintf(out + at, 7, "\\u%04x", byte);
        else
            out[at++] = (char)byte;
    }
    out[at] = '\0';
    return out;
}
