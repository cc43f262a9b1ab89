// SPDX-License-Identifier: GPL-2.0-or-later
//
// Entering and leaving the node, the servers, NTP on and off, the debug switch.
// A refusal prints its reason and counts as success, as operators' scripts and
// saved configurations expect.
#include "ntp_cli/ntp_cli.h"

#include <cstring>

#include <zebra.h>

#include "command.h"
#include "vty.h"

#include "cli_helper/cli_helper.h"
#include "client/control.h"
#include "ntp_cli/node.h"
#include "ntp_cli/refusals.h"
#include "ntp_state.h"

namespace {

bool is_text(const char *text, const char *wanted) { return std::strcmp(text, wanted) == 0; }

/// Tells a session why, and ends the command.
int refuse(vty *vty, const char *refusal) {
    vty_out(vty, "%s", refusal);
    return CMD_SUCCESS;
}

int ntp_config_interface_fun(const cmd_element *, vty *vty, int, cmd_token *[]) {
    ntp_node_enter(vty);
    return CMD_SUCCESS;
}

int ntp_config_interface_exit_fun(const cmd_element *, vty *vty, int, cmd_token *[]) {
    ntp_node_leave(vty);
    return CMD_SUCCESS;
}

int ntp_debug_fun(const cmd_element *, vty *, int, cmd_token *argv[]) {
    g_ntp_var.g_ntp_debug = is_text(argv[2]->text, "on") ? 1 : 0;
    return CMD_SUCCESS;
}

/// A bad secondary leaves the primary as it was.
int ntp_server_fun(const cmd_element *, vty *vty, int argc, cmd_token *argv[]) {
    const char *primary = cmd_parase_parameters(&argc, &argv, "server", 0);
    const char *secondary = argc > 1 ? argv[1]->arg : nullptr;
    if (const char *refusal = refusal_of_servers(primary, secondary))
        return refuse(vty, refusal);
    const ntp_guard lock;
    store_server(g_ntp_var.g_pri_ntp_server, *server_name::from(primary));
    if (secondary != nullptr)
        store_server(g_ntp_var.g_sec_ntp_server, *server_name::from(secondary));
    return CMD_SUCCESS;
}

int ntp_server2_fun(const cmd_element *, vty *vty, int argc, cmd_token *argv[]) {
    const bool remove = is_text(argv[0]->text, "no");
    const char *host = cmd_parase_parameters(&argc, &argv, "server2", 0);
    if (remove) {
        const ntp_guard lock;
        store_server(g_ntp_var.g_sec_ntp_server, "");
        return CMD_SUCCESS;
    }
    if (const char *refusal = refusal_of_second_server(g_ntp_var.g_pri_ntp_server, host))
        return refuse(vty, refusal);
    const ntp_guard lock;
    store_server(g_ntp_var.g_sec_ntp_server, *server_name::from(host));
    return CMD_SUCCESS;
}

int ntp_cfg_fun(const cmd_element *, vty *vty, int, cmd_token *argv[]) {
    if (!is_text(argv[1]->text, "enable")) {
        ntp_server_disable();
        return CMD_SUCCESS;
    }
    if (const char *refusal = refusal_to_enable(g_ntp_var.g_pri_ntp_server))
        return refuse(vty, refusal);
    ntp_server_config(g_ntp_var.g_pri_ntp_server, g_ntp_var.g_sec_ntp_server);
    return CMD_SUCCESS;
}

} // namespace

constinit const cmd_element ntp_config_interface_cmd = {
    .string = "ntp [terminal]",
    .doc = "NTP Configuration interface\n"
           "Configuration terminal\n",
    .func = ntp_config_interface_fun,
    .name = "ntp_config_interface_cmd",
};

constinit const cmd_element ntp_debug_cmd = {
    .string = "debug ntp <on|off>",
    .doc = "Debugging functions\n"
           "Debug ntp\n"
           "Enable debug ntp\n"
           "Disable debug ntp\n",
    .func = ntp_debug_fun,
    .name = "ntp_debug_cmd",
};

constinit const cmd_element ntp_config_interface_exit_cmd = {
    .string = "exit",
    .doc = "Exit current mode and down to previous mode\n",
    .func = ntp_config_interface_exit_fun,
    .name = "ntp_config_interface_exit_cmd",
};

constinit const cmd_element ntp_server_cmd = {
    .string = "ntp server HOST [HOST]",
    .doc = "Configure NTP\n"
           "Configure NTP server\n"
           "Hostname or IP address of peer\n"
           "Hostname or IP address of slave\n",
    .func = ntp_server_fun,
    .name = "ntp_server_cmd",
};

constinit const cmd_element ntp_server2_cmd = {
    .string = "[no] second ntp server2 [HOST]",
    .doc = "Negate a command or set its defaults\n"
           "Second NTP config\n"
           "Configure NTP\n"
           "Configure slave NTP server\n"
           "Hostname or IP address of slave\n",
    .attr = CMD_ATTR_HIDDEN,
    .func = ntp_server2_fun,
    .name = "ntp_server2_cmd",
};

constinit const cmd_element ntp_cfg_cmd = {
    .string = "ntp <disable|enable>",
    .doc = "Configure NTP\n"
           "Disable NTP protocol\n"
           "Enable NTP protocol\n",
    .func = ntp_cfg_fun,
    .name = "ntp_cfg_cmd",
};
