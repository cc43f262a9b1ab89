// SPDX-License-Identifier: GPL-2.0-or-later
//
// Zone files: the header's counts and what the bytes must cover.
#include <gtest/gtest.h>

#include "common/zone_fixture.h"
#include "tz/zone_file.h"

namespace {

using count_field = std::optional<std::uint32_t> tzif_block::*;

/// A block with as many of everything as asked for, all of it valid.
tzif_block sized_block(int changes, int types, int characters, int leaps) {
    tzif_block block;
    for (int i = 0; i < changes; ++i)
        block.changes.push_back({i * 1000LL, static_cast<unsigned char>(i % types)});
    block.types.clear();
    for (int i = 0; i < types; ++i)
        block.types.push_back({i, 0, 0});
    block.abbreviations.assign(static_cast<std::size_t>(characters), 'A');
    for (int i = 0; i < leaps; ++i)
        block.leaps.push_back({2419199LL * (i + 1), i + 1});
    return block;
}

int load_wide(tzif_block block) {
    tzif_file file;
    file.wide = std::move(block);
    return load(file);
}

TEST(ZoneFileHeader, LimitsAreTheLastCountsAccepted) {
    EXPECT_EQ(load_wide(sized_block(1999, 1, 4, 0)), 0);
    EXPECT_EQ(load_wide(sized_block(2000, 1, 4, 0)), EINVAL);
    EXPECT_EQ(load_wide(sized_block(0, 255, 4, 0)), 0);
    EXPECT_EQ(load_wide(sized_block(0, 256, 4, 0)), EINVAL);
    EXPECT_EQ(load_wide(sized_block(0, 1, 49, 0)), 0);
    EXPECT_EQ(load_wide(sized_block(0, 1, 50, 0)), EINVAL);
    EXPECT_EQ(load_wide(sized_block(0, 1, 4, 49)), 0);
    EXPECT_EQ(load_wide(sized_block(0, 1, 4, 50)), EINVAL);
}

TEST(ZoneFileHeader, LimitsHoldInTheFirstBlockToo) {
    EXPECT_EQ(load(tzif_file::old_format(sized_block(1999, 255, 49, 49))), 0);
    EXPECT_EQ(load(tzif_file::old_format(sized_block(2000, 1, 4, 0))), EINVAL);
    EXPECT_EQ(load(tzif_file::old_format(sized_block(0, 256, 4, 0))), EINVAL);
    EXPECT_EQ(load(tzif_file::old_format(sized_block(0, 1, 50, 0))), EINVAL);
    EXPECT_EQ(load(tzif_file::old_format(sized_block(0, 1, 4, 50))), EINVAL);

    tzif_file file;
    file.narrow = sized_block(2000, 1, 4, 0);
    EXPECT_EQ(load(file), EINVAL) << "a good second block does not help";
}

TEST(ZoneFileHeader, EverythingAtItsLimitIsStored) {
    tzif_file file;
    file.wide = sized_block(1999, 255, 49, 49);
    file.wide.std_indicators.assign(255, 1);
    file.wide.ut_indicators.assign(255, 1);
    const auto state = new_state();
    ASSERT_EQ(load(file, state.get()), 0);
    EXPECT_EQ(state->transition_count, 1999);
    EXPECT_EQ(state->type_count, 255);
    EXPECT_EQ(state->char_count, 49);
    EXPECT_EQ(state->leap_count, 49);
    EXPECT_EQ(state->transition_times[1998], 1998000);
    EXPECT_EQ(state->transition_types[1998], 1998 % 255);
    EXPECT_EQ(state->types[254].utc_offset, 254);
    EXPECT_TRUE(state->types[254].is_std);
    EXPECT_TRUE(state->types[254].is_ut);
    EXPECT_EQ(state->leaps[48].transition, 2419199LL * 49);
    EXPECT_EQ(state->leaps[48].correction, 49);
    EXPECT_EQ(std::string(state->abbreviations), std::string(49, 'A'));
}

TEST(ZoneFileHeader, HugeCountsAreRejectedInEveryField) {
    // The counts are two's complement; a negative one is a huge unsigned one.
    const count_field fields[] = {&tzif_block::ut_count,   &tzif_block::std_count,
                                  &tzif_block::leap_count, &tzif_block::change_count,
                                  &tzif_block::type_count, &tzif_block::char_count};
    const std::uint32_t counts[] = {0x7fffffffU, 0x80000000U, 0xffffffffU, 0xfffffffeU,
                                    0x40000000U, 0x10000001U, 65536};
    for (std::size_t field = 0; field < std::size(fields); ++field)
        for (const auto count : counts)
            for (const bool in_first : {true, false}) {
                tzif_file file;
                (in_first ? file.narrow : file.wide).*fields[field] = count;
                EXPECT_EQ(load(file), EINVAL) << count << " in field " << field;
            }
}

TEST(ZoneFileHeader, NegativeCountsDoNotBalanceEachOther) {
    tzif_file file;
    file.wide.std_count = 0xffffffffU;
    file.wide.ut_count = 0xffffffffU;
    file.wide.type_count = 0xffffffffU;
    EXPECT_EQ(load(file), EINVAL);
}

TEST(ZoneFileHeader, IndicatorCountsAreZeroOrTheTypeCount) {
    for (const std::size_t count : {0U, 1U, 2U, 3U}) {
        tzif_file standard;
        standard.wide = two_type_block();
        standard.wide.std_indicators.assign(count, 0);
        EXPECT_EQ(load(standard), count == 0 || count == 2 ? 0 : EINVAL) << count;

        tzif_file universal;
        universal.wide = two_type_block();
        universal.wide.ut_indicators.assign(count, 0);
        EXPECT_EQ(load(universal), count == 0 || count == 2 ? 0 : EINVAL) << count;
    }
}

/// A file that uses every part of the format in both blocks.
tzif_file full_file() {
    tzif_block block = two_type_block({{100000, 1}, {200000, 0}});
    block.leaps = {{2419199, 1}};
    block.std_indicators = {1, 0};
    block.ut_indicators = {1, 0};
    tzif_file file;
    file.narrow = block;
    file.wide = block;
    file.footer = "\nSTD-1DST,M3.5.0,M10.5.0\n";
    return file;
}

TEST(ZoneFileHeader, TruncatedAnywhereInTheBlocksIsRejected) {
    const auto bytes = full_file().bytes();
    const auto footer = full_file().footer.size();
    const auto state = new_state();
    for (std::size_t length = 0; length < bytes.size() - footer; ++length) {
        // A block of its own, so that a sanitizer sees a read past its end.
        const std::vector<unsigned char> cut(bytes.begin(),
                                             bytes.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(load_zone_bytes(cut, state.get(), true), EINVAL) << length;
    }
}

TEST(ZoneFileHeader, TruncatedOldFormatIsRejected) {
    const auto bytes = tzif_file::old_format(full_file().narrow).bytes();
    const auto state = new_state();
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        const std::vector<unsigned char> cut(bytes.begin(),
                                             bytes.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(load_zone_bytes(cut, state.get(), true), EINVAL) << length;
    }
    EXPECT_EQ(load_zone_bytes(bytes, state.get(), true), 0);
    EXPECT_EQ(state->transition_count, 2);
}

TEST(ZoneFileHeader, TruncatedFooterIsLeftOut) {
    const auto bytes = full_file().bytes();
    const auto footer = full_file().footer.size();
    const auto state = new_state();
    for (std::size_t left = 0; left < footer; ++left) {
        const std::vector<unsigned char> cut(
            bytes.begin(), bytes.end() - static_cast<std::ptrdiff_t>(footer - left));
        EXPECT_EQ(load_zone_bytes(cut, state.get(), true), 0) << left;
        EXPECT_EQ(state->transition_count, 2) << left;
        EXPECT_EQ(state->type_count, 2) << left;
    }
    EXPECT_EQ(load_zone_bytes(bytes, state.get(), true), 0);
    EXPECT_GT(state->transition_count, 2);
}

TEST(ZoneFileHeader, MagicAndVersionAreNotTested) {
    for (const unsigned char version : {'\1', '1', '2', '3', '4', '\xff'}) {
        tzif_file file;
        file.magic = "what";
        file.version = version;
        file.wide.types = {{-7200, 0, 0}};
        const auto state = new_state();
        EXPECT_EQ(load(file, state.get()), 0);
        EXPECT_EQ(state->types[0].utc_offset, -7200) << "the second block is the one that counts";
    }
}

TEST(ZoneFileHeader, VersionZeroEndsAfterTheFirstBlock) {
    tzif_file file = full_file();
    file.wide.types = {{-60, 0, 0}, {-120, 0, 0}};
    auto bytes = file.bytes();
    bytes[4] = 0;
    const auto state = new_state();
    ASSERT_EQ(load_zone_bytes(bytes, state.get(), true), 0);
    EXPECT_EQ(state->types[0].utc_offset, 3600);
    EXPECT_EQ(state->transition_count, 2) << "such a file has no footer";
}

TEST(ZoneFileHeader, OldFormatTimesAreSigned) {
    const auto state = new_state();
    const auto block = two_type_block({{INT32_MIN, 1}, {-1, 0}, {INT32_MAX, 1}});
    ASSERT_EQ(load(tzif_file::old_format(block), state.get()), 0);
    EXPECT_EQ(state->transition_times[0], INT32_MIN);
    EXPECT_EQ(state->transition_times[1], -1);
    EXPECT_EQ(state->transition_times[2], INT32_MAX);
}

TEST(ZoneFileHeader, SecondBlockReplacesTheFirst) {
    tzif_file file;
    file.narrow = two_type_block({{1, 1}, {2, 0}, {3, 1}});
    file.narrow.leaps = {{2419199, 1}};
    file.narrow.std_indicators = {1, 1};
    file.narrow.ut_indicators = {1, 1};
    file.wide = two_type_block({{-5000000000, 1}, {5000000000, 0}});
    const auto state = new_state();
    ASSERT_EQ(load(file, state.get()), 0);
    EXPECT_EQ(state->transition_count, 2);
    EXPECT_EQ(state->transition_times[0], -5000000000);
    EXPECT_EQ(state->transition_times[1], 5000000000);
    EXPECT_EQ(state->leap_count, 0);
    EXPECT_FALSE(state->types[0].is_std);
    EXPECT_FALSE(state->types[1].is_ut);
}

TEST(ZoneFileHeader, FirstBlockIsCheckedAsStrictly) {
    tzif_file file;
    file.narrow = two_type_block({{2, 1}, {1, 0}});
    EXPECT_EQ(load(file), EINVAL);
}

TEST(ZoneFileHeader, ARecordWithoutTypesIsRejected) {
    tzif_file file;
    file.wide = tzif_block::empty();
    EXPECT_EQ(load(file), EINVAL);
    EXPECT_EQ(load(tzif_file::old_format(tzif_block::empty())), EINVAL);
    file.footer = "\nABC3\n";
    const auto state = new_state();
    EXPECT_EQ(load(file, state.get(), false), EINVAL);
    EXPECT_EQ(load(file, state.get(), true), 0) << "the footer brings types of its own";
    EXPECT_EQ(state->types[0].utc_offset, -10800);
}

TEST(ZoneFileHeader, BytesBeyondTheLimitAreNotLookedAt) {
    // Zeros before a number are as good as none: a rule string of any length.
    tzif_file file = full_file();
    const auto before_footer = file.bytes().size() - file.footer.size();
    const std::string start = "\nSTD-";
    const std::string end = "1\n";
    const std::string zeros(zone_file_limit - before_footer - start.size() - end.size(), '0');
    const auto state = new_state();

    file.footer = start + zeros + end;
    ASSERT_EQ(file.bytes().size(), zone_file_limit);
    EXPECT_EQ(load(file, state.get()), 0);
    EXPECT_EQ(state->type_count, 3);

    file.footer = start + "0" + zeros + end;
    EXPECT_EQ(load(file, state.get()), 0);
    EXPECT_EQ(state->type_count, 2) << "the newline that ends the footer lies beyond the limit";
}

} // namespace
