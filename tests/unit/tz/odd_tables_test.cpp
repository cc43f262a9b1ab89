// SPDX-License-Identifier: GPL-2.0-or-later
//
// Tables that no country has: out of order, with two changes at one instant, or
// repeating what no year can name.  Short cuts must not be taken in them.
#include <gtest/gtest.h>

#include "common/private_folder.h"
#include "common/zone_fixture.h"
#include "tz/steady.h"

namespace {

using change = tzif_block::change;

/// Local time as text, or "null" with errno.
std::string answer(const zone_state &zone, std::int64_t time) {
    errno = 0;
    const std::string text = local_text(&zone, time);
    return text == "null" && errno == EOVERFLOW ? "null, EOVERFLOW" : text;
}

/// A rules file in which moving the transitions to another standard time can do
/// anything: type 0 is standard time, type 2 standard time far west, type 1 and 3
/// are their daylight-saving times.
tzif_block far_apart(std::vector<change> changes) {
    tzif_block block;
    block.abbreviations = std::string("SSS\0DDD\0", 8);
    block.types = {{0, 0, 0}, {3600, 1, 4}, {-100000, 0, 0}, {-96400, 1, 4}};
    block.changes = std::move(changes);
    return block;
}

class OddTables : public testing::Test {
  protected:
    void install(const tzif_block &block, const char *name = "posixrules",
                 const std::string &footer = "\n\n") const {
        tzif_file file;
        file.wide = block;
        file.footer = footer;
        zoneinfo.write(name, file.bytes());
    }

    private_folder zoneinfo{zoneinfo_folder};
};

TEST_F(OddTables, ATableThatEndsBeforeItBeginsIsOutOfOrder) {
    // The third transition moves a day and more to before the first.
    install(far_apart({{0, 0}, {10, 2}, {20, 0}}));
    const auto zone = open_zone("AAA0BBB");
    ASSERT_EQ(zone->transition_times[2], 20 - 100000);
    EXPECT_EQ(answer(*zone, INT64_MIN), "null, EOVERFLOW");
    EXPECT_EQ(answer(*zone, -1000000), "1969-12-20 10:13:20 AAA dst=0 0 Sat 353");
    EXPECT_EQ(answer(*zone, INT64_MAX), "null, EOVERFLOW");
}

TEST_F(OddTables, AFileThatLeavesRoomForPartOfAYear) {
    // The footer's first year ends the table, and ends it out of order.
    tzif_block block = two_type_block();
    for (int second = 0; second < 1998; ++second)
        block.changes.push_back({second - 1998, static_cast<unsigned char>(second % 2)});
    install(block, "Full", "\nX167DD-12,364/167,M1.1.6/-100\n");
    const auto zone = open_zone("Full");
    ASSERT_EQ(zone->transition_count, ZONE_MAX_TIMES);
    EXPECT_EQ(answer(*zone, INT64_MIN), "null, EOVERFLOW");
    EXPECT_EQ(answer(*zone, INT64_MAX), "null, EOVERFLOW");
}

TEST_F(OddTables, BeforeTheFirstTransitionTheDefaultTypeIsInForce) {
    // What a search of all transitions finds at -50000 is the last of them.
    install(far_apart({{0, 0}, {10, 2}, {20, 1}, {30, 1}}));
    const auto zone = open_zone("AAA0BBB");
    ASSERT_LT(zone->transition_times[3], -50000);
    EXPECT_EQ(answer(*zone, -50000), "1969-12-31 10:06:40 AAA dst=0 0 Wed 364");
    EXPECT_EQ(time_of(zone.get(), civil(1969, 12, 31, 10, 6, 40)), -50000);
}

TEST_F(OddTables, RepetitionIsFoundAmongTransitionsAtOneInstant) {
    // In years of 365 days daylight-saving time ends when the next year's begins.
    for (const char *rules : {"AAA3BBB2,0/0,J365/25", "EST5EDT,0/0,J365/25"}) {
        install(two_type_block(), "Footer", '\n' + std::string(rules) + '\n');
        const auto zone = open_zone("Footer");
        ASSERT_EQ(zone->transition_count, ZONE_MAX_TIMES) << rules;
        EXPECT_TRUE(zone->go_back) << rules;
        EXPECT_TRUE(zone->go_ahead) << rules;
        const auto string = open_zone(rules);
        for (const std::int64_t time : {-100000000000, -20000000000, 40000000000, 500000000000})
            EXPECT_EQ(answer(*zone, time), answer(*string, time)) << rules;
    }
}

TEST_F(OddTables, RepetitionNeedsAnEquivalentTypeAmongThem) {
    // Another name for daylight-saving time: only the standard time comes again.
    tzif_block block = two_type_block({{0, 1}});
    install(block, "Footer", "\nSTD-1XXX-2,0/0,J365/25\n");
    const auto zone = open_zone("Footer");
    EXPECT_FALSE(zone->go_back);
    EXPECT_TRUE(zone->go_ahead);
}

TEST_F(OddTables, FootersServedByTheRulesFileDoNotRepeatLikeRules) {
    install(far_apart({{1000, 1}, {5000, 0}, {9000, 1}, {9000 + cycle_seconds, 1}}));
    install(two_type_block({{0, 0}}), "Footer", "\nSSS0DDD\n");
    const auto zone = open_zone("Footer");
    ASSERT_EQ(zone->transition_count, 5);
    ASSERT_TRUE(zone->go_ahead);
    // Daylight-saving time from 9000 on, not standard time as at 6000.
    EXPECT_EQ(answer(*zone, 6000 + cycle_seconds), "2370-01-01 02:40:00 DDD dst=1 3600 Thu 0");
    EXPECT_EQ(answer(*zone, 6000 + 2 * cycle_seconds), "2770-01-01 02:40:00 DDD dst=1 3600 Thu 0");
}

TEST_F(OddTables, AFooterGoesOnFromItsFirstLaterTransition) {
    std::vector<change> changes = {{1000, 0}, {1010, 2}};
    for (int i = 0; i < 9; ++i)
        changes.push_back({1020 + i, 1}); // moved to before the file's last
    changes.push_back({1100, 0});
    changes.push_back({200000, 1});
    install(far_apart(changes));
    install(two_type_block({{0, 0}}), "Footer", "\nSSS0DDD\n");
    const auto zone = open_zone("Footer");
    ASSERT_EQ(zone->transition_count, 1 + 13);
    EXPECT_EQ(zone->transition_times[1], 1000);
    EXPECT_EQ(zone->transition_times[3], 1020 - 100000);
    EXPECT_EQ(zone->transition_times[13], 200000);
}

TEST_F(OddTables, WhatFallsBeforeTheTableWhenMovedIntoItIsNoTime) {
    // The last transition moves, so that the table is shorter than its repetition.
    install(far_apart({{0, 0}, {10, 2}, {cycle_seconds, 0}}));
    const auto zone = open_zone("AAA0BBB");
    ASSERT_TRUE(zone->go_ahead);
    const std::int64_t last = cycle_seconds - 100000;
    ASSERT_EQ(zone->transition_times[2], last);
    EXPECT_EQ(answer(*zone, last), "2369-12-30 20:13:20 AAA dst=0 0 Tue 363");
    EXPECT_EQ(answer(*zone, last + 1), "null");
    EXPECT_EQ(answer(*zone, cycle_seconds - 1), "null");
    EXPECT_EQ(answer(*zone, cycle_seconds), "2370-01-01 00:00:00 AAA dst=0 0 Thu 0");
    EXPECT_EQ(answer(*zone, last + cycle_seconds), "2769-12-30 20:13:20 AAA dst=0 0 Tue 363");
    EXPECT_EQ(time_of(zone.get(), civil(2369, 12, 31)), -1);
    EXPECT_EQ(steady_until(*zone, last + 1), last + 1);
}

TEST_F(OddTables, WhatFallsAfterTheTableWhenMovedIntoItIsNoTime) {
    install(
        far_apart({{0, 0}, {cycle_seconds, 0}, {cycle_seconds + 10, 2}, {cycle_seconds + 20, 0}}));
    const auto zone = open_zone("AAA0BBB");
    ASSERT_TRUE(zone->go_back);
    ASSERT_EQ(zone->transition_times[3], cycle_seconds + 20 - 100000);
    EXPECT_EQ(answer(*zone, 20 - 100000), "1969-12-30 20:13:40 AAA dst=0 0 Tue 363");
    EXPECT_EQ(answer(*zone, 21 - 100000), "null");
    EXPECT_EQ(answer(*zone, -1), "null");
    EXPECT_EQ(answer(*zone, 0), "1970-01-01 00:00:00 AAA dst=0 0 Thu 0");
}

TEST_F(OddTables, MovedLeapSecondsStayWithinTime) {
    tzif_block rules = far_apart({{0, 0}, {INT64_MAX, 1}});
    install(rules);
    tzif_block block = two_type_block({{0, 0}});
    block.leaps = {{78796800, 1}};
    install(block, "Footer", "\nSSS0DDD\n");
    const auto zone = open_zone("Footer");
    ASSERT_EQ(zone->transition_count, 2);
    EXPECT_EQ(zone->transition_times[1], INT64_MAX);
}

TEST(OddRepetition, OfYearsThatCannotBeNamedConvertsNothing) {
    const auto zone = make_zone(two_type_block({{INT64_MIN, 1}, {INT64_MIN + cycle_seconds, 1}}));
    ASSERT_TRUE(zone->go_ahead);
    EXPECT_EQ(answer(*zone, 0), "null, EOVERFLOW");
    EXPECT_EQ(time_of(zone.get(), civil(1970, 1, 1)), -1);
    EXPECT_EQ(time_of(zone.get(), civil(2021, 7, 1, 0, 0, 0, 1)), -1);
    for (const std::int64_t time : {std::int64_t{0}, INT64_MIN, INT64_MAX})
        EXPECT_GE(steady_until(*zone, time), time);
}

TEST(OddRepetition, OfATableLongAgoIsInvertedAtItsEnd) {
    // All of it lies before the first slot of an index.
    constexpr std::int64_t first = -20000000000;
    constexpr std::int64_t last = first + cycle_seconds;
    const auto zone = make_zone(two_type_block({{first, 1}, {first + 5000000000, 0}, {last, 1}}));
    ASSERT_TRUE(zone->go_ahead);
    for (const std::int64_t time : {last - 3601, last - 1, last, last + 1, last + 3600})
        for (const bool with_flag : {false, true}) {
            struct tm tm = {};
            ASSERT_NE(localtime_rz(zone.get(), &time, &tm), nullptr);
            if (!with_flag)
                tm.tm_isdst = -1;
            EXPECT_EQ(mktime_z(zone.get(), &tm), time);
        }
}

TEST(OddRepetition, AChangeSoonAfterTheLastIsNotForgotten) {
    // Daylight-saving time of half an hour: its readings come again an hour later.  The
    // rest of the year another standard time is in force.
    auto block = two_type_block({{0, 1}, {1800, 0}, {1000000, 2}, {cycle_seconds, 1}});
    block.types.push_back({1800, 0, 0});
    const auto zone = make_zone(block);
    ASSERT_TRUE(zone->go_ahead);
    const time_t begin = 2 * cycle_seconds;
    struct tm tm = {};
    ASSERT_NE(localtime_rz(zone.get(), &begin, &tm), nullptr);
    ASSERT_EQ(tm.tm_isdst, 1);
    EXPECT_EQ(time_of(zone.get(), tm), begin);
    tm.tm_isdst = 0;
    EXPECT_EQ(time_of(zone.get(), tm), begin + 3600);
}

TEST(OddRepetition, AtTheEndOfTimeConvertsNothingBefore) {
    const auto zone = make_zone(two_type_block({{INT64_MAX - cycle_seconds, 1}, {INT64_MAX, 1}}));
    ASSERT_TRUE(zone->go_back);
    EXPECT_EQ(answer(*zone, 0), "null, EOVERFLOW");
    EXPECT_EQ(time_of(zone.get(), civil(1970, 1, 1)), -1);
    for (const std::int64_t time : {std::int64_t{0}, INT64_MIN, INT64_MAX})
        EXPECT_GE(steady_until(*zone, time), time);
}

} // namespace
