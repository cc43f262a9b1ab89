// SPDX-License-Identifier: GPL-2.0-or-later
//
// Who has the port that the daemon's client needs.
#pragma once

#include <string_view>
#include <sys/types.h>
#include <vector>

enum class port_holder { nobody, daemon, another, unknown };

/// In words, e.g. "the daemon".
[[nodiscard]] const char *name_of(port_holder holder) noexcept;

/// The sockets (their inode numbers) bound to this local port, of any address, in a
/// table as /proc/net/udp has it.
[[nodiscard]] std::vector<unsigned long> sockets_at(std::string_view table, unsigned port);

/// Who holds UDP port 123 in the network that the process `daemon` is in.
[[nodiscard]] port_holder find_port_holder(pid_t daemon);
