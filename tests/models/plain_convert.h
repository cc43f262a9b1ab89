// SPDX-License-Identifier: GPL-2.0-or-later
//
// From a time to local time, plainly.
#pragma once

#include <ctime>

#include "models/plain_zone.h"

namespace plain {

enum class answer {
    converted,
    year_too_far, ///< errno EOVERFLOW
    folded_away,  ///< errno as it was
};

/// Local time in a zone.  Sets all fields of `result` when there is one;
/// tm_zone points into the zone.
answer to_local(const zone &zone, std::int64_t time, std::tm &result);

} // namespace plain
