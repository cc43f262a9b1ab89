// SPDX-License-Identifier: GPL-2.0-or-later
//
// The state of the frequency discipline, for its tests and a debugger.
#pragma once

#include <cstdint>

#include "horad/discipline.h"

inline constexpr int ring_size = 16;

/// A clock offset, as contemplate_data() was told it.
struct discipline_sample {
    std::uint32_t time;     ///< seconds
    std::int32_t frequency; ///< in force then, parts per million x 65536
    double offset;          ///< microseconds
    double error_bar;       ///< microseconds, less the allowance
    double bounds[2];       ///< lower and upper end, microseconds, as they would be had
                            ///< the newest frequency always been in force
};

extern discipline_sample d_ring[ring_size];

/// The lower hull of the upper ends and the upper hull of the lower ends, from
/// slot 1 on; trimmed by the crossing lines.
extern segment maxseg[ring_size + 1];
extern segment minseg[ring_size + 1];

/// How far a correction may go, parts per million.
struct correction_limits {
    double left;
    double right;
};
extern correction_limits df;
