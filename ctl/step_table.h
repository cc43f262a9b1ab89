// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "drift.h"

/// Which of the recorded steps are wanted.
struct step_limits {
    std::optional<std::int64_t> last;  ///< so many of the latest
    std::optional<std::int64_t> since; ///< not those before this time
};

/// One row of the table: a step, and its place in the order of recording.
struct step_row : step {
    std::int64_t number;
};

/// The steps in the database `file`, in the order in which they were made.  The file is
/// only read.  Throws failure when it is missing, locked or damaged.
[[nodiscard]] std::vector<step_row> read_steps(const std::string &file, const step_limits &limits);
