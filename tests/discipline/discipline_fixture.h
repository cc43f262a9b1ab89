// SPDX-License-Identifier: GPL-2.0-or-later
//
// What the tests of the frequency discipline share.
#pragma once

#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

#include "common/child_process.h"
#include "common/output.h"
#include "horad/discipline.h"
#include "ntp_state.h"

inline constexpr int lower = 0;
inline constexpr int upper = 1;
inline constexpr int smallest = 0;
inline constexpr int largest = 1;
inline constexpr double infinite = std::numeric_limits<double>::infinity();
inline constexpr double no_number = std::numeric_limits<double>::quiet_NaN();

/// An interval in which the offset lies, microseconds.
struct bounds {
    double low;
    double high;
};

/// Gives a sample with this interval; the frequency proposed.
inline std::int32_t give(std::uint32_t time, const bounds &ends, std::int32_t frequency = 0) {
    constexpr double allowance = 800; // which the discipline takes off
    const double half = (ends.high - ends.low) / 2;
    return contemplate_data(time, ends.low + half, half + allowance, frequency);
}

/// Sets the flag for a scope.
class traced {
  public:
    traced() { debug = 1; }
    ~traced() { debug = 0; }
    traced(const traced &) = delete;
    traced &operator=(const traced &) = delete;
};
