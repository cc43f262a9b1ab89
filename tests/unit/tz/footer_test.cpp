// SPDX-License-Identifier: GPL-2.0-or-later
//
// Zone files: the rule string in the footer and how it extends the table.
#include <gtest/gtest.h>

#include "common/zone_fixture.h"

namespace {

constexpr std::int64_t year_2020 = 1577836800;

tzif_file with_footer(tzif_block block, const std::string &footer) {
    tzif_file file;
    file.wide = std::move(block);
    file.footer = footer;
    return file;
}

/// Types a file ends up with; its own are two.
int types_with(const std::string &footer) {
    const auto state = new_state();
    EXPECT_EQ(load(with_footer(two_type_block({{year_2020, 0}}), footer), state.get()), 0);
    return state->type_count;
}

TEST(ZoneFooter, ExtendsTheTable) {
    const auto state = new_state();
    const auto file =
        with_footer(two_type_block({{0, 1}, {year_2020, 0}}), "\nSTD-1DST,M3.5.0,M10.5.0/3\n");
    ASSERT_EQ(load(file, state.get()), 0);
    EXPECT_EQ(state->type_count, 4);
    EXPECT_EQ(state->transition_count, ZONE_MAX_TIMES - 500 + 2)
        << "the table of the rule ends in 2769, 250 years of it lie before 2020";
    EXPECT_EQ(state->transition_times[1], year_2020);
    EXPECT_EQ(state->transition_times[2], 1585443600); // 2020-03-29 01:00 UTC
    EXPECT_EQ(state->transition_types[2], 3);
    EXPECT_EQ(state->transition_times[3], 1603587600); // 2020-10-25 01:00 UTC
    EXPECT_EQ(state->transition_types[3], 2);
    EXPECT_EQ(state->types[2].utc_offset, 3600);
    EXPECT_FALSE(state->types[2].is_dst);
    EXPECT_EQ(state->types[2].abbr_index, 0);
    EXPECT_EQ(state->types[3].utc_offset, 7200);
    EXPECT_TRUE(state->types[3].is_dst);
    EXPECT_EQ(state->types[3].abbr_index, 4);
    EXPECT_EQ(state->char_count, 8);
    EXPECT_TRUE(state->go_ahead);
    EXPECT_FALSE(state->go_back);
}

TEST(ZoneFooter, OnlyWhenAskedFor) {
    const auto state = new_state();
    const auto file = with_footer(two_type_block({{0, 1}, {year_2020, 0}}), "\nSTD-1\n");
    ASSERT_EQ(load(file, state.get(), false), 0);
    EXPECT_EQ(state->type_count, 2);
    EXPECT_EQ(state->transition_count, 2);
}

TEST(ZoneFooter, NeedsANewlineOnBothSidesAndAText) {
    EXPECT_EQ(types_with("\nSTD-1\n"), 3);
    EXPECT_EQ(types_with("STD-1\n"), 2);
    EXPECT_EQ(types_with("\nSTD-1"), 2);
    EXPECT_EQ(types_with("\nSTD-1\nmore"), 2);
    EXPECT_EQ(types_with("\n\n"), 2);
    EXPECT_EQ(types_with("\n"), 2);
    EXPECT_EQ(types_with(""), 2);
}

TEST(ZoneFooter, TextEndsAtANul) { EXPECT_EQ(types_with(std::string("\nSTD-1\0junk\n", 12)), 3); }

TEST(ZoneFooter, AMalformedRuleIsIgnored) {
    for (const char *rule : {"\nSTD\n", "\nSTD-1DST,M3.5.0\n", "\nSTD-1DST,M3.5.0,M10.5.0,\n",
                             "\n<STD-1\n", "\n-1\n", "\nSTD168\n"})
        EXPECT_EQ(types_with(rule), 2) << rule;
}

TEST(ZoneFooter, DoesNotStartWithAColonOrNameAFile) {
    EXPECT_EQ(types_with("\nEurope/Zurich\n"), 2);
    EXPECT_EQ(types_with("\n:STD-1\n"), 3) << "a colon may be part of an unquoted name";
}

TEST(ZoneFooter, ASuffixOfAStoredNameIsReused) {
    tzif_block block;
    block.abbreviations = std::string("XSTD\0YDST\0", 10);
    const auto state = new_state();
    ASSERT_EQ(load(with_footer(block, "\nSTD-1DST,M3.5.0,M10.5.0\n"), state.get()), 0);
    EXPECT_EQ(state->char_count, 10);
    EXPECT_EQ(state->types[1].abbr_index, 1);
    EXPECT_EQ(state->types[2].abbr_index, 6);
}

TEST(ZoneFooter, APartThatIsNoSuffixIsNotReused) {
    tzif_block block;
    block.abbreviations = std::string("STDX\0", 5);
    const auto state = new_state();
    ASSERT_EQ(load(with_footer(block, "\nSTD-1\n"), state.get()), 0);
    EXPECT_EQ(state->types[1].abbr_index, 5);
    EXPECT_EQ(state->char_count, 9);
    EXPECT_STREQ(state->abbreviations, "STDX");
    EXPECT_STREQ(state->abbreviations + 5, "STD");
}

TEST(ZoneFooter, NewNamesAreAppendedWhileTheyFit) {
    // 41 characters: the names begin at 41 and 45, and 45 + 3 is below 50.
    tzif_block block;
    block.abbreviations = std::string(40, 'A') + '\0';
    const auto state = new_state();
    ASSERT_EQ(load(with_footer(block, "\nSTD-1DST,M3.5.0,M10.5.0\n"), state.get()), 0);
    EXPECT_EQ(state->type_count, 3);
    EXPECT_EQ(state->types[1].abbr_index, 41);
    EXPECT_EQ(state->types[2].abbr_index, 45);
    EXPECT_EQ(state->char_count, 49);
    EXPECT_STREQ(state->abbreviations + 41, "STD");
    EXPECT_STREQ(state->abbreviations + 45, "DST");
}

TEST(ZoneFooter, LastNameThatFits) {
    for (const std::size_t characters : {46U, 47U}) { // and three letters: 49, 50
        tzif_block block;
        block.abbreviations = std::string(characters - 1, 'A') + '\0';
        const auto state = new_state();
        ASSERT_EQ(load(with_footer(block, "\nSTD-1\n"), state.get()), 0);
        EXPECT_EQ(state->type_count, characters == 46 ? 2 : 1);
    }
}

TEST(ZoneFooter, IsIgnoredAsAWholeWhenOneNameFindsNoPlace) {
    tzif_block block = two_type_block({{0, 1}, {year_2020, 0}, {year_2020 + 5, 0}});
    while (block.abbreviations.size() < 48)
        block.abbreviations += 'A';
    block.abbreviations += '\0'; // 49 characters; STD is among them, NEW is not
    const auto state = new_state();
    ASSERT_EQ(load(with_footer(block, "\nSTD-1NEW,M3.5.0,M10.5.0\n"), state.get()), 0);
    EXPECT_EQ(state->type_count, 2);
    EXPECT_EQ(state->transition_count, 3) << "repeats at the end stay, too";
    EXPECT_EQ(state->char_count, 49);
}

TEST(ZoneFooter, RepeatsAtTheEndAreDropped) {
    const auto state = new_state();
    const auto block = two_type_block(
        {{0, 1}, {1, 1}, {year_2020, 0}, {year_2020 + 100, 0}, {year_2020 + 200, 0}});
    ASSERT_EQ(load(with_footer(block, "\nSTD-1\n"), state.get()), 0);
    EXPECT_EQ(state->transition_count, 3) << "only at the end";
    EXPECT_EQ(state->transition_times[2], year_2020);
}

TEST(ZoneFooter, OneOfOnlyRepeatsStays) {
    const auto state = new_state();
    const auto block = two_type_block({{5, 1}, {6, 1}, {7, 1}});
    ASSERT_EQ(load(with_footer(block, "\nSTD-1\n"), state.get()), 0);
    EXPECT_EQ(state->transition_count, 1);
    EXPECT_EQ(state->transition_times[0], 5);
}

TEST(ZoneFooter, DroppedRepeatsMakeRoomForTheRule) {
    // The last real change is in 2020; the repeat of 2030 must not hide the
    // rule's changes in between.
    const auto state = new_state();
    const auto block = two_type_block({{0, 1}, {year_2020, 0}, {1893456000, 0}});
    ASSERT_EQ(load(with_footer(block, "\nSTD-1DST,M3.5.0,M10.5.0/3\n"), state.get()), 0);
    EXPECT_EQ(state->transition_times[2], 1585443600);
}

TEST(ZoneFooter, BeginsAfterTheLastTransition) {
    // A transition of the rule at the very time of the file's last one is left out.
    const auto state = new_state();
    const auto block = two_type_block({{0, 0}, {1585443600, 1}});
    ASSERT_EQ(load(with_footer(block, "\nSTD-1DST,M3.5.0,M10.5.0/3\n"), state.get()), 0);
    EXPECT_EQ(state->transition_times[1], 1585443600);
    EXPECT_EQ(state->transition_types[1], 1);
    EXPECT_EQ(state->transition_times[2], 1603587600);
    EXPECT_EQ(state->transition_types[2], 2);
}

TEST(ZoneFooter, BeginsWithTheFirstLaterOneAlsoOutOfOrder) {
    // Each year's second change comes an hour after the next year's first.
    constexpr std::int64_t year_2000 = 946684800;
    const auto state = new_state();
    const auto block = two_type_block({{year_2000 + 5 * 3600 + 1800, 0}});
    ASSERT_EQ(load(with_footer(block, "\nAAA5BBB,0/0,J365/25:59:59\n"), state.get()), 0);
    EXPECT_EQ(state->transition_times[1], year_2000 + 6 * 3600 - 1) << "of 1999";
    EXPECT_EQ(state->transition_times[2], year_2000 + 5 * 3600) << "of 2000, earlier than both";
    EXPECT_GT(state->transition_times[3], year_2000 + 86400);
}

TEST(ZoneFooter, WithoutTransitionsTheWholeRuleIsTaken) {
    const auto state = new_state();
    ASSERT_EQ(load(with_footer(two_type_block(), "\nSTD-1DST,M3.5.0,M10.5.0/3\n"), state.get()), 0);
    EXPECT_EQ(state->transition_count, ZONE_MAX_TIMES);
    EXPECT_LT(state->transition_times[0], -6300000000) << "from 1770 on";
    EXPECT_TRUE(state->go_back);
    EXPECT_TRUE(state->go_ahead);
}

TEST(ZoneFooter, TransitionsAreMovedByTheLeapSecondsThen) {
    tzif_block block = two_type_block({{0, 0}});
    block.leaps = {{78796800, 1}, {94694401, 2}, {1585000000, 3}};
    const auto state = new_state();
    ASSERT_EQ(load(with_footer(block, "\nSTD-1DST,M3.5.0,M10.5.0/3\n"), state.get()), 0);
    EXPECT_EQ(state->leap_count, 3) << "the file's own, whatever the rule string brought";
    EXPECT_EQ(state->transition_times[1], 7520400) << "1970-03-29, no leap second yet";
    EXPECT_EQ(state->transition_times[1 + 2 * 3], 101869200 + 2) << "1973-03-25";
    EXPECT_EQ(state->transition_times[1 + 2 * 50], 1585443600 + 3) << "2020-03-29";
}

TEST(ZoneFooter, TableIsFullAtTwoThousand) {
    tzif_block block = two_type_block();
    for (int i = 0; i < 1999; ++i)
        block.changes.push_back({i, static_cast<unsigned char>(i % 2)});
    const auto state = new_state();
    ASSERT_EQ(load(with_footer(block, "\nSTD-1DST,M3.5.0,M10.5.0/3\n"), state.get()), 0);
    EXPECT_EQ(state->transition_count, ZONE_MAX_TIMES);
    EXPECT_EQ(state->transition_times[1999], 7520400);
    EXPECT_EQ(state->type_count, 4);
}

TEST(ZoneFooter, NeedsRoomForTwoMoreTypes) {
    for (const std::size_t types : {254U, 255U}) {
        tzif_block block = two_type_block();
        block.types.resize(types, {60, 0, 0});
        const auto state = new_state();
        ASSERT_EQ(load(with_footer(block, "\nSTD-1DST,M3.5.0,M10.5.0/3\n"), state.get()), 0);
        EXPECT_EQ(state->type_count, types == 254 ? 256 : 255);
        EXPECT_EQ(state->transition_count, types == 254 ? ZONE_MAX_TIMES : 0);
        if (types == 254) {
            EXPECT_EQ(state->transition_types[0], 255);
            EXPECT_EQ(state->transition_types[1], 254);
            EXPECT_EQ(state->types[255].utc_offset, 7200);
        }
    }
}

TEST(ZoneFooter, OnTheWholeZoneThroughTheYears) {
    const auto zone = open_zone("Europe/Zurich");
    ASSERT_NE(zone, nullptr);
    EXPECT_EQ(local_text(zone.get(), 4120416000), "2100-07-28 02:00:00 CEST dst=1 7200 Wed 208");
}

} // namespace
