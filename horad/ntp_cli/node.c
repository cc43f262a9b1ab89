/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * In C because the node's number is no value of the library's enumeration,
 * which is fine in C and undefined in C++.
 */
#include <zebra.h>

#include "command.h"
#include "vty.h"

#include "ntp_cli/node.h"

static const enum node_type ntp_node_type = (enum node_type)NTP_NODE_NUMBER;

_Static_assert(NTP_NODE_NUMBER > NODE_TYPE_MAX, "the library uses the node's number itself");

static struct cmd_node ntp_node = {
    .name = "ntp",
    .node = (enum node_type)NTP_NODE_NUMBER,
    .parent_node = CONFIG_NODE,
    .prompt = "%s(config-ntp)# ",
};

void ntp_node_install(int (*config_write)(struct vty *)) {
    ntp_node.config_write = config_write;
    install_node(&ntp_node);
}

void ntp_node_add_command(const struct cmd_element *command) {
    _install_element(ntp_node_type, command);
}

void ntp_node_enter(struct vty *vty) { vty->node = ntp_node_type; }

void ntp_node_leave(struct vty *vty) { vty->node = CONFIG_NODE; }
