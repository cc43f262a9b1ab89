// SPDX-License-Identifier: GPL-2.0-or-later
#include "ntp_cli/ntp_cli.h"

#include <zebra.h>

#include "vty.h"

#include "ntp_state.h"

int ntp_config_write(vty *vty) noexcept {
    if (ntp_status != 1)
        return 0;
    vty_frame(vty, "ntp terminal\n");
    // Both names, whatever they hold.  An emptied secondary reads back as a
    // one-server line; one that was never set ("0.0.0.0") is refused on reload.
    vty_out(vty, " ntp server %s %s\r\n", g_ntp_var.g_pri_ntp_server, g_ntp_var.g_sec_ntp_server);
    vty_out(vty, " ntp enable\r\n");
    if (g_ntp_var.continent_name != nullptr && g_ntp_var.city_name != nullptr)
        vty_out(vty, " timezone continent %s location %s\r\n", g_ntp_var.continent_name,
                g_ntp_var.city_name);
    vty_endframe(vty, nullptr);
    return 0;
}
