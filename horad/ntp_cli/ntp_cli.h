// SPDX-License-Identifier: GPL-2.0-or-later
//
// The daemon's command line: its node, its commands, its configuration writer.
// Everything here runs on the event-loop thread.
#pragma once

struct cmd_element;
struct vty;
struct zone_catalogue_entry;

/// Installs the node and its seventeen commands, in this order:
/// two in the configuration node, then fifteen in the daemon's own.
void ntp_cli_init() noexcept;

// The commands, by the file that holds their handlers.

// ntp_commands.cpp
extern const cmd_element ntp_config_interface_cmd;
extern const cmd_element ntp_debug_cmd;
extern const cmd_element ntp_config_interface_exit_cmd;
extern const cmd_element ntp_server_cmd;
extern const cmd_element ntp_server2_cmd;
extern const cmd_element ntp_cfg_cmd;

// show_commands.cpp
extern const cmd_element ntp_show_cmd;
extern const cmd_element show_system_timezone_cmd;
/// The whole record at once, for a debugger or a private build: not installed.
extern const cmd_element show_ntp_global_var_cmd;

// zone_commands.cpp
extern const cmd_element dstzone_africa_cmd;
extern const cmd_element dstzone_america_cmd;
extern const cmd_element dstzone_indian_ocean_cmd;
extern const cmd_element dstzone_asia_cmd;
extern const cmd_element dstzone_atlantic_cmd;
extern const cmd_element dstzone_europe_cmd;
extern const cmd_element dstzone_ocean_cmd;
extern const cmd_element dstzone_pacific_cmd;
extern const cmd_element no_timezone_cmd;

/// The catalogue's entry for the words of a zone command, or null.  Reads zone files.
/// (zone_commands.cpp)
[[nodiscard]] const zone_catalogue_entry *find_location(const char *continent,
                                                        const char *location) noexcept;

/// Writes the running configuration as command lines, or nothing while NTP is
/// off: a disabled daemon's servers and zone are not saved.  Returns 0.
/// (config_writer.cpp)
int ntp_config_write(vty *vty) noexcept;
