// SPDX-License-Identifier: GPL-2.0-or-later
#include "ntp_cli/ntp_cli.h"

#include <initializer_list>

#include <zebra.h>

#include "command.h"
#include "vty.h"

#include "ntp_cli/node.h"

void ntp_cli_init() noexcept {
    ntp_node_install(ntp_config_write);

    for (const cmd_element *command : {&ntp_config_interface_cmd, &ntp_debug_cmd})
        _install_element(CONFIG_NODE, command);

    for (const cmd_element *command : {
             &ntp_config_interface_exit_cmd,
             &ntp_server_cmd,
             &ntp_server2_cmd,
             &ntp_cfg_cmd,
             &ntp_show_cmd,
             &show_system_timezone_cmd,
             &dstzone_africa_cmd,
             &dstzone_america_cmd,
             &dstzone_indian_ocean_cmd,
             &dstzone_asia_cmd,
             &dstzone_atlantic_cmd,
             &dstzone_europe_cmd,
             &dstzone_ocean_cmd,
             &dstzone_pacific_cmd,
             &no_timezone_cmd,
         })
        ntp_node_add_command(command);
}
