// SPDX-License-Identifier: GPL-2.0-or-later
//
// TZ strings that name a daylight time without rules: the installation's
// "posixrules", else the built-in rule.
#include <gtest/gtest.h>

#include "common/private_folder.h"
#include "common/rule_calendar.h"
#include "common/zone_fixture.h"

namespace {

class PosixRules : public testing::Test {
  protected:
    void install(const tzif_block &block, const std::string &footer = "\n\n") const {
        tzif_file file;
        file.wide = block;
        file.footer = footer;
        zoneinfo.write("posixrules", file.bytes());
    }

    static std::unique_ptr<zone_state> parsed(const std::string &text) {
        auto state = new_state();
        EXPECT_TRUE(parse_tz_string(text.c_str(), state.get(), false)) << text;
        return state;
    }

    private_folder zoneinfo{zoneinfo_folder};
};

/// Standard time (UTC-5), daylight time (UTC-4), another standard time (UTC-6).
tzif_block american_block(std::vector<tzif_block::change> changes) {
    tzif_block block;
    block.abbreviations = std::string("EST\0EDT\0CST\0", 12);
    block.types = {{-18000, 0, 0}, {-14400, 1, 4}, {-21600, 0, 8}};
    block.changes = std::move(changes);
    return block;
}

TEST_F(PosixRules, MissingTheBuiltInRuleServes) {
    const auto state = parsed("AAA5BBB");
    ASSERT_EQ(state->transition_count, ZONE_MAX_TIMES);
    const zone_rule march = {zone_rule_kind::month_week_weekday, 0, 2, 3, 7200};
    const zone_rule november = {zone_rule_kind::month_week_weekday, 0, 1, 11, 7200};
    for (const int year : {1770, 1970, 2006, 2021, 2769}) {
        const int i = 2 * (year - 1770);
        EXPECT_EQ(state->transition_times[i], rule_moment(year, march, 18000));
        EXPECT_EQ(state->transition_types[i], 1);
        EXPECT_EQ(state->transition_times[i + 1], rule_moment(year, november, 14400));
        EXPECT_EQ(state->transition_types[i + 1], 0);
    }
}

TEST_F(PosixRules, MissingOrBrokenLeavesNoLeapSeconds) {
    const auto state = new_state();
    state->leap_count = 5;
    ASSERT_TRUE(parse_tz_string("AAA5BBB,J1,J2", state.get(), false));
    EXPECT_EQ(state->leap_count, 0);

    // Its leap seconds are read before its faulty indicator is.
    auto block = american_block({});
    block.leaps = {{78796800, 1}};
    block.std_indicators = {0, 0, 9};
    install(block);
    EXPECT_EQ(parsed("AAA5BBB,J1,J2")->leap_count, 0);
    EXPECT_EQ(parsed("AAA5")->leap_count, 0);
}

TEST_F(PosixRules, LeapSecondsStayInEveryCase) {
    auto block = american_block({{0, 1}});
    block.leaps = {{78796800, 1}, {94694401, 2}};
    install(block);
    for (const char *text : {"AAA5", "AAA5BBB", "AAA5BBB,J1,J2", "AAA5BBB4,0/0,J365/167"}) {
        const auto state = parsed(text);
        EXPECT_EQ(state->leap_count, 2) << text;
        EXPECT_EQ(state->leaps[1].transition, 94694401) << text;
    }
    const auto state = new_state();
    ASSERT_TRUE(parse_tz_string("GMT", state.get(), true));
    EXPECT_EQ(state->leap_count, 2);
}

TEST_F(PosixRules, TransitionsAreMovedByTheStandardDifference) {
    install(american_block({{1000000, 1}, {2000000, 0}, {3000000, 1}, {4000000, 0}}));
    const auto state = parsed("AAA3BBB1:30");
    ASSERT_EQ(state->transition_count, 4);
    // 3 hours west instead of 5: everything, daylight ends included, two hours earlier.
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(state->transition_times[i], (i + 1) * 1000000 - 7200) << i;
        EXPECT_EQ(state->transition_types[i], i % 2 == 0 ? 1 : 0) << i;
    }
    EXPECT_EQ(state->type_count, 2);
    EXPECT_EQ(state->types[0].utc_offset, -10800);
    EXPECT_FALSE(state->types[0].is_dst);
    EXPECT_EQ(state->types[0].abbr_index, 0);
    EXPECT_EQ(state->types[1].utc_offset, -5400);
    EXPECT_TRUE(state->types[1].is_dst);
    EXPECT_EQ(state->types[1].abbr_index, 4);
    EXPECT_EQ(state->default_type, 0);
    EXPECT_EQ(state->char_count, 8);
    EXPECT_STREQ(state->abbreviations, "AAA");
    EXPECT_STREQ(state->abbreviations + 4, "BBB");
}

TEST_F(PosixRules, EastOfUt) {
    install(american_block({{1000000, 1}, {2000000, 0}}));
    const auto state = parsed("AAA-3BBB");
    EXPECT_EQ(state->transition_times[0], 1000000 - 28800);
    EXPECT_EQ(state->transition_times[1], 2000000 - 28800);
}

TEST_F(PosixRules, TheirStandardOffsetFollowsTheirTransitions) {
    // Known from the first standard transition on, and changed by each.
    install(american_block({{1000000, 1}, {2000000, 0}, {3000000, 1}, {4000000, 2}, {5000000, 1}}));
    const auto state = parsed("AAA3BBB");
    ASSERT_EQ(state->transition_count, 5);
    EXPECT_EQ(state->transition_times[0], 1000000 - 7200);
    EXPECT_EQ(state->transition_times[2], 3000000 - 7200);
    EXPECT_EQ(state->transition_times[3], 4000000 - 7200);
    EXPECT_EQ(state->transition_times[4], 5000000 - 10800) << "now counted from 6 hours west";
    EXPECT_EQ(state->transition_types[3], 0);
}

TEST_F(PosixRules, WithoutAnyStandardTransitionTheirsIsZero) {
    install(american_block({{1000000, 1}}));
    EXPECT_EQ(parsed("AAA3BBB")->transition_times[0], 1000000 + 10800);
}

TEST_F(PosixRules, UniversalTransitionsStay) {
    auto block = american_block({{1000000, 1}, {2000000, 0}});
    block.ut_indicators = {0, 1, 0};
    block.std_indicators = {0, 1, 0};
    install(block);
    const auto state = parsed("AAA3BBB");
    EXPECT_EQ(state->transition_times[0], 1000000);
    EXPECT_EQ(state->transition_times[1], 2000000 - 7200);
    EXPECT_FALSE(state->types[1].is_ut);
    EXPECT_FALSE(state->types[1].is_std);
}

TEST_F(PosixRules, StandardIndicatorsMakeNoDifference) {
    auto block = american_block({{1000000, 1}, {2000000, 0}});
    block.std_indicators = {1, 1, 1};
    install(block);
    EXPECT_EQ(parsed("AAA3BBB")->transition_times[0], 1000000 - 7200);
}

TEST_F(PosixRules, FooterIsNotUsed) {
    install(american_block({{1000000, 1}, {2000000, 0}}), "\nEST5EDT,M3.2.0,M11.1.0\n");
    EXPECT_EQ(parsed("AAA3BBB")->transition_count, 2);
}

TEST_F(PosixRules, ServeAFooterWithoutRulesToo) {
    tzif_file file;
    file.wide = two_type_block({{500000, 0}, {1500000, 1}});
    file.footer = "\nSTD-1DST\n";
    const auto state = new_state();
    ASSERT_EQ(load(file, state.get()), 0);
    EXPECT_EQ(state->transition_count, ZONE_MAX_TIMES - 400 + 2) << "the built-in rule, from 1970";

    // Six hours earlier here; the first of them is past by then.
    install(american_block({{1000000, 1}, {2000000, 0}, {3000000, 1}, {4000000, 0}}));
    ASSERT_EQ(load(file, state.get()), 0);
    ASSERT_EQ(state->transition_count, 5);
    for (int i = 2; i < 5; ++i) {
        EXPECT_EQ(state->transition_times[i], i * 1000000 - 21600);
        EXPECT_EQ(state->transition_types[i], i % 2 == 0 ? 2 : 3);
    }
}

TEST_F(PosixRules, RulesOfTheStringComeFirst) {
    install(american_block({{1000000, 1}, {2000000, 0}}));
    const auto state = parsed("AAA5BBB,J1,J2");
    EXPECT_EQ(state->transition_count, ZONE_MAX_TIMES);
    EXPECT_TRUE(state->go_ahead);
}

TEST_F(PosixRules, NothingOfTheirsIsLeftInAZoneWithoutDaylightTime) {
    // Theirs repeat after 400 years and begin with another default type.
    install(american_block({{1000000, 0}, {1000000 + cycle_seconds, 0}}));
    for (const char *text : {"AAA3", "AAA4BBB3,0/0,J365/167"}) {
        const auto zone = open_zone(text);
        ASSERT_NE(zone, nullptr);
        EXPECT_EQ(zone->transition_count, 0);
        EXPECT_EQ(zone->type_count, 1);
        EXPECT_EQ(zone->default_type, 0);
        EXPECT_EQ(local_text(zone.get(), 1000000 + 2 * cycle_seconds).substr(0, 19),
                  "2770-01-12 10:46:40");
        EXPECT_EQ(local_text(zone.get(), -cycle_seconds).substr(0, 19), "1569-12-31 21:00:00");
    }
}

TEST_F(PosixRules, DefaultTypeIsZeroWhateverTheirsIs) {
    auto block = american_block({{1000000, 1}, {2000000, 0}, {3000000, 2}});
    std::swap(block.types[0], block.types[1]);
    block.changes = {{1000000, 0}, {2000000, 1}};
    install(block);
    EXPECT_EQ(parsed("AAA3")->default_type, 0);
    EXPECT_EQ(parsed("AAA3BBB")->default_type, 0);
    EXPECT_EQ(parsed("AAA3BBB,J1,J2")->default_type, 0);
}

TEST_F(PosixRules, TimesAtTheEndsOfTheRange) {
    install(
        american_block({{INT64_MIN, 1}, {INT64_MIN + 1, 0}, {INT64_MAX - 1, 1}, {INT64_MAX, 0}}));
    const auto west = open_zone("AAA9BBB");
    ASSERT_NE(west, nullptr);
    EXPECT_EQ(west->transition_times[0], INT64_MIN + 14400);
    const auto east = open_zone("AAA-9BBB");
    ASSERT_NE(east, nullptr);
    EXPECT_EQ(east->transition_times[3], INT64_MAX - 50400);
    local_text(west.get(), INT64_MAX);
    local_text(east.get(), INT64_MIN);
}

TEST(InstalledPosixRules, GiveANamelessZoneTheirHistory) {
    const auto theirs = new_state();
    ASSERT_EQ(load_zone("posixrules", theirs.get(), false), 0);
    const auto zone = open_zone("AAA5BBB");
    ASSERT_NE(zone, nullptr);
    ASSERT_EQ(zone->transition_count, theirs->transition_count);
    EXPECT_EQ(zone->type_count, 2);
}

} // namespace
