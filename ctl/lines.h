// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <string>

#include "failure.h"

/// Runs one line and prints its answer.  Returns not_well when the daemon refused it, or
/// cannot take it; throws output_failure when the answer to a line that was run cannot be
/// printed, failure where the next line would fare no better.
[[nodiscard]] exit_status run_and_print(const std::string &socket, const std::string &line);

/// The worse of two.
[[nodiscard]] constexpr exit_status worse(exit_status a, exit_status b) noexcept {
    return a < b ? b : a;
}
