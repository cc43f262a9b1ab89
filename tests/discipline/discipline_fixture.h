// SPDX-License-Identifier: GPL-2.0-or-later
//
// What the tests of the frequency discipline share.
#pragma once

#include <limits>

#include <gtest/gtest.h>

#include "client/frequency_discipline.h"
#include "common/child_process.h"
#include "common/output.h"
#include "ntp_state.h"

inline constexpr int lower = 0;
inline constexpr int upper = 1;
inline constexpr int smallest = 0;
inline constexpr int largest = 1;
inline constexpr double infinite = std::numeric_limits<double>::infinity();
inline constexpr double no_number = std::numeric_limits<double>::quiet_NaN();

/// Sets the flag for a scope.
class traced {
  public:
    traced() { debug = 1; }
    ~traced() { debug = 0; }
    traced(const traced &) = delete;
    traced &operator=(const traced &) = delete;
};
