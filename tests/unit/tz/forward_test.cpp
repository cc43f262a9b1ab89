// SPDX-License-Identifier: GPL-2.0-or-later
//
// From times to broken-down times: types, folding, the calendar's ends.
#include <chrono>
#include <random>

#include <gtest/gtest.h>

#include "common/child_process.h"
#include "common/zone_fixture.h"

namespace {

// The first and last second that a tm_year can hold, in UT.
constexpr std::int64_t first_second = -67768040609740800;
constexpr std::int64_t last_second = 67768036191676799;

struct tm *convert(const zone_state *zone, std::int64_t when, struct tm *result) {
    const time_t time = when;
    return localtime_rz(zone, &time, result);
}

TEST(Forward, TypeBeforeBetweenAndAfterTheTransitions) {
    auto block = two_type_block({{1000, 1}, {2000, 0}});
    block.types.push_back({-60, 0, 0});
    block.types.push_back({3600, 0, 0});
    block.changes = {{1000, 1}, {2000, 3}};
    const auto zone = make_zone(block);
    EXPECT_EQ(zone->default_type, 0);
    EXPECT_EQ(local_text(zone.get(), 999), "1970-01-01 01:16:39 STD dst=0 3600 Thu 0");
    EXPECT_EQ(local_text(zone.get(), 1000), "1970-01-01 02:16:40 DST dst=1 7200 Thu 0");
    EXPECT_EQ(local_text(zone.get(), 1999), "1970-01-01 02:33:19 DST dst=1 7200 Thu 0");
    EXPECT_EQ(local_text(zone.get(), 2000), "1970-01-01 01:33:20 STD dst=0 3600 Thu 0");
    EXPECT_EQ(local_text(zone.get(), 1000000000), "2001-09-09 02:46:40 STD dst=0 3600 Sun 251");
    EXPECT_EQ(local_text(zone.get(), -1), "1970-01-01 00:59:59 STD dst=0 3600 Thu 0");
}

TEST(Forward, DefaultTypeWithoutTransitions) {
    const auto zone = make_zone(two_type_block());
    EXPECT_EQ(local_text(zone.get(), 0), "1970-01-01 01:00:00 STD dst=0 3600 Thu 0");
}

TEST(Forward, EveryTransitionOfAFullTable) {
    tzif_block block;
    block.types.clear();
    for (int i = 0; i < 255; ++i)
        block.types.push_back({i * 60, static_cast<unsigned char>(i % 2), 0});
    std::mt19937 random(7);
    std::int64_t time = -40000000000;
    for (int i = 0; i < 1999; ++i) {
        time += 1 + static_cast<std::int64_t>(random() % (i % 3 == 0 ? 5 : 90000000));
        block.changes.push_back({time, static_cast<unsigned char>((i * 7 + 1) % 255)});
    }
    const auto zone = make_zone(block);
    struct tm tm;
    for (std::size_t i = 0; i < block.changes.size(); ++i) {
        ASSERT_NE(convert(zone.get(), block.changes[i].time, &tm), nullptr);
        ASSERT_EQ(tm.tm_gmtoff, block.changes[i].type * 60) << i;
        ASSERT_NE(convert(zone.get(), block.changes[i].time - 1, &tm), nullptr);
        const bool adjacent = i > 0;
        ASSERT_EQ(tm.tm_gmtoff, adjacent ? block.changes[i - 1].type * 60 : 0) << i;
    }
}

TEST(Forward, TransitionsAtTheEndsOfTheRange) {
    const auto zone = make_zone(two_type_block({{INT64_MIN, 1}, {0, 0}, {INT64_MAX, 1}}));
    EXPECT_EQ(local_text(zone.get(), -1), "1970-01-01 01:59:59 DST dst=1 7200 Thu 0");
    EXPECT_EQ(local_text(zone.get(), 1), "1970-01-01 01:00:01 STD dst=0 3600 Thu 0");
    EXPECT_EQ(local_text(zone.get(), INT64_MIN), "null");
    EXPECT_EQ(local_text(zone.get(), INT64_MAX), "null");
}

TEST(Forward, MatchesTheStandardLibrarysCalendar) {
    using namespace std::chrono;
    std::mt19937_64 random(20);
    // The years that its calendar covers.
    std::uniform_int_distribution<std::int64_t> within(-1000000000000, 970000000000);
    const auto utc = open_zone("");
    for (int i = 0; i < 200000; ++i) {
        const sys_seconds when{seconds(within(random))};
        const auto day = floor<days>(when);
        const year_month_day date(day);
        const hh_mm_ss clock(when - day);
        const sys_days january{date.year() / 1 / 1};
        struct tm tm;
        ASSERT_NE(convert(utc.get(), when.time_since_epoch().count(), &tm), nullptr);
        ASSERT_EQ(tm.tm_year + 1900, static_cast<int>(date.year()));
        ASSERT_EQ(tm.tm_mon + 1, static_cast<int>(static_cast<unsigned>(date.month())));
        ASSERT_EQ(tm.tm_mday, static_cast<int>(static_cast<unsigned>(date.day())));
        ASSERT_EQ(tm.tm_hour, clock.hours().count());
        ASSERT_EQ(tm.tm_min, clock.minutes().count());
        ASSERT_EQ(tm.tm_sec, clock.seconds().count());
        ASSERT_EQ(tm.tm_wday, static_cast<int>(weekday(day).c_encoding()));
        ASSERT_EQ(tm.tm_yday, (day - january).count());
    }
}

TEST(Forward, YearsReachToTheEndsOfTmYear) {
    const auto utc = open_zone("");
    EXPECT_EQ(local_text(utc.get(), last_second), "2147485547-12-31 23:59:59 GMT dst=0 0 Wed 364");
    EXPECT_EQ(local_text(utc.get(), first_second), "-2147481748-01-01 00:00:00 GMT dst=0 0 Thu 0");
    struct tm tm;
    for (const std::int64_t when : {last_second + 1, first_second - 1, INT64_MAX, INT64_MIN}) {
        errno = 0;
        EXPECT_EQ(convert(utc.get(), when, &tm), nullptr) << when;
        EXPECT_EQ(errno, EOVERFLOW) << when;
    }
}

TEST(Forward, TheLocalYearDecides) {
    const auto east = open_zone("AAA-1");
    EXPECT_EQ(local_text(east.get(), last_second - 3600).substr(0, 10), "2147485547");
    EXPECT_EQ(local_text(east.get(), last_second - 3599), "null");
    EXPECT_EQ(local_text(east.get(), first_second - 3600).substr(0, 11), "-2147481748");
    EXPECT_EQ(local_text(east.get(), first_second - 3601), "null");
}

TEST(Forward, FoldsAheadAndBack) {
    const auto zone = open_zone("AAA5BBB,M3.2.0,M11.1.0");
    ASSERT_TRUE(zone->go_back && zone->go_ahead);
    struct tm base;
    struct tm tm;
    for (const std::int64_t start : {1615705199, 1615705200, 1625000000, 1636264799, 1636264800}) {
        ASSERT_NE(convert(zone.get(), start, &base), nullptr);
        for (const std::int64_t cycles :
             std::initializer_list<std::int64_t>{-5368709, -100000, -3, -2, -1, 1, 2, 3, 5368708}) {
            ASSERT_NE(convert(zone.get(), start + cycles * cycle_seconds, &tm), nullptr) << cycles;
            EXPECT_EQ(tm.tm_year, base.tm_year + 400 * cycles);
            tm.tm_year = base.tm_year;
            EXPECT_EQ(to_text(&tm), to_text(&base)) << cycles;
        }
    }
}

TEST(Forward, FoldsRightAfterTheTable) {
    const auto zone = open_zone("AAA5BBB,M3.2.0,M11.1.0");
    const auto last = zone->transition_times[ZONE_MAX_TIMES - 1];
    const auto first = zone->transition_times[0];
    struct tm tm;
    struct tm folded;
    for (const std::int64_t distance : std::initializer_list<std::int64_t>{
             1, 2, 86400, cycle_seconds - 1, cycle_seconds, cycle_seconds + 1, 2 * cycle_seconds}) {
        const auto cycles = (distance - 1) / cycle_seconds + 1;
        for (const auto &[when, shift] :
             {std::pair(last + distance, -cycles), std::pair(first - distance, cycles)}) {
            ASSERT_NE(convert(zone.get(), when, &tm), nullptr);
            ASSERT_NE(convert(zone.get(), when + shift * cycle_seconds, &folded), nullptr);
            EXPECT_EQ(tm.tm_year, folded.tm_year - 400 * shift);
            folded.tm_year = tm.tm_year;
            EXPECT_EQ(to_text(&tm), to_text(&folded)) << distance;
        }
    }
}

TEST(Forward, FiveHundredYearsAfterAZonesTable) {
    const auto zone = open_zone("Europe/Zurich");
    ASSERT_TRUE(zone->go_ahead);
    const auto last = zone->transition_times[zone->transition_count - 1];
    const std::int64_t summer = 1751328000; // 2025-07-01 00:00 UTC
    std::int64_t when = summer;
    while (when < last + 500 * 31556952LL)
        when += cycle_seconds;
    struct tm tm;
    ASSERT_NE(convert(zone.get(), when, &tm), nullptr);
    EXPECT_EQ(to_text(&tm).substr(to_text(&tm).find('-') + 1),
              "07-01 02:00:00 CEST dst=1 7200 Tue 181");
    EXPECT_GT(tm.tm_year, 3000 - 1900);
}

TEST(Forward, WithoutRepeatsTheLastTypeGoesOn) {
    const auto zone = make_zone(two_type_block({{0, 0}, {1000, 1}}));
    EXPECT_EQ(local_text(zone.get(), 4 * cycle_seconds).substr(20), "DST dst=1 7200 Thu 0");
}

TEST(Forward, AFoldBeyondTmYearIsNullWithoutAnError) {
    const auto zone = open_zone("AAA5BBB,M3.2.0,M11.1.0");
    struct tm tm;
    for (const std::int64_t when :
         {last_second + 86400, first_second - 86400, INT64_MAX, INT64_MIN}) {
        errno = 0;
        EXPECT_EQ(convert(zone.get(), when, &tm), nullptr) << when;
        EXPECT_EQ(errno, 0) << when;
    }
    EXPECT_NE(convert(zone.get(), last_second, &tm), nullptr);
    EXPECT_NE(convert(zone.get(), first_second + 86400, &tm), nullptr);
}

TEST(Forward, FoldingDistancesDoNotOverflow) {
    // A table that begins after 1970, and one that ends before it.
    const auto late = make_zone(two_type_block({{9000, 1}, {9001, 0}, {9000 + cycle_seconds, 1}}));
    ASSERT_TRUE(late->go_back);
    EXPECT_EQ(local_text(late.get(), INT64_MIN), "null");
    const auto early =
        make_zone(two_type_block({{-9000 - cycle_seconds, 1}, {-9001, 0}, {-9000, 1}}));
    ASSERT_TRUE(early->go_ahead);
    EXPECT_EQ(local_text(early.get(), INT64_MAX), "null");
}

TEST(Forward, HugeOffsetsDoNotOverflow) {
    for (const std::int32_t offset : {INT32_MIN, INT32_MAX}) {
        tzif_block block;
        block.types = {{offset, 0, 0}};
        const auto zone = make_zone(block);
        EXPECT_EQ(local_text(zone.get(), INT64_MIN), "null");
        EXPECT_EQ(local_text(zone.get(), INT64_MAX), "null");
        EXPECT_EQ(local_text(zone.get(), 0).substr(0, 10),
                  offset < 0 ? "1901-12-13" : "2038-01-19");
    }
}

TEST(Forward, LeapSeconds) {
    tzif_block block;
    block.leaps = {{78796800, 1}, {94694401, 2}, {126230402, 1}};
    const auto zone = make_zone(block);
    EXPECT_EQ(local_text(zone.get(), 78796799).substr(0, 19), "1972-06-30 23:59:59");
    EXPECT_EQ(local_text(zone.get(), 78796800).substr(0, 19), "1972-06-30 23:59:60");
    EXPECT_EQ(local_text(zone.get(), 78796801).substr(0, 19), "1972-07-01 00:00:00");
    EXPECT_EQ(local_text(zone.get(), 94694400).substr(0, 19), "1972-12-31 23:59:59");
    EXPECT_EQ(local_text(zone.get(), 94694401).substr(0, 19), "1972-12-31 23:59:60");
    EXPECT_EQ(local_text(zone.get(), 94694402).substr(0, 19), "1973-01-01 00:00:00");
    // A second that is left out: the correction shrinks.
    EXPECT_EQ(local_text(zone.get(), 126230401).substr(0, 19), "1973-12-31 23:59:59");
    EXPECT_EQ(local_text(zone.get(), 126230402).substr(0, 19), "1974-01-01 00:00:01");
}

TEST(Forward, AFirstLeapSecondMayBeLeftOut) {
    tzif_block block;
    block.leaps = {{78796800, -1}};
    const auto zone = make_zone(block);
    EXPECT_EQ(local_text(zone.get(), 78796799).substr(0, 19), "1972-06-30 23:59:59");
    EXPECT_EQ(local_text(zone.get(), 78796800).substr(0, 19), "1972-07-01 00:00:01");
}

TEST(Forward, ALeapSecondInAZoneOfFullMinutes) {
    tzif_block block;
    block.leaps = {{78796800, 1}};
    block.types = {{19800, 0, 0}};
    const auto zone = make_zone(block);
    EXPECT_EQ(local_text(zone.get(), 78796800).substr(0, 19), "1972-07-01 05:29:60");
}

TEST(Forward, NullZoneIsUtcThatSomeoneElseMustLoad) {
    CHECK_IN_FRESH_PROCESS({
        EXPECT_EQ(local_text(nullptr, 86399), "1970-01-01 23:59:59  dst=0 0 Thu 0")
            << "the abbreviation is empty";
        const time_t zero = 0;
        struct tm tm;
        EXPECT_NE(gmtime_r(&zero, &tm), nullptr);
        EXPECT_EQ(local_text(nullptr, 86399), "1970-01-01 23:59:59 GMT dst=0 0 Thu 0");
    });
}

TEST(Forward, NullZoneIsLoadedByMktime) {
    CHECK_IN_FRESH_PROCESS({
        EXPECT_EQ(local_text(nullptr, 0), "1970-01-01 00:00:00  dst=0 0 Thu 0");
        EXPECT_EQ(time_of(nullptr, civil(1970, 1, 2)), 86400);
        EXPECT_EQ(local_text(nullptr, 0), "1970-01-01 00:00:00 GMT dst=0 0 Thu 0");
    });
}

} // namespace
