// SPDX-License-Identifier: GPL-2.0-or-later
//
// Zone files: transitions, local-time types, leap seconds, indicators.
#include <gtest/gtest.h>

#include "common/zone_fixture.h"

namespace {

constexpr std::int64_t least_leap_distance = 2419199;

/// Both blocks of the format take the same rules.
void expect_both(const tzif_block &block, int expected, const char *what) {
    tzif_file file;
    file.wide = block;
    EXPECT_EQ(load(file), expected) << what << ", 64 bits";
    EXPECT_EQ(load(tzif_file::old_format(block)), expected) << what << ", 32 bits";
}

TEST(ZoneTransitions, MustNotGoBack) {
    expect_both(two_type_block({{10, 1}, {11, 0}, {12, 1}}), 0, "rising");
    expect_both(two_type_block({{10, 1}, {9, 0}}), EINVAL, "falling");
    expect_both(two_type_block({{-1, 1}, {-2, 0}}), EINVAL, "falling below zero");
    expect_both(two_type_block({{10, 1}, {20, 0}, {20, 1}, {19, 0}}), EINVAL,
                "going back after a pair of equals");
}

TEST(ZoneTransitions, OfEqualTimesTheLaterOneStays) {
    tzif_file file;
    file.wide = two_type_block({{10, 0}, {20, 0}, {20, 1}, {20, 0}, {20, 1}, {30, 0}});
    const auto state = new_state();
    ASSERT_EQ(load(file, state.get()), 0);
    ASSERT_EQ(state->transition_count, 3);
    EXPECT_EQ(state->transition_times[0], 10);
    EXPECT_EQ(state->transition_types[0], 0);
    EXPECT_EQ(state->transition_times[1], 20);
    EXPECT_EQ(state->transition_types[1], 1);
    EXPECT_EQ(state->transition_times[2], 30);
    EXPECT_EQ(state->transition_types[2], 0);
}

TEST(ZoneTransitions, EqualTimesAtTheStart) {
    tzif_file file;
    file.wide = two_type_block({{10, 0}, {10, 1}});
    const auto state = new_state();
    ASSERT_EQ(load(file, state.get()), 0);
    ASSERT_EQ(state->transition_count, 1);
    EXPECT_EQ(state->transition_times[0], 10);
    EXPECT_EQ(state->transition_types[0], 1);
}

TEST(ZoneTransitions, TypeByteOfADroppedTransitionDoesNotMatter) {
    tzif_file file;
    file.wide = two_type_block({{10, 0}, {20, 77}, {20, 1}});
    const auto state = new_state();
    ASSERT_EQ(load(file, state.get()), 0);
    ASSERT_EQ(state->transition_count, 2);
    EXPECT_EQ(state->transition_types[1], 1);
}

TEST(ZoneTransitions, TypeMustExist) {
    expect_both(two_type_block({{10, 1}}), 0, "last type");
    expect_both(two_type_block({{10, 2}}), EINVAL, "one too far");
    expect_both(two_type_block({{10, 1}, {20, 255}}), EINVAL, "byte 255");
}

TEST(ZoneTransitions, WholeRangeOfTimes) {
    tzif_file file;
    file.wide = two_type_block({{INT64_MIN, 1}, {INT64_MIN + 1, 0}, {INT64_MAX, 1}});
    const auto state = new_state();
    ASSERT_EQ(load(file, state.get()), 0);
    EXPECT_EQ(state->transition_times[0], INT64_MIN);
    EXPECT_EQ(state->transition_times[2], INT64_MAX);
}

TEST(ZoneTypes, OffsetIsSigned) {
    for (const std::int32_t offset : {0, -1, 1, INT32_MAX, INT32_MIN}) {
        tzif_file file;
        file.wide.types = {{offset, 0, 0}};
        const auto state = new_state();
        ASSERT_EQ(load(file, state.get()), 0);
        EXPECT_EQ(state->types[0].utc_offset, offset);
    }
}

TEST(ZoneTypes, DaylightFlagIsZeroOrOne) {
    for (const unsigned char flag : std::initializer_list<unsigned char>{0, 1, 2, 128, 255}) {
        tzif_block block;
        block.types = {{0, flag, 0}};
        expect_both(block, flag <= 1 ? 0 : EINVAL, "flag");
    }
}

TEST(ZoneTypes, AbbreviationIndexLiesBelowTheCharacterCount) {
    for (const unsigned char index : std::initializer_list<unsigned char>{0, 3, 4, 255}) {
        tzif_block block; // four characters
        block.types = {{0, 0, index}};
        expect_both(block, index < 4 ? 0 : EINVAL, "index");
    }
    tzif_block nothing;
    nothing.abbreviations.clear();
    expect_both(nothing, EINVAL, "no characters at all");
}

TEST(ZoneTypes, AbbreviationsAreCopiedAndEnded) {
    tzif_file file;
    file.wide.abbreviations = std::string("AB\0CDE", 6); // the last one without its NUL
    file.wide.types = {{0, 0, 0}, {0, 0, 3}};
    const auto state = new_state();
    std::fill_n(state->abbreviations, ZONE_ABBREVIATIONS_SIZE, 'x');
    ASSERT_EQ(load(file, state.get()), 0);
    EXPECT_EQ(state->char_count, 6);
    EXPECT_STREQ(state->abbreviations, "AB");
    EXPECT_STREQ(state->abbreviations + 3, "CDE");
}

TEST(ZoneLeaps, AreStored) {
    tzif_file file;
    file.wide.leaps = {
        {78796800, 1}, {94694401, 2}, {126230402, 1}, {157766403, 0}, {189302404, -1}};
    const auto state = new_state();
    ASSERT_EQ(load(file, state.get()), 0);
    ASSERT_EQ(state->leap_count, 5);
    EXPECT_EQ(state->leaps[0].transition, 78796800);
    EXPECT_EQ(state->leaps[0].correction, 1);
    EXPECT_EQ(state->leaps[4].transition, 189302404);
    EXPECT_EQ(state->leaps[4].correction, -1);
}

TEST(ZoneLeaps, NotBefore1970) {
    tzif_block block;
    block.leaps = {{-1, 1}};
    expect_both(block, EINVAL, "one second before");
    block.leaps = {{INT32_MIN, 1}};
    expect_both(block, EINVAL, "long before");
    block.leaps = {{least_leap_distance, 1}, {-1, 2}};
    expect_both(block, EINVAL, "second record");

    tzif_file file;
    file.wide.leaps = {{INT64_MIN, 1}};
    EXPECT_EQ(load(file), EINVAL);
    file.wide.leaps = {{least_leap_distance, 1}, {INT64_MIN, 2}};
    EXPECT_EQ(load(file), EINVAL) << "no overflow while the distance is checked";
}

TEST(ZoneLeaps, LieAlmostAMonthApart) {
    tzif_block block;
    block.leaps = {{least_leap_distance, 1}};
    expect_both(block, 0, "first");
    block.leaps = {{least_leap_distance - 1, 1}};
    expect_both(block, EINVAL, "first too early");
    block.leaps = {{least_leap_distance, 1}, {2 * least_leap_distance, 2}};
    expect_both(block, 0, "second");
    block.leaps = {{least_leap_distance, 1}, {2 * least_leap_distance - 1, 2}};
    expect_both(block, EINVAL, "second too early");
    block.leaps = {{2 * least_leap_distance, 1}, {least_leap_distance, 2}};
    expect_both(block, EINVAL, "going back");
}

TEST(ZoneLeaps, ChangeByOneSecond) {
    tzif_block block;
    for (const std::int32_t first : {1, -1, 0, 2, -2, INT32_MAX, INT32_MIN}) {
        block.leaps = {{least_leap_distance, first}};
        expect_both(block, first == 1 || first == -1 ? 0 : EINVAL, "first");
    }
    for (const std::int32_t second : {0, 1, 2, 3, -1}) {
        block.leaps = {{least_leap_distance, 1}, {least_leap_distance * 2, second}};
        expect_both(block, second == 0 || second == 2 ? 0 : EINVAL, "second");
    }
}

TEST(ZoneLeaps, UpToTheEndOfTime) {
    tzif_file file;
    file.wide.leaps = {{INT64_MAX - least_leap_distance, 1}, {INT64_MAX, 2}};
    EXPECT_EQ(load(file), 0);
    file.wide.leaps = {{INT64_MAX, 1}, {INT64_MAX, 2}};
    EXPECT_EQ(load(file), EINVAL) << "no overflow while the distance is checked";
}

TEST(ZoneIndicators, AreZeroOrOneAndStored) {
    tzif_block block = two_type_block();
    block.std_indicators = {0, 1};
    block.ut_indicators = {1, 0};
    tzif_file file;
    file.wide = block;
    const auto state = new_state();
    ASSERT_EQ(load(file, state.get()), 0);
    EXPECT_FALSE(state->types[0].is_std);
    EXPECT_TRUE(state->types[1].is_std);
    EXPECT_TRUE(state->types[0].is_ut);
    EXPECT_FALSE(state->types[1].is_ut);

    for (const unsigned char bad : std::initializer_list<unsigned char>{2, 255}) {
        block = two_type_block();
        block.std_indicators = {0, bad};
        expect_both(block, EINVAL, "standard indicator");
        block = two_type_block();
        block.ut_indicators = {bad, 0};
        expect_both(block, EINVAL, "UT indicator");
    }
}

TEST(ZoneIndicators, AreFalseWhenAbsent) {
    tzif_file file;
    file.wide = two_type_block();
    const auto state = new_state();
    for (auto &type : state->types)
        type.is_std = type.is_ut = true;
    ASSERT_EQ(load(file, state.get()), 0);
    EXPECT_FALSE(state->types[0].is_std);
    EXPECT_FALSE(state->types[1].is_ut);
}

} // namespace
