// SPDX-License-Identifier: GPL-2.0-or-later
//
// What the daemon says of its client, and what can be told without the module that
// says so.
#pragma once

#include <optional>
#include <string>

#include "drift.h"
#include "udp_port.h"

/// The module's answer, as far as it decides about the exit status.
struct client_state {
    bool is_running;    ///< neither off nor dead
    bool has_set_clock; ///< since the daemon's start
};

/// Reads the answer of "show ntp status json".  Throws failure when it is none.
[[nodiscard]] client_state parse_client_state(const std::string &answer);

/// What is known without the module.
struct known_facts {
    bool enabled = false;
    std::string server;
    std::string second_server;
    port_holder port = port_holder::unknown;
    std::optional<step> last_step;
    std::string database_trouble; ///< why no step is known; empty: there is none
};

/// Reads servers and state from the answer of "show ntp json".  Throws failure.
[[nodiscard]] known_facts parse_configuration(const std::string &answer);

[[nodiscard]] std::string facts_as_text(const known_facts &facts);
[[nodiscard]] std::string facts_as_json(const known_facts &facts);
