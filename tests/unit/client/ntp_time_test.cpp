// SPDX-License-Identifier: GPL-2.0-or-later
#include "client/ntp_time.h"

#include <random>

#include <gtest/gtest.h>

namespace {

// The integer approximation is what peers have always seen: not half and full
// scale, but these very bits.
static_assert(fraction_from_microseconds(0) == 0);
static_assert(fraction_from_microseconds(1) == 4294);
static_assert(fraction_from_microseconds(500000) == 2147483642);
static_assert(fraction_from_microseconds(999999) == 4294962990);

static_assert(microseconds_from_fraction(0) == 0);
static_assert(microseconds_from_fraction(2147483648U) == 500000);
static_assert(microseconds_from_fraction(0xFFFFFFFFU) == 999999);

static_assert(ntp_seconds_from_unix(0) == 2208988800U);
static_assert(ntp_seconds_from_unix(2085978495) == 0xFFFFFFFFU);
static_assert(ntp_seconds_from_unix(2085978496) == 0); // 2036-02-07 06:28:16 UTC
static_assert(unix_seconds_from_ntp(2208988800U) == 0);
static_assert(unix_seconds_from_ntp(0) == 2085978496);
static_assert(unix_seconds_from_ntp(1) == 2085978497);
static_assert(unix_seconds_from_ntp(2208988799U) == 4294967295); // widened without sign

static_assert(ntp_timestamp_from({0, 500000}) == ntp_timestamp{2208988800U, 2147483642});

TEST(Fraction, NeverLeavesTheSecondAndNeverFallsBack) {
    std::uint32_t before = 0;
    for (std::int64_t usec = 0; usec < 1000000; ++usec) {
        const std::uint32_t fraction = fraction_from_microseconds(usec);
        EXPECT_GE(fraction, before) << usec;
        before = fraction;
    }
}

TEST(Fraction, RoundTripStaysWithinHalfACorrectionStep) {
    for (std::int64_t usec = 0; usec < 1000000; ++usec) {
        const std::int64_t back = microseconds_from_fraction(fraction_from_microseconds(usec));
        ASSERT_LE(std::abs(back - usec), 380) << usec;
    }
}

TEST(Microseconds, AreAlwaysBelowAMillion) {
    for (std::uint64_t fraction = 0; fraction <= 0xFFFFFFFFU; fraction += 997)
        ASSERT_LT(microseconds_from_fraction(static_cast<std::uint32_t>(fraction)), 1000000U);
}

TEST(Difference, OfWholeSeconds) {
    EXPECT_EQ(microseconds_between({10, 0}, {7, 0}), 3000000.0);
    EXPECT_EQ(microseconds_between({7, 0}, {10, 0}), -3000000.0);
    EXPECT_EQ(microseconds_between({7, 9}, {7, 9}), 0.0);
}

TEST(Difference, OfFractions) {
    EXPECT_EQ(microseconds_between({5, 0x80000000U}, {5, 0}), 500000.0);
    EXPECT_EQ(microseconds_between({6, 0xC0000000U}, {5, 0x40000000U}), 1500000.0);
}

TEST(Difference, ABorrowLosesOneUnit) {
    constexpr double unit = 0.00023283064365386963;
    // 0.5 s - 0.75 s: the true difference is -250000, we are one unit below.
    EXPECT_EQ(microseconds_between({5, 0x80000000U}, {5, 0xC0000000U}),
              std::fma(0xBFFFFFFFU, unit, -1000000.0));
    EXPECT_LT(microseconds_between({5, 0}, {5, 1}), -unit);
}

TEST(Difference, CrossesTheWrapOf2036) {
    EXPECT_EQ(microseconds_between({2, 0}, {0xFFFFFFFEU, 0}), 4000000.0);
    EXPECT_EQ(microseconds_between({0xFFFFFFFEU, 0}, {2, 0}), -4000000.0);
}

TEST(Difference, TakesSecondsForASignedNumber) {
    EXPECT_EQ(microseconds_between({0x7FFFFFFFU, 0}, {0, 0}), 2147483647e6);
    EXPECT_EQ(microseconds_between({0x80000000U, 0}, {0, 0}), -2147483648e6);
}

TEST(Difference, IsRoundedOnce) {
    // Against extended precision, over random timestamps.
    std::mt19937 random(20260101);
    for (int i = 0; i < 100000; ++i) {
        const ntp_timestamp a{static_cast<std::uint32_t>(random()),
                              static_cast<std::uint32_t>(random())};
        const ntp_timestamp b{a.seconds - static_cast<std::uint32_t>(random() % 7),
                              static_cast<std::uint32_t>(random())};
        const bool borrow = b.fraction > a.fraction;
        const std::uint32_t seconds = a.seconds - b.seconds - (borrow ? 1 : 0);
        const std::uint32_t fraction =
            borrow ? ~(b.fraction - a.fraction) : a.fraction - b.fraction;
        const long double exact =
            static_cast<long double>(static_cast<std::int32_t>(seconds)) * 1000000.0L +
            static_cast<long double>(fraction) * static_cast<long double>(0.00023283064365386963);
        ASSERT_EQ(microseconds_between(a, b), static_cast<double>(exact));
    }
}

} // namespace
