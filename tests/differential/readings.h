// SPDX-License-Identifier: GPL-2.0-or-later
//
// All the moments at which a zone's clock reads the same.
#pragma once

#include <cstdint>
#include <vector>

#include "differential/run.h"

struct reading {
    std::int64_t when;
    long offset;
    int is_dst;
};

/// Moments with these fields (which must be normalised), in rising order: none
/// in a gap, two or more in an overlap.
std::vector<reading> readings(const zone_state &zone, const struct tm &fields);
