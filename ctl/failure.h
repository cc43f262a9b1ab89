// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <stdexcept>
#include <string>

/// What the program ends with; the manual page promises these.
enum exit_status : int {
    all_well = 0,
    not_well = 1,
    no_daemon = 2,
};

/// Ends the program: one line on standard error, which says what is wrong and what
/// to do about it.
struct failure : std::runtime_error {
    explicit failure(const std::string &message, exit_status ends_with = not_well)
        : std::runtime_error(message), status(ends_with) {}

    exit_status status;
};
