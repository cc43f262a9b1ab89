// SPDX-License-Identifier: GPL-2.0-or-later
//
// From broken-down times to times: seconds outside a minute, leap seconds.
#include <gtest/gtest.h>

#include "common/zone_fixture.h"

namespace {

constexpr std::int64_t june_1972 = 78796800; // the leap second itself, in such a zone

std::unique_ptr<zone_state> leap_zone() {
    tzif_block block;
    block.leaps = {{june_1972, 1}, {94694401, 2}};
    return make_zone(block);
}

TEST(InverseSeconds, TheLeapSecondIsAMoment) {
    const auto zone = leap_zone();
    struct tm tm = civil(1972, 6, 30, 23, 59, 60);
    EXPECT_EQ(mktime_z(zone.get(), &tm), june_1972);
    EXPECT_EQ(to_text(&tm), "1972-06-30 23:59:60 UTC dst=0 0 Fri 181");
    EXPECT_EQ(time_of(zone.get(), civil(1972, 6, 30, 23, 59, 59)), june_1972 - 1);
    EXPECT_EQ(time_of(zone.get(), civil(1972, 7, 1)), june_1972 + 1);
    EXPECT_EQ(time_of(nullptr, civil(1972, 6, 30, 23, 59, 60)), june_1972);
}

TEST(InverseSeconds, AreCountedThroughALeapSecond) {
    const auto zone = leap_zone();
    EXPECT_EQ(time_of(zone.get(), civil(1972, 6, 30, 23, 59, 61)), june_1972 + 1);
    EXPECT_EQ(time_of(zone.get(), civil(1972, 6, 30, 23, 58, 120)), june_1972);
    EXPECT_EQ(time_of(zone.get(), civil(1972, 7, 1, 0, 0, -1)), june_1972);
    EXPECT_EQ(time_of(zone.get(), civil(1972, 7, 1, 0, 0, -2)), june_1972 - 1);
    // Minutes are normalised before, so they are minutes of the clock.
    EXPECT_EQ(time_of(zone.get(), civil(1972, 6, 30, 23, 60, 0)), june_1972 + 1);
}

TEST(InverseSeconds, LaterTimesHaveTheLeapSecondsInThem) {
    const auto zone = leap_zone();
    EXPECT_EQ(time_of(zone.get(), civil(2021, 7, 4)), 1625356802);
    EXPECT_EQ(time_of(zone.get(), civil(1971, 1, 1)), 31536000);
}

TEST(InverseSeconds, EveryLeapSecondThereAndBack) {
    const auto zone = leap_zone();
    for (int i = 0; i < zone->leap_count; ++i)
        for (std::int64_t when = zone->leaps[i].transition - 3;
             when <= zone->leaps[i].transition + 3; ++when) {
            struct tm tm;
            const time_t time = when;
            ASSERT_NE(localtime_rz(zone.get(), &time, &tm), nullptr);
            EXPECT_EQ(time_of(zone.get(), tm), when);
        }
}

TEST(InverseSeconds, AMinuteWithoutItsLastSecond) {
    tzif_block block;
    block.leaps = {{june_1972 - 1, -1}};
    const auto zone = make_zone(block);
    EXPECT_EQ(time_of(zone.get(), civil(1972, 6, 30, 23, 59, 58)), june_1972 - 2);
    EXPECT_EQ(time_of(zone.get(), civil(1972, 7, 1)), june_1972 - 1);
    // The second that is left out is not found; one more is counted from the minute.
    EXPECT_EQ(time_of(zone.get(), civil(1972, 6, 30, 23, 59, 59)), -1);
    EXPECT_EQ(time_of(zone.get(), civil(1972, 6, 30, 23, 59, 60)), june_1972);
}

/// UTC, and 20 seconds more from 30 seconds after `minute` on: the local times
/// 30 to 49 seconds after it do not exist.
std::unique_ptr<zone_state> short_minute(std::int64_t minute) {
    tzif_block block;
    block.types = {{0, 0, 0}, {20, 0, 0}};
    block.changes = {{minute + 30, 1}};
    return make_zone(block);
}

TEST(InverseSeconds, AreCountedFromTheMinutesEndBefore1970) {
    const std::int64_t minute = -315619200; // 1960-01-01
    const auto zone = short_minute(minute);
    // 65 seconds are the last second of the minute and 6 more.
    EXPECT_EQ(time_of(zone.get(), civil(1960, 1, 1, 0, 0, 65)), minute + 59 - 20 + 6);
    EXPECT_EQ(time_of(zone.get(), civil(1960, 1, 1, 0, 0, -5)), minute + 59 - 20 - 64);
    EXPECT_EQ(time_of(zone.get(), civil(1960, 1, 1, 0, 0, 29)), minute + 29);
    EXPECT_EQ(time_of(zone.get(), civil(1960, 1, 1, 0, 0, 30)), -1);
    EXPECT_EQ(time_of(zone.get(), civil(1960, 1, 1, 0, 0, 50)), minute + 30);
}

TEST(InverseSeconds, AreCountedFromTheMinutesStartLater) {
    const std::int64_t minute = 315532800; // 1980-01-01
    const auto zone = short_minute(minute);
    EXPECT_EQ(time_of(zone.get(), civil(1980, 1, 1, 0, 0, 65)), minute + 65);
    EXPECT_EQ(time_of(zone.get(), civil(1980, 1, 1, 0, 0, -5)), minute - 5);
    EXPECT_EQ(time_of(zone.get(), civil(1980, 1, 1, 0, 0, 30)), -1);
    EXPECT_EQ(time_of(zone.get(), civil(1980, 1, 1, 0, 0, 50)), minute + 30);
}

TEST(InverseSeconds, TheEraIsThatOfTheNormalisedYear) {
    // 1969-13 is 1970: counted from the start of the minute.
    tzif_block block;
    block.types = {{0, 0, 0}, {20, 0, 0}};
    block.changes = {{30, 1}};
    const auto zone = make_zone(block);
    EXPECT_EQ(time_of(zone.get(), civil(1969, 13, 1, 0, 0, 65)), 65);
    // 1970-00 is 1969.
    block.changes = {{-86400 * 31 + 30, 1}};
    const auto december = make_zone(block);
    EXPECT_EQ(time_of(december.get(), civil(1970, 0, 1, 0, 0, 65)), -86400 * 31 + 59 - 20 + 6);
}

TEST(InverseSeconds, SecondTryTakesThemAsMinutes) {
    // The minute itself does not exist, the one that the seconds lead to does.
    tzif_block block;
    block.types = {{0, 0, 0}, {3600, 0, 0}};
    block.changes = {{315532800, 1}};
    const auto zone = make_zone(block);
    EXPECT_EQ(time_of(zone.get(), civil(1980, 1, 1, 0, 30, 1800)), 315532800);
    EXPECT_EQ(time_of(zone.get(), civil(1980, 1, 1, 0, 30, -1801)), 315532799);
    EXPECT_EQ(time_of(zone.get(), civil(1980, 1, 1, 0, 30, 60)), -1);
}

TEST(InverseSeconds, OverflowAtTheVeryEnd) {
    // Found, but the seconds kept aside lead out of what a tm_year can hold.
    struct tm tm = civil(1900, 12, 31, 23, 59, 60);
    tm.tm_year = INT32_MAX;
    EXPECT_EQ(time_of(nullptr, tm), -1);
    tm = civil(1900, 1, 1, 0, 0, -1);
    tm.tm_year = INT32_MIN;
    EXPECT_EQ(time_of(nullptr, tm), -1);
}

} // namespace
