// SPDX-License-Identifier: GPL-2.0-or-later
//
// Numbers that may not fit an int.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

/// Truncates toward zero; the nearest number for one that does not fit, 0 for
/// what is no number.
inline std::int32_t saturate(double value) noexcept {
    using limits = std::numeric_limits<std::int32_t>;
    if (std::isnan(value))
        return 0;
    if (value <= limits::min())
        return limits::min();
    return value >= limits::max() ? limits::max() : static_cast<std::int32_t>(value);
}
