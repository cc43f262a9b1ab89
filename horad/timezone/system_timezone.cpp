// SPDX-License-Identifier: GPL-2.0-or-later
#include "horad/timezone.h"

#include <cstdio>
#include <ctime>

#include <unistd.h>

#include <zebra.h>

#include "vty.h"

#include "ntp_state.h"
#include "tz/process_zone.h"

int32_t set_system_timezone_by_path(const char *path) {
    constexpr int32_t null_argument = -27;
    constexpr char link[] = "/etc/localtime";
    if (path == nullptr)
        return null_argument;
    unlink(link);
    if (const int failed = symlink(path, link); failed != 0) {
        std::perror("symlink err");
        return failed;
    }
    // The file behind an unset TZ is another one now; a TZ that is set still wins.
    forget_default_zone();
    tzset();
    debug_printf("\r\n>>>>Set system timezone %s successfully!\r\n", path);
    return 0;
}

int32_t show_system_timezone(struct vty *vty) {
    return vty_out(vty, "Current system time zone : %s-%s %s\r\n", g_ntp_var.continent_name,
                   g_ntp_var.city_name, g_ntp_var.time_zone);
}
