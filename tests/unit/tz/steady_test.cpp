// SPDX-License-Identifier: GPL-2.0-or-later
//
// How long a zone's clock runs on evenly: never longer than it does.
#include <cstring>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include "common/zone_fixture.h"
#include "tz/build_index.h"
#include "tz/steady.h"

namespace {

constexpr std::int64_t first_of_time = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t last_of_time = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t year_limit = 67768040609740800;  // of tm_year in UTC, give or take
constexpr std::int64_t common_times = 1000000000000000; // fields can be turned back

/// Seconds that a clock showed since 1970, from the fields.
std::int64_t shown(const struct tm &tm) {
    struct tm copy = tm;
    copy.tm_isdst = 0;
    copy.tm_gmtoff = 0;
    return mktime_z(nullptr, &copy);
}

void check_at(const zone_state &zone, std::int64_t time, std::mt19937_64 &random) {
    const std::int64_t until = steady_until(zone, time);
    ASSERT_GE(until, time);
    struct tm now = {};
    const bool valid = localtime_rz(&zone, &time, &now) != nullptr;
    std::uniform_int_distribution<std::int64_t> within(time, until);
    for (const std::int64_t later : {until, within(random), within(random)}) {
        struct tm then = {};
        ASSERT_EQ(localtime_rz(&zone, &later, &then) != nullptr, valid) << time << ' ' << later;
        if (!valid)
            continue;
        ASSERT_EQ(now.tm_gmtoff, then.tm_gmtoff) << time << ' ' << later;
        ASSERT_EQ(now.tm_isdst, then.tm_isdst) << time << ' ' << later;
        ASSERT_STREQ(now.tm_zone, then.tm_zone) << time << ' ' << later;
        ASSERT_LT(then.tm_sec, 60) << time << ' ' << later;
        if (std::abs(time) < common_times && std::abs(later) < common_times) {
            ASSERT_EQ(shown(then) - shown(now), later - time) << time << ' ' << later;
        }
    }
}

void check_zone(const zone_state &zone) {
    std::mt19937_64 random(7);
    std::vector<std::int64_t> times = {first_of_time, -year_limit, 0, year_limit, last_of_time};
    for (const std::int64_t range : {std::int64_t{5000000000}, std::int64_t{100000000000},
                                     std::int64_t{70000000000000000}, last_of_time}) {
        std::uniform_int_distribution<std::int64_t> any(-range, range);
        for (int i = 0; i < 300; ++i)
            times.push_back(any(random));
    }
    for (int i = 0; i < zone.transition_count; i += 1 + zone.transition_count / 50)
        for (int distance = -1; distance <= 1; ++distance)
            times.push_back(zone.transition_times[i] + distance);
    for (int i = 0; i < zone.leap_count; ++i)
        for (int distance = -1; distance <= 1; ++distance)
            times.push_back(zone.leaps[i].transition + distance);
    for (const std::int64_t time : times)
        check_at(zone, time, random);
}

TEST(Steady, NeverBeyondAChange) {
    for (const char *name :
         {"America/New_York", "Europe/Dublin", "Africa/Casablanca", "Asia/Gaza", "Etc/UTC",
          "Pacific/Apia", "Australia/Lord_Howe", "America/Nuuk", "UTC0", "AAA5BBB,M3.2.0,M11.1.0",
          "AAA-10BBB,M10.1.0,M4.1.0/3", "AAA3BBB,J1/-160,J365/160", "<+03>-3"}) {
        SCOPED_TRACE(name);
        check_zone(*open_zone(name));
    }
}

TEST(Steady, NeverBeyondALeapSecond) {
    auto block = two_type_block({{100000000, 1}, {100000000 + cycle_seconds, 1}});
    block.leaps = {{78796800, 1}, {94694401, 2}, {126230402, 1}};
    check_zone(*make_zone(block));
}

TEST(Steady, InZonesThatRepeatBothWays) {
    check_zone(*make_zone(
        two_type_block({{0, 1}, {500000, 0}, {cycle_seconds, 1}, {cycle_seconds + 500000, 0}})));
    check_zone(*make_zone(two_type_block({{0, 1}, {cycle_seconds, 1}})));
}

TEST(Steady, UpToTheNextChange) {
    const auto zone = make_zone(two_type_block({{1000, 1}, {2000, 0}}));
    EXPECT_EQ(steady_until(*zone, -1000000), 999);
    EXPECT_EQ(steady_until(*zone, 999), 999);
    EXPECT_EQ(steady_until(*zone, 1000), 1999);
    EXPECT_GT(steady_until(*zone, 2000), year_limit - (std::int64_t{1} << 34));
}

TEST(Steady, WhereThereAreNoYears) {
    const auto zone = open_zone("America/New_York");
    EXPECT_LT(steady_until(*zone, first_of_time), -year_limit);
    EXPECT_GT(steady_until(*zone, first_of_time), -year_limit - (std::int64_t{1} << 34));
    EXPECT_EQ(steady_until(*zone, last_of_time - 5), last_of_time);
}

TEST(Steady, NothingIsPromisedOfChangesOutOfOrder) {
    const auto zone = open_zone("AAA0BBB,M1.1.0/-85,M12.5.0/85");
    EXPECT_FALSE(order_of(*zone).regular);
    for (const std::int64_t time : {0L, 1600000000L, 100000000000L})
        EXPECT_EQ(steady_until(*zone, time), time);
}

TEST(Steady, StepsOverHalfAYearInACommonZone) {
    // Else nothing would be gained.
    const auto zone = open_zone("America/New_York");
    for (const std::int64_t time :
         {std::int64_t{1583650800}, std::int64_t{1583650800} + 8 * cycle_seconds})
        EXPECT_EQ(steady_until(*zone, time), time + 238 * 86400 - 3600 - 1);
}

} // namespace
