/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * A module for the daemon's process: "show ntp status [json]" tells what the NTP client is
 * doing, and the log what happened to it.
 */
#include <zebra.h>

#include <sys/eventfd.h>

#include "command.h"
#include "hook.h"
#include "json.h"
#include "libfrr.h"
#include "log.h"
#include "module.h"
#include "version.h"
#include "vty.h"

#include "horad/frr_compat.h"
#include "horad/state.h"
#include "ntp_cli/node.h"
#include "status/journal.h"
#include "status/show.h"

static int64_t microseconds(clockid_t clock) {
    struct timespec now;

    clock_gettime(clock, &now);
    return (int64_t)now.tv_sec * 1000000 + now.tv_nsec / 1000;
}

/* --- the command ------------------------------------------------------------ */

static void write_to_session(void *session, const char *text) {
    vty_out((struct vty *)session, "%s", text);
}

DEFUN(show_ntp_status, show_ntp_status_cmd, "show ntp status [json]",
      "Show running system information\n"
      "Show NTP information.\n"
      "What the NTP client is doing\n"
      "JavaScript Object Notation\n") {
    struct horad_client_status status;

    horad_client_status(&status);
    if (use_json(argc, argv))
        show_status_json(&status, microseconds(CLOCK_MONOTONIC), write_to_session, vty);
    else
        show_status_table(&status, microseconds(CLOCK_REALTIME), microseconds(CLOCK_MONOTONIC),
                          write_to_session, vty);
    return CMD_SUCCESS;
}

/* --- the log ---------------------------------------------------------------- */

static struct journal journal;
static struct event_loop *loop;
static struct event *news, *minute_over;

/* Is written to when something happened that was not looked at yet. */
static int wake_up = -1;
static atomic_bool is_woken;

/* On the client thread, or on this one when the client's could not be created. */
static void wake(void) {
    const uint64_t one = 1;

    if (!atomic_exchange(&is_woken, true) && write(wake_up, &one, sizeof one) < 0)
        atomic_store(&is_woken, false);
}

static void write_to_log(int priority, const char *text) { zlog(priority, "%s", text); }

static event_result look_again(struct event *event);

static void look(void) {
    struct horad_client_status status;

    horad_client_status(&status);
    const int64_t left =
        journal_look(&journal, &status, microseconds(CLOCK_MONOTONIC) / 1000000, write_to_log);
    if (left != 0)
        event_add_timer(loop, look_again, NULL, left, &minute_over);
}

static event_result look_again(struct event *event) {
    (void)event;
    look();
    EVENT_DONE;
}

static event_result look_at_news(struct event *event) {
    uint64_t count;

    (void)event;
    event_add_read(loop, look_at_news, NULL, wake_up, &news);
    /* In this order: what happens from now on wakes this thread once more. */
    if (read(wake_up, &count, sizeof count) > 0)
        atomic_store(&is_woken, false);
    look();
    EVENT_DONE;
}

/* --- loading ---------------------------------------------------------------- */

static int start(struct event_loop *master) {
    loop = master;
    install_element(VIEW_NODE, &show_ntp_status_cmd); /* and with it in the enable node */
    install_element((enum node_type)NTP_NODE_NUMBER, &show_ntp_status_cmd);

    wake_up = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wake_up < 0) {
        zlog_warn("horad_status: eventfd: %s; nothing is logged of the NTP client",
                  safe_strerror(errno));
        return 0;
    }
    event_add_read(loop, look_at_news, NULL, wake_up, &news);
    horad_client_watch(wake);
    return 0;
}

/* Runs while the daemon starts, when the library has no command line yet. */
static int load(void) {
    const char *release = frrmod_list->info->version;

    /* A module that fails to load takes the daemon with it: this one only stays idle. */
    if (strcmp(release, FRR_VERSION) == 0)
        hook_register(frr_late_init, start);
    else
        fprintf(stderr, "horad_status: made for libfrr %s, not %s\n", FRR_VERSION, release);
    return 0;
}

FRR_MODULE_SETUP(.name = "horad_status", .version = "1.0",
                 .description = "shows and logs what the NTP client is doing", .init = load, );
