/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * Files by which the daemon tells the system its zone, and any others that a test
 * watches.  Everything else passes through untouched: libfrr's files, sockets and
 * ours.  What goes through a stdio stream is seen when it is opened only.
 */
#include "shim.h"

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

enum { max_fd = 256 };

/* The path behind a descriptor of a watched file; null for any other. */
static _Atomic(char *) opened[max_fd];

static bool is_watched(const char *path) {
    static const char *const always[] = {"/etc/TZ", "/etc/localtime", "/tmp/dstconfig"};
    const char *ours = getenv("HORAD_SHIM");
    char prefix[256];

    /* Looking for the setting reads a file of ours: no further from there. */
    if (!ours || !path || strncmp(path, ours, strlen(ours)) == 0)
        return false;
    for (size_t i = 0; i < sizeof(always) / sizeof(*always); i++)
        if (strcmp(path, always[i]) == 0)
            return true;
    return control_text("watch", prefix, sizeof(prefix)) &&
           strncmp(path, prefix, strlen(prefix)) == 0;
}

static const char *watched_fd(int fd) { return fd >= 0 && fd < max_fd ? opened[fd] : NULL; }

static void record(const char *call, const char *path, long result) {
    int saved = errno;
    char text[1024];

    event(call, ", \"path\": \"%s\", \"result\": %ld", escaped(text, sizeof(text), path), result);
    errno = saved;
}

static void record_open(const char *path, bool writes, mode_t mode, bool made) {
    int saved = errno;
    char text[1024];

    event("open", ", \"path\": \"%s\", \"writes\": %s, \"mode\": %u, \"result\": %d",
          escaped(text, sizeof(text), path), writes ? "true" : "false", mode, made ? 0 : -1);
    errno = saved;
}

static int open_file(int folder, const char *path, int flags, mode_t mode) {
    bool watched = is_watched(path);
    int fd = -1;

    if (!watched || !control_fails("open"))
        fd = (int)syscall(SYS_openat, folder, path, flags, mode);
    if (watched) {
        if (fd >= 0 && fd < max_fd)
            opened[fd] = strdup(path);
        record_open(path, (flags & O_ACCMODE) != O_RDONLY, mode, fd >= 0);
    }
    return fd;
}

static mode_t mode_after(int flags, va_list *args) {
    return flags & (O_CREAT | __O_TMPFILE) ? va_arg(*args, mode_t) : 0;
}

#define OPEN(name, folder, ...)                      \
    int name(__VA_ARGS__, int flags, ...) {          \
        va_list args;                                \
        va_start(args, flags);                       \
        mode_t mode = mode_after(flags, &args);      \
        va_end(args);                                \
        return open_file(folder, path, flags, mode); \
    }

OPEN(open, AT_FDCWD, const char *path)
OPEN(open64, AT_FDCWD, const char *path)
OPEN(openat, folder, int folder, const char *path)
OPEN(openat64, folder, int folder, const char *path)

static FILE *open_stream(FILE *(*real)(const char *, const char *), const char *path,
                         const char *mode) {
    bool watched = is_watched(path);
    FILE *stream = watched && control_fails("open") ? NULL : real(path, mode);

    if (watched)
        record_open(path, strpbrk(mode, "wa+") != NULL, 0666, stream != NULL);
    return stream;
}

FILE *fopen(const char *restrict path, const char *restrict mode) {
    return open_stream(REAL(fopen), path, mode);
}

FILE *fopen64(const char *restrict path, const char *restrict mode) {
    return open_stream(REAL(fopen64), path, mode);
}

int access(const char *path, int mode) {
    if (is_watched(path) && control_fails("access"))
        return -1;
    return (int)syscall(SYS_faccessat, AT_FDCWD, path, mode);
}

ssize_t read(int fd, void *bytes, size_t size) {
    if (watched_fd(fd) ? control_fails("read") : is_signal_pipe(fd) && control_fails("pipe_read"))
        return -1;
    return syscall(SYS_read, fd, bytes, size);
}

/* What a database does with its files. */
ssize_t pread64(int fd, void *bytes, size_t size, off64_t at) {
    if (watched_fd(fd) && control_fails("pread"))
        return -1;
    return REAL(pread64)(fd, bytes, size, at);
}

ssize_t pwrite64(int fd, const void *bytes, size_t size, off64_t at) {
    if (watched_fd(fd) && control_fails("pwrite"))
        return -1;
    return REAL(pwrite64)(fd, bytes, size, at);
}

int fsync(int fd) {
    if (watched_fd(fd) && control_fails("fsync"))
        return -1;
    return REAL(fsync)(fd);
}

int fdatasync(int fd) {
    if (watched_fd(fd) && control_fails("fsync"))
        return -1;
    return REAL(fdatasync)(fd);
}

ssize_t write(int fd, const void *bytes, size_t size) {
    const char *path = watched_fd(fd);
    char where[256], text[2048], copy[1024];

    if (!path)
        return syscall(SYS_write, fd, bytes, size);
    bool fails = control_fails("write");
    bool cut_short = fails && errno == FAILS_IN_PART;
    ssize_t result = -1;
    if (!fails || cut_short)
        result = syscall(SYS_write, fd, bytes, cut_short ? (size + 1) / 2 : size);
    int saved = errno;
    snprintf(copy, sizeof(copy), "%.*s", (int)size, (const char *)bytes);
    event("write", ", \"path\": \"%s\", \"text\": \"%s\", \"size\": %zu, \"result\": %zd",
          escaped(where, sizeof(where), path), escaped(text, sizeof(text), copy), size, result);
    errno = saved;
    return result;
}

int close(int fd) {
    if (!watched_fd(fd))
        return (int)syscall(SYS_close, fd);
    bool fails = control_fails("close");
    int failed_with = errno;
    /* The descriptor is gone either way, as the kernel has it; from then on its
     * number may be another thread's. */
    char *path = atomic_exchange(&opened[fd], NULL);
    int result = (int)syscall(SYS_close, fd);
    if (fails) {
        result = -1;
        errno = failed_with;
    }
    record("close", path, result);
    int saved = errno;
    free(path);
    errno = saved;
    return result;
}

int unlink(const char *path) {
    bool watched = is_watched(path);
    int result =
        watched && control_fails("unlink") ? -1 : (int)syscall(SYS_unlinkat, AT_FDCWD, path, 0);

    if (watched)
        record("unlink", path, result);
    return result;
}

int symlink(const char *target, const char *path) {
    bool watched = is_watched(path);
    int result = watched && control_fails("symlink")
                     ? -1
                     : (int)syscall(SYS_symlinkat, target, AT_FDCWD, path);

    if (watched)
        record("symlink", path, result);
    return result;
}

/* Of the environment only TZ is the daemon's to change. */
int setenv(const char *name, const char *value, int overwrite) {
    bool watched = shim_active() && name && strcmp(name, "TZ") == 0;
    int result = watched && control_fails("setenv") ? -1 : REAL(setenv)(name, value, overwrite);

    if (watched) {
        int saved = errno;
        char text[1024];
        event("setenv", ", \"value\": \"%s\", \"result\": %d", escaped(text, sizeof(text), value),
              result);
        errno = saved;
    }
    return result;
}
