// SPDX-License-Identifier: GPL-2.0-or-later
//
// The two servers.
#pragma once

#include <cstdint>

#include "ntp_state.h"

enum class ntp_server : std::int32_t { primary = 1, secondary = 2 };

constexpr ntp_server other_server(ntp_server server) noexcept {
    return server == ntp_server::primary ? ntp_server::secondary : ntp_server::primary;
}

/// "pri" or "sec", as the trace names the servers.
constexpr const char *server_tag(ntp_server server) noexcept {
    return server == ntp_server::primary ? "pri" : "sec";
}

/// The field of the configuration that names a server.
inline char (&server_field(ntp_server server) noexcept)[server_name_size] {
    return server == ntp_server::primary ? g_ntp_var.g_pri_ntp_server : g_ntp_var.g_sec_ntp_server;
}
