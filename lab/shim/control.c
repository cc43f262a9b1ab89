/* SPDX-License-Identifier: GPL-2.0-or-later */
#include "shim.h"

#include <ctype.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

enum { max_counts = 32, max_control = 4096 };

void *shim_real(const char *name) {
    void *found = dlsym(RTLD_NEXT, name);

    if (!found) {
        fprintf(stderr, "clock_shim: no %s behind ours\n", name);
        abort();
    }
    return found;
}

bool shim_active(void) { return getenv("HORAD_SHIM") != NULL; }

void shim_path(char *path, size_t size, const char *name) {
    snprintf(path, size, "%s/%s", getenv("HORAD_SHIM"), name);
}

ssize_t shim_read(const char *name, char *text, size_t size) {
    char path[512];
    ssize_t length;
    int fd;

    if (!shim_active())
        return -1;
    shim_path(path, sizeof(path), name);
    fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return -1;
    length = read(fd, text, size - 1);
    close(fd);
    if (length >= 0)
        text[length] = '\0';
    return length;
}

bool control_text(const char *key, char *value, size_t size) {
    char text[max_control];
    size_t key_length = strlen(key);

    if (shim_read("control", text, sizeof(text)) < 0)
        return false;

    char *rest = text;
    for (char *line; (line = strsep(&rest, "\n"));) {
        if (strncmp(line, key, key_length) == 0 && line[key_length] == ' ') {
            snprintf(value, size, "%s", line + key_length + 1);
            return true;
        }
    }
    return false;
}

double control_number(const char *key, double fallback) {
    char value[64];

    return control_text(key, value, sizeof(value)) ? strtod(value, NULL) : fallback;
}

/* How much of each counted setting is used up since `serial` changed. */
static struct {
    pthread_mutex_t lock;
    double serial;
    char passed[1024]; /* names of events, each between blanks */
    struct {
        char key[32];
        int times;
    } counts[max_counts];
} used = {.lock = PTHREAD_MUTEX_INITIALIZER, .serial = -1};

/* Locks it; what was counted before the last change of `serial` is forgotten. */
static void lock_used(void) {
    double serial = control_number("serial", 0);

    pthread_mutex_lock(&used.lock);
    if (serial != used.serial) {
        memset(used.counts, 0, sizeof(used.counts));
        strcpy(used.passed, " ");
        used.serial = serial;
    }
}

static bool has_passed(const char *name) {
    char word[64];

    snprintf(word, sizeof(word), " %s ", name);
    return strstr(used.passed, word) != NULL;
}

/* Counts a use; whether it is one of the `allowed` ones that follow the first `spared`. */
static bool use_up_one(const char *key, int spared, int allowed) {
    bool hit = false;

    lock_used();
    for (int i = 0; i < max_counts; i++) {
        if (used.counts[i].key[0] == '\0')
            snprintf(used.counts[i].key, sizeof(used.counts[i].key), "%s", key);
        if (strcmp(used.counts[i].key, key) != 0)
            continue;
        int before = used.counts[i].times++;
        hit = before >= spared && before < spared + allowed;
        break;
    }
    pthread_mutex_unlock(&used.lock);
    return hit;
}

bool control_uses_up(const char *key) {
    char value[64];

    return control_text(key, value, sizeof(value)) && use_up_one(key, 0, atoi(value));
}

/* The end of a process whose power is cut: nothing of it runs any more. */
static void cut_power(const char *setting, const char *name) {
    char value[64], chosen[32], key[64];
    int number = 1;

    if (!control_text(setting, value, sizeof(value)) ||
        sscanf(value, "%31s %d", chosen, &number) < 1 || strcmp(chosen, name) != 0)
        return;
    snprintf(key, sizeof(key), "%s %s", setting, name);
    if (use_up_one(key, number - 1, 1))
        kill(getpid(), SIGKILL);
}

void control_passed(const char *name) {
    size_t length;

    lock_used();
    length = strlen(used.passed);
    if (!has_passed(name))
        snprintf(used.passed + length, sizeof(used.passed) - length, "%s ", name);
    pthread_mutex_unlock(&used.lock);
    cut_power("kill_after", name);
}

bool control_fails(const char *call) {
    char key[64], value[64], after[32] = "0";
    int number = 0, times = 0;
    bool begun;

    cut_power("kill_before", call);
    snprintf(key, sizeof(key), "%s_errno", call);
    if (!control_text(key, value, sizeof(value)))
        return false;
    if (sscanf(value, "%d %d %31s", &number, &times, after) >= 2) {
        lock_used();
        begun = isdigit((unsigned char)after[0]) || has_passed(after);
        pthread_mutex_unlock(&used.lock);
        if (!begun || !use_up_one(call, atoi(after), times))
            return false;
    }
    if (number != 0 && control_number("faults", 0) != 0)
        event("fault", ", \"call\": \"%s\"", call);
    errno = number;
    return number != 0;
}
