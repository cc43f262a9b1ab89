// SPDX-License-Identifier: GPL-2.0-or-later
//
// What follows from a zone's table (repeats, the type before it), and what is
// done to its abbreviations.
#include <cstring>

#include <gtest/gtest.h>

#include "common/private_folder.h"
#include "common/zone_fixture.h"

namespace {

std::unique_ptr<zone_state> loaded(const tzif_block &block) {
    tzif_file file;
    file.wide = block;
    auto state = new_state();
    EXPECT_EQ(load(file, state.get()), 0);
    return state;
}

TEST(ZoneRepeats, FirstTransitionSeenAgainAfter400Years) {
    auto block = two_type_block({{1000, 1}, {2000, 0}, {1000 + cycle_seconds, 1}});
    auto state = loaded(block);
    EXPECT_TRUE(state->go_back);
    EXPECT_TRUE(state->go_ahead);

    block.changes[2].time += 1;
    state = loaded(block);
    EXPECT_FALSE(state->go_back);
    EXPECT_FALSE(state->go_ahead);

    block.changes[2].time -= 2;
    state = loaded(block);
    EXPECT_FALSE(state->go_back);
    EXPECT_FALSE(state->go_ahead);
}

TEST(ZoneRepeats, EachDirectionForItself) {
    auto state = loaded(two_type_block({{0, 1}, {cycle_seconds, 1}, {cycle_seconds + 9, 0}}));
    EXPECT_TRUE(state->go_back);
    EXPECT_FALSE(state->go_ahead);

    state = loaded(two_type_block({{0, 0}, {50, 1}, {cycle_seconds + 50, 1}}));
    EXPECT_FALSE(state->go_back);
    EXPECT_TRUE(state->go_ahead);
}

TEST(ZoneRepeats, NeedMoreThanOneTransition) {
    EXPECT_FALSE(loaded(two_type_block({{5, 1}}))->go_back);
    EXPECT_FALSE(loaded(two_type_block({{5, 1}}))->go_ahead);
    EXPECT_FALSE(loaded(two_type_block())->go_ahead);
}

TEST(ZoneRepeats, OverTheWholeRangeOfTimes) {
    const auto state = loaded(two_type_block({{INT64_MIN, 1}, {0, 0}, {INT64_MAX, 1}}));
    EXPECT_FALSE(state->go_back);
    EXPECT_FALSE(state->go_ahead);
}

/// Two transitions 400 years apart, the types of which differ by `change`.
bool repeats_despite(void (*change)(tzif_block &)) {
    tzif_block block;
    block.abbreviations = std::string("ABC\0ABC\0XYZ\0", 12);
    block.types = {{3600, 0, 0}, {3600, 0, 0}};
    block.std_indicators = {1, 1};
    block.ut_indicators = {0, 0};
    block.changes = {{0, 0}, {cycle_seconds, 1}};
    change(block);
    const auto state = loaded(block);
    EXPECT_EQ(state->go_back, state->go_ahead);
    return state->go_back;
}

TEST(ZoneRepeats, EquivalentTypesAreEnough) {
    EXPECT_TRUE(repeats_despite([](tzif_block &) {}));
    EXPECT_TRUE(repeats_despite([](tzif_block &block) { block.types[1].abbr_index = 4; }))
        << "the same text at another place";
    EXPECT_FALSE(repeats_despite([](tzif_block &block) { block.types[1].abbr_index = 8; }));
    EXPECT_FALSE(repeats_despite([](tzif_block &block) { block.types[1].abbr_index = 1; }));
    EXPECT_FALSE(repeats_despite([](tzif_block &block) { block.types[1].offset = 3601; }));
    EXPECT_FALSE(repeats_despite([](tzif_block &block) { block.types[1].dst = 1; }));
    EXPECT_FALSE(repeats_despite([](tzif_block &block) { block.std_indicators[1] = 0; }));
    EXPECT_FALSE(repeats_despite([](tzif_block &block) { block.ut_indicators[1] = 1; }));
}

/// default_type of a zone with types of the given DST flags and transitions to
/// the given types.
int default_of(const std::vector<unsigned char> &flags, const std::vector<unsigned char> &used) {
    tzif_block block;
    block.types.clear();
    for (const unsigned char flag : flags)
        block.types.push_back({static_cast<std::int32_t>(block.types.size()), flag, 0});
    for (const unsigned char type : used)
        block.changes.push_back({static_cast<std::int64_t>(block.changes.size()), type});
    return loaded(block)->default_type;
}

TEST(ZoneDefaultType, TypeZeroWhenNoTransitionUsesIt) {
    EXPECT_EQ(default_of({0}, {}), 0);
    EXPECT_EQ(default_of({1, 0}, {}), 0) << "even a daylight one";
    EXPECT_EQ(default_of({1, 0}, {1, 1}), 0);
    EXPECT_EQ(default_of({0, 1, 0}, {1, 2}), 0);
}

TEST(ZoneDefaultType, StandardTypeNextBelowAFirstDaylightOne) {
    EXPECT_EQ(default_of({0, 0, 1}, {2, 0}), 1);
    EXPECT_EQ(default_of({0, 0, 1, 1}, {3, 0}), 1);
    EXPECT_EQ(default_of({0, 1, 1, 0}, {2, 0}), 0);
}

TEST(ZoneDefaultType, ElseTheFirstStandardType) {
    EXPECT_EQ(default_of({0, 1, 0}, {2, 0}), 0);
    EXPECT_EQ(default_of({1, 0, 0}, {2, 0}), 1);
    EXPECT_EQ(default_of({1, 1, 0}, {1, 0}), 2) << "none below the first daylight type";
    EXPECT_EQ(default_of({1, 0}, {0, 1}), 1);
}

TEST(ZoneDefaultType, ElseTypeZero) {
    EXPECT_EQ(default_of({1, 1}, {0, 1}), 0);
    EXPECT_EQ(default_of({1, 1}, {1, 0}), 0);
}

/// The abbreviation that a quoted name becomes.
std::string scrubbed(const std::string &name) {
    const auto zone = open_zone(("<" + name + ">0").c_str());
    return zone ? zone->abbreviations : "-";
}

TEST(ZoneScrub, LongAbbreviationsAreCut) {
    EXPECT_EQ(scrubbed("ABCDEFGHIJKLMNOP"), "ABCDEFGHIJKLMNOP");
    EXPECT_EQ(scrubbed("ABCDEFGHIJKLMNOPQ"), "ABCDEFGHIJKLMNOP");
    EXPECT_EQ(scrubbed("ABCDEFGHIJKLMNOPQRS"), "ABCDEFGHIJKLMNOP");
    EXPECT_EQ(scrubbed(std::string(500, 'x')), std::string(16, 'x'));
}

TEST(ZoneScrub, EveryTypeIsCut) {
    const auto zone = open_zone("<ABCDEFGHIJKLMNOPQRS>0<abcdefghijklmnopqrs>,J1,J100");
    ASSERT_NE(zone, nullptr);
    EXPECT_STREQ(zone->abbreviations + zone->types[0].abbr_index, "ABCDEFGHIJKLMNOP");
    EXPECT_STREQ(zone->abbreviations + zone->types[1].abbr_index, "abcdefghijklmnop");
    EXPECT_EQ(zone->types[1].abbr_index, 20);
}

TEST(ZoneScrub, OneLongTextStaysWhole) {
    const std::string kept = "Local time zone must be set--see zic manual page";
    EXPECT_EQ(scrubbed(kept), kept);
    EXPECT_EQ(scrubbed(kept + "s"), "Local time zone ");
    EXPECT_EQ(scrubbed("l" + kept.substr(1)), "local time zone ");
}

TEST(ZoneScrub, OtherCharactersBecomeUnderlines) {
    EXPECT_EQ(scrubbed("EST*"), "EST_");
    EXPECT_EQ(scrubbed("aZ09 :+-._"), "aZ09 :+-._");
    for (int c = 1; c < 256; ++c) {
        if (c == '>')
            continue;
        const char byte = static_cast<char>(c);
        const bool allowed = std::strchr("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                         "0123456789 :+-._",
                                         byte) != nullptr;
        EXPECT_EQ(scrubbed(std::string("A") + byte), allowed ? std::string("A") + byte : "A_") << c;
    }
}

TEST(ZoneScrub, OfAFilesAbbreviations) {
    const private_folder zoneinfo(zoneinfo_folder);
    tzif_file file;
    file.wide.abbreviations = std::string("A\xc3\xa9/\0Z!\0ABCDEFGHIJKLMNOPQRS\0", 28);
    file.wide.types = {{0, 0, 0}, {60, 0, 5}, {120, 0, 8}, {180, 0, 10}};
    zoneinfo.write("Odd", file.bytes());
    const auto zone = open_zone("Odd");
    ASSERT_NE(zone, nullptr);
    EXPECT_EQ(zone->char_count, 28);
    EXPECT_STREQ(zone->abbreviations, "A___");
    EXPECT_STREQ(zone->abbreviations + 5, "Z_");
    // Types that share a text are cut one after the other.
    EXPECT_EQ(std::string(zone->abbreviations + 8), "ABCDEFGHIJKLMNOP");
    EXPECT_EQ(std::string(zone->abbreviations + 10), "CDEFGHIJKLMNOP");
}

TEST(ZoneScrub, NotDoneByTheLoaderItself) {
    tzif_block block;
    block.abbreviations = std::string("E*T\0", 4);
    EXPECT_STREQ(loaded(block)->abbreviations, "E*T");
}

} // namespace
