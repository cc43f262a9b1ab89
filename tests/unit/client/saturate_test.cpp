// SPDX-License-Identifier: GPL-2.0-or-later
#include "client/saturate.h"

#include <limits>

#include <gtest/gtest.h>

namespace {

using limits = std::numeric_limits<std::int32_t>;

TEST(Saturate, TruncatesTowardZero) {
    EXPECT_EQ(saturate(0), 0);
    EXPECT_EQ(saturate(1.9), 1);
    EXPECT_EQ(saturate(-1.9), -1);
    EXPECT_EQ(saturate(2147483646.9), limits::max() - 1);
}

TEST(Saturate, StaysWithinAnInt) {
    EXPECT_EQ(saturate(2147483647.0), limits::max());
    EXPECT_EQ(saturate(1e300), limits::max());
    EXPECT_EQ(saturate(std::numeric_limits<double>::infinity()), limits::max());
    EXPECT_EQ(saturate(-2147483648.0), limits::min());
    EXPECT_EQ(saturate(-1e300), limits::min());
    EXPECT_EQ(saturate(-std::numeric_limits<double>::infinity()), limits::min());
}

TEST(Saturate, NoNumberIsZero) { EXPECT_EQ(saturate(std::numeric_limits<double>::quiet_NaN()), 0); }

} // namespace
