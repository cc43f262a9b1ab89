// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

enum class action {
    help,
    version,
    lines,  ///< run lines given as arguments
    input,  ///< run lines of the standard input
    status, ///< tell how the daemon fares
    steps,  ///< tell what steps were recorded
    wait,   ///< wait until the clock was set
};

/// What was asked for.
struct arguments {
    action what = action::input;
    std::string socket = "/run/horad/horad.vty"; ///< where the unit has it
    std::vector<std::string> lines;
    std::string database; ///< never empty
    bool json = false;
    bool csv = false;
    std::optional<std::int64_t> last;  ///< how many of the latest steps
    std::optional<std::int64_t> since; ///< in seconds since 1970
    std::string picture;               ///< a file's name; empty: no picture is wanted
    std::optional<std::chrono::milliseconds> timeout;
};

/// Reads the command line; `named_database` is the environment's HORAD_CONFIG_DB, or
/// null.  Throws failure.  Not for two threads at once, like getopt_long().
[[nodiscard]] arguments parse_arguments(int argc, char *const *argv, const char *named_database);
