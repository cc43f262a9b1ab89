/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * A module for the daemon's process: the command "show time ZONE" tells what time
 * it is in a zone, and when its clocks change next.
 */
#include <zebra.h>

#include "command.h"
#include "hook.h"
#include "libfrr.h"
#include "module.h"
#include "version.h"
#include "vty.h"

#include "horad/frr_compat.h"
#include "horad/timezone.h"
#include "horad/tz.h"

static void show_local_time(struct vty *vty, const char *what, const_timezone_t zone, time_t time) {
    struct tm local;
    char text[128];

    if (!localtime_rz(zone, &time, &local)) {
        vty_out(vty, "%% %s has no date\n", what);
        return;
    }
    /* The abbreviation lies in the zone object: use it before that is given back. */
    strftime(text, sizeof text, "%F %T %Z (UTC%z)", &local);
    vty_out(vty, "%s: %s%s\n", what, text, local.tm_isdst > 0 ? ", daylight-saving time" : "");
}

/*
 * Reads the first change after `now` from the list that zdump_main() left; `now`
 * when there is none.  False when the list cannot be read.
 */
static bool read_next_change(time_t now, time_t *change) {
    char line[512];
    bool is_change = true;
    FILE *list = fopen("/tmp/dstconfig", "r");

    if (!list)
        return false;
    *change = now;
    while (*change <= now && fgets(line, sizeof line, list)) {
        struct tm utc = {0};
        const char *date = strchr(line, ' ');

        /* The ends of time have no date. */
        if (!date || !strptime(date, " %a %b %d %T %Y UT", &utc))
            continue;
        /* The lines come in twos: the last second before a change, and the change. */
        is_change = !is_change;
        if (is_change)
            *change = mktime_z(NULL, &utc);
    }
    *change = MAX(*change, now);
    bool is_read = !ferror(list);
    fclose(list);
    return is_read;
}

static bool find_next_change(char *zone, time_t now, time_t *change) {
    char program[] = "show time", option[] = "-c", verbose[] = "-v", years[32];
    char *arguments[] = {program, option, years, verbose, zone};
    struct tm utc;

    if (!gmtime_r(&now, &utc))
        return false;
    snprintf(years, sizeof years, "%d,%d", utc.tm_year + 1900, utc.tm_year + 1902);
    return zdump_main(array_size(arguments), arguments) == 0 && read_next_change(now, change);
}

/* Commands run on the event-loop thread, the only one that may call zdump_main(). */
DEFUN(show_time, show_time_cmd, "show time WORD",
      SHOW_STR "Time in a zone\nZone file such as Europe/Paris, or TZ string\n") {
    char *name = argv[2]->arg;
    const time_t now = time(NULL);
    time_t change;
    timezone_t zone = tzalloc(name);

    if (!zone) {
        vty_out(vty, "%% No zone %s: %s\n", name, safe_strerror(errno));
        return CMD_WARNING;
    }
    show_local_time(vty, "Now", zone, now);
    bool found = find_next_change(name, now, &change);
    if (!found)
        vty_out(vty, "%% The list of changes cannot be read\n");
    else if (change > now)
        show_local_time(vty, "Next change", zone, change);
    else
        vty_out(vty, "Next change: none this year and the next\n");
    tzfree(zone);
    return found ? CMD_SUCCESS : CMD_WARNING;
}

static int add_commands(struct event_loop *master) {
    (void)master;
    install_element(VIEW_NODE, &show_time_cmd); /* and with it in the enable node */
    return 0;
}

/* Runs while the daemon starts, when the library has no command line yet. */
static int load(void) {
    const char *release = frrmod_list->info->version;

    /*
     * Structures differ between releases, and nobody else compares them.  A module
     * that fails to load takes the daemon with it: this one only stays idle.
     */
    if (strcmp(release, FRR_VERSION) == 0)
        hook_register(frr_late_init, add_commands);
    else
        fprintf(stderr, "zone_report: made for libfrr %s, not %s\n", FRR_VERSION, release);
    return 0;
}

FRR_MODULE_SETUP(.name = "zone_report", .version = "1.0",
                 .description = "shows the time in any zone", .init = load, );
