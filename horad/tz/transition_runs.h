// SPDX-License-Identifier: GPL-2.0-or-later
//
// What is done to many transitions at once.  Apart from the rest, to be compiled for
// several numbers in one step: most of a table is filled here.
#pragma once

#include <cstdint>

#include "tz/zone_state.h"

/// Some of a table's transitions.
struct transition_run {
    const zone_data &zone;
    int first;
    int count;
};

/// Copies a run to another place in its table, or to another table.  The two places do
/// not overlap.
///
/// later       added to each time, seconds
/// first_type  added to each type
void copy_run(const transition_run &run, std::int64_t later, int first_type, zone_data &to_zone,
              int to) noexcept;

/// Whether all of a zone's transitions lead to types below a limit.
[[nodiscard]] bool have_types_below(int limit, const zone_data &zone) noexcept;
