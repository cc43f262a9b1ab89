// SPDX-License-Identifier: GPL-2.0-or-later
//
// TZ strings: the moments of rules and the table made of them, held against the
// standard library's calendar.
#include <random>

#include <gtest/gtest.h>

#include "common/rule_calendar.h"
#include "common/zone_fixture.h"
#include "tz/rule_years.h"

namespace {

using kind = zone_rule_kind;

constexpr int first_year = 1770;
constexpr int table_years = ZONE_MAX_TIMES / 2;

void expect_moment(int year, const zone_rule &rule, std::int64_t offset) {
    EXPECT_EQ(year_start(year) + rule_to_seconds(year, rule, offset),
              rule_moment(year, rule, offset))
        << year << " kind " << static_cast<int>(rule.kind) << " " << rule.month << "." << rule.week
        << "." << rule.day;
}

TEST(RuleToSeconds, EveryDayOfLeapAndCommonYears) {
    for (const int year : {1600, 1700, 1899, 1900, 1970, 1972, 2000, 2001, 2024, 2100, 2400, 2769})
        for (int day = 0; day <= 365; ++day) {
            if (day > 0)
                expect_moment(year, {kind::julian_day, day, 0, 0, 7200}, 0);
            expect_moment(year, {kind::day_of_year, day, 0, 0, -3600}, 18000);
        }
}

TEST(RuleToSeconds, J60IsAlwaysTheFirstOfMarch) {
    EXPECT_EQ(rule_to_seconds(2023, {kind::julian_day, 60, 0, 0, 0}, 0), 59 * 86400);
    EXPECT_EQ(rule_to_seconds(2024, {kind::julian_day, 60, 0, 0, 0}, 0), 60 * 86400);
    EXPECT_EQ(rule_to_seconds(2024, {kind::julian_day, 59, 0, 0, 0}, 0), 58 * 86400);
    EXPECT_EQ(rule_to_seconds(2024, {kind::day_of_year, 59, 0, 0, 0}, 0), 59 * 86400);
}

TEST(RuleToSeconds, EveryWeekdayOfAWholeCycle) {
    for (int year = first_year; year <= first_year + 400; ++year)
        for (int month = 1; month <= 12; ++month)
            for (int week = 1; week <= 5; ++week)
                for (int day = 0; day <= 6; ++day) {
                    const zone_rule rule = {kind::month_week_weekday, day, week, month, 7200};
                    ASSERT_EQ(year_start(year) + rule_to_seconds(year, rule, 3600),
                              rule_moment(year, rule, 3600))
                        << year << " M" << month << "." << week << "." << day;
                }
}

TEST(RuleToSeconds, FarYears) {
    for (const int year : {1, 4, 100, 400, 1582, 9999})
        for (int month = 1; month <= 12; ++month)
            for (int day = 0; day <= 6; ++day)
                expect_moment(year, {kind::month_week_weekday, day, 5, month, 0}, 0);
}

TEST(RuleToSeconds, TimeAndOffsetAreAdded) {
    EXPECT_EQ(rule_to_seconds(2021, {kind::day_of_year, 0, 0, 0, -604800}, 604800), 0);
    EXPECT_EQ(rule_to_seconds(2021, {kind::day_of_year, 365, 0, 0, 604800}, 604800),
              365 * 86400 + 2 * 604800);
}

/// Holds the whole table of a rule zone against the calendar.
void expect_table(const std::string &zone, const zone_rule &start, const zone_rule &end,
                  std::int64_t std_west, std::int64_t dst_west) {
    const auto state = parsed(zone);
    ASSERT_EQ(state->transition_count, ZONE_MAX_TIMES) << zone;
    EXPECT_TRUE(state->go_back);
    EXPECT_TRUE(state->go_ahead);
    for (int i = 0; i < table_years; ++i) {
        const int year = first_year + i;
        const auto begins = rule_moment(year, start, std_west);
        const auto ends = rule_moment(year, end, dst_west);
        const bool reversed = ends < begins;
        ASSERT_EQ(state->transition_times[2 * i], std::min(begins, ends)) << zone << " " << year;
        ASSERT_EQ(state->transition_times[2 * i + 1], std::max(begins, ends))
            << zone << " " << year;
        ASSERT_EQ(state->transition_types[2 * i], reversed ? 0 : 1) << zone << " " << year;
        ASSERT_EQ(state->transition_types[2 * i + 1], reversed ? 1 : 0) << zone << " " << year;
    }
}

TEST(RuleTable, FromYearToYear) {
    expect_table("AAA5BBB,M3.2.0,M11.1.0", {kind::month_week_weekday, 0, 2, 3, 7200},
                 {kind::month_week_weekday, 0, 1, 11, 7200}, 18000, 14400);
    expect_table("AAA-1BBB-3,J60/1,J300/2:30", {kind::julian_day, 60, 0, 0, 3600},
                 {kind::julian_day, 300, 0, 0, 9000}, -3600, -10800);
    expect_table("AAA0BBB,59/0,300/24", {kind::day_of_year, 59, 0, 0, 0},
                 {kind::day_of_year, 300, 0, 0, 86400}, 0, -3600);
}

TEST(RuleTable, SignedAndLongTimes) {
    expect_table("AAA3BBB,M3.5.0/-1,M10.5.0/25", {kind::month_week_weekday, 0, 5, 3, -3600},
                 {kind::month_week_weekday, 0, 5, 10, 90000}, 10800, 7200);
    expect_table("AAA3BBB,M3.5.0/-167:59:60,M10.5.0/167:59:60",
                 {kind::month_week_weekday, 0, 5, 3, -604800},
                 {kind::month_week_weekday, 0, 5, 10, 604800}, 10800, 7200);
}

TEST(RuleTable, SouthernYearBeginsInDaylightTime) {
    expect_table("AAA-10BBB,M10.1.0,M4.1.0/3", {kind::month_week_weekday, 0, 1, 10, 7200},
                 {kind::month_week_weekday, 0, 1, 4, 10800}, -36000, -39600);
}

TEST(RuleTable, DaylightTimeMayBeWest) {
    expect_table("IST-1GMT0,M10.5.0,M3.5.0/1", {kind::month_week_weekday, 0, 5, 10, 7200},
                 {kind::month_week_weekday, 0, 5, 3, 3600}, -3600, 0);
}

TEST(RuleTable, RandomRules) {
    const auto seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto within = [&](int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(random);
    };
    for (int i = 0; i < 60; ++i) {
        zone_rule rules[2];
        std::string zone = "AAA3BBB2";
        for (int half = 0; half < 2; ++half) {
            // Kept apart, so that no year's changes meet or meet the next year's.
            const int month = within(half ? 8 : 3, half ? 10 : 5);
            const int hours = within(-167, 167);
            auto &rule = rules[half];
            rule.time = hours * 3600;
            switch (within(0, 2)) {
            case 0:
                rule = {kind::julian_day, month * 30, 0, 0, rule.time};
                zone += ",J" + std::to_string(rule.day);
                break;
            case 1:
                rule = {kind::day_of_year, month * 30, 0, 0, rule.time};
                zone += "," + std::to_string(rule.day);
                break;
            default:
                rule = {kind::month_week_weekday, within(0, 6), within(1, 5), month, rule.time};
                zone += ",M" + std::to_string(month) + "." + std::to_string(rule.week) + "." +
                        std::to_string(rule.day);
            }
            zone += "/" + std::to_string(hours);
        }
        expect_table(zone, rules[0], rules[1], 10800, 7200);
    }
}

/// Zones that are in daylight time for ever.
void expect_perpetual(const char *zone, std::int64_t offset) {
    const auto state = parsed(zone);
    EXPECT_EQ(state->transition_count, 0) << zone;
    EXPECT_EQ(state->type_count, 1) << zone;
    EXPECT_TRUE(state->types[0].is_dst) << zone;
    EXPECT_EQ(state->types[0].utc_offset, offset) << zone;
    EXPECT_EQ(state->types[0].abbr_index, 4) << zone;
    EXPECT_EQ(state->default_type, 0) << zone;
    EXPECT_FALSE(state->go_back) << zone;
    EXPECT_FALSE(state->go_ahead) << zone;
    EXPECT_EQ(local_text(state.get(), 0).substr(20, 9), "BBB dst=1") << zone;
}

TEST(RuleTable, PerpetualDaylightTime) {
    expect_perpetual("AAA3BBB4,0/0,J365/23", -14400);
    expect_perpetual("AAA5BBB,0/0,J365/26", -14400);
    expect_perpetual("AAA5BBB,0/0,J365/167", -14400);
}

TEST(RuleTable, ASpanJustTooShortIsAYearOfTwoChanges) {
    // In UT the daylight time of "J365/25:59:59" lasts a year and an hour less a second.
    const auto state = parsed("AAA5BBB,0/0,J365/25:59:59");
    EXPECT_EQ(state->type_count, 2);
    EXPECT_EQ(state->transition_count, ZONE_MAX_TIMES);
}

TEST(RuleTable, AnEmptySpanIsPerpetualDaylightTime) {
    // Both rules at one moment: no year holds a change.
    expect_perpetual("AAA3BBB,J100/0,J100/1", -7200);
}

TEST(RuleTable, YearsThatDoNotChangeStoreNothing) {
    // Both fall on one day except in leap years: J60 is then the day after 59.
    const auto state = parsed("AAA3BBB3,59,J60");
    ASSERT_EQ(state->type_count, 2);
    EXPECT_EQ(state->transition_times[0],
              rule_moment(1772, {kind::day_of_year, 59, 0, 0, 7200}, 10800));
    EXPECT_EQ(state->transition_times[2],
              rule_moment(1776, {kind::day_of_year, 59, 0, 0, 7200}, 10800));
    // Across 1800, which is no leap year.
    EXPECT_EQ(state->transition_times[14],
              rule_moment(1804, {kind::day_of_year, 59, 0, 0, 7200}, 10800));
    EXPECT_EQ(state->transition_count, ZONE_MAX_TIMES) << "each year stored moves the end on";
    EXPECT_TRUE(state->go_back);
    EXPECT_TRUE(state->go_ahead);
}

TEST(RuleTable, ConvertsThroughTheYears) {
    const auto zone = open_zone("AAA-10BBB,M10.1.0,M4.1.0/3");
    EXPECT_EQ(local_text(zone.get(), 1617465599), "2021-04-04 02:59:59 BBB dst=1 39600 Sun 93");
    EXPECT_EQ(local_text(zone.get(), 1617465600), "2021-04-04 02:00:00 AAA dst=0 36000 Sun 93");
    EXPECT_EQ(local_text(zone.get(), 1633190399), "2021-10-03 01:59:59 AAA dst=0 36000 Sun 275");
    EXPECT_EQ(local_text(zone.get(), 1633190400), "2021-10-03 03:00:00 BBB dst=1 39600 Sun 275");
}

TEST(RuleYears, AreThoseOfTheCalendar) {
    for (std::size_t i = 0; i < rule_years.size(); ++i) {
        struct tm first = {};
        first.tm_year = first_rule_year + static_cast<int>(i) - 1900;
        first.tm_mday = 1;
        const time_t start = timegm(&first);
        const bool leap = is_leap_year(first.tm_year + 1900);
        EXPECT_EQ(rule_years[i].start * seconds_per_day, start);
        EXPECT_EQ(rule_years[i].kind, first.tm_wday + (leap ? 7 : 0));
        for (std::size_t later = i; later < i + rule_years[i].alike; ++later) {
            EXPECT_EQ(rule_years[later].kind, rule_years[later - 28].kind) << later;
            EXPECT_EQ(rule_years[later].start, rule_years[later - 28].start + days_per_28_years)
                << later;
        }
    }
}

} // namespace
