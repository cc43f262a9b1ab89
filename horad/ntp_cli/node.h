/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * The daemon's own place in the command line: the node entered with
 * "ntp [terminal]".
 */
#ifndef HORAD_NTP_CLI_NODE_H
#define HORAD_NTP_CLI_NODE_H

#ifdef __cplusplus
extern "C" {
#endif

struct cmd_element;
struct vty;

/* The node's number.  It lies above the library's own enumeration, so that no
 * library needs a patch; a device reserves it in its build. */
#define NTP_NODE_NUMBER 130

/* Installs the node, below the configuration node, with its writer. */
void ntp_node_install(int (*config_write)(struct vty *));

/* Installs a command in the node. */
void ntp_node_add_command(const struct cmd_element *command);

/* Puts a session into the node, and back into the configuration node. */
void ntp_node_enter(struct vty *vty);
void ntp_node_leave(struct vty *vty);

#ifdef __cplusplus
}
#endif

#endif
