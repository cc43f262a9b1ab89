/* SPDX-License-Identifier: GPL-2.0-or-later */
/* What the daemon lets a shell do. */
#include "shim.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

/* Runs a command as system() does, but without our variables and the
 * sanitizers', and silently: the shell is not the daemon under test. */
static int run(const char *command) {
    char *arguments[] = {"sh", "-c", (char *)command, NULL};
    char *environment[] = {"PATH=/usr/bin:/bin", NULL};
    posix_spawn_file_actions_t silence;
    pid_t shell;
    int status = -1;

    posix_spawn_file_actions_init(&silence);
    posix_spawn_file_actions_addopen(&silence, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&silence, STDOUT_FILENO, STDERR_FILENO);
    bool started = posix_spawn(&shell, "/bin/sh", &silence, NULL, arguments, environment) == 0;
    posix_spawn_file_actions_destroy(&silence);
    if (!started)
        return -1;
    while (waitpid(shell, &status, 0) < 0 && errno == EINTR)
        ;
    return status;
}

/* Only the login profile's commands ever run, in the lab's own /etc: the hardware
 * clock's would reach the machine. */
int system(const char *command) {
    char text[1024], zone[512];
    const char *tz = getenv("TZ");

    /* While it waits, system() lets the whole process ignore these. */
    struct sigaction interrupt, quit, ignored = {.sa_handler = SIG_IGN};
    sigaction(SIGINT, &ignored, &interrupt);
    sigaction(SIGQUIT, &ignored, &quit);

    bool fails = control_fails("system");
    int saved = errno;
    event("system", ", \"command\": \"%s\", \"tz\": \"%s\"",
          escaped(text, sizeof(text), command ? command : ""),
          escaped(zone, sizeof(zone), tz ? tz : ""));
    real_sleep(control_number("system_sleep", 0));
    sigaction(SIGINT, &interrupt, NULL);
    sigaction(SIGQUIT, &quit, NULL);
    int result = fails ? -1 : (int)control_number("system_result", 0);
    if (!fails && shim_active() && command && strstr(command, "/etc/profile") &&
        control_number("profile_commands", 0) != 0)
        result = run(command);
    event("system_done", ", \"result\": %d", result);
    errno = saved;
    return result;
}
