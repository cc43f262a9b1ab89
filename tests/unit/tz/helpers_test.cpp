// SPDX-License-Identifier: GPL-2.0-or-later
//
// The allocation helpers and scheck.
#include <cstdint>
#include <cstring>

#include <gtest/gtest.h>

#include "frr_module.h"
#include "horad/tz.h"

namespace {

std::size_t blocks_in_use() { return atomic_load(&MTYPE_NTP_CLIENT->n_alloc); }

TEST(AllocationHelpers, ChargeTheDaemonsMemoryType) {
    const auto before = blocks_in_use();
    void *plain = imalloc(100);
    void *cleared = icalloc(10, 10);
    char *copy = icpyalloc("text");
    EXPECT_EQ(blocks_in_use(), before + 3);
    ifree(plain);
    icfree(cleared);
    ifree(copy);
    EXPECT_EQ(blocks_in_use(), before);
}

TEST(AllocationHelpers, ZeroBytesAreOne) {
    const auto before = blocks_in_use();
    void *const blocks[] = {imalloc(0), icalloc(0, 8), icalloc(8, 0), icalloc(0, 0),
                            irealloc(nullptr, 0)};
    EXPECT_EQ(blocks_in_use(), before + 5);
    for (void *block : blocks) {
        ASSERT_NE(block, nullptr);
        std::memset(block, 1, 1);
        ifree(block);
    }
    EXPECT_EQ(blocks_in_use(), before);
}

TEST(AllocationHelpers, IcallocRefusesWhatCannotBeCounted) {
    EXPECT_EQ(icalloc(SIZE_MAX / 2, 3), nullptr);
    EXPECT_EQ(icalloc(3, SIZE_MAX / 2), nullptr);
}

TEST(AllocationHelpers, IcallocClears) {
    auto *bytes = static_cast<unsigned char *>(icalloc(50, 3));
    ASSERT_NE(bytes, nullptr);
    for (int i = 0; i < 150; ++i)
        EXPECT_EQ(bytes[i], 0);
    std::memset(bytes, 1, 150);
    icfree(bytes);
}

TEST(AllocationHelpers, Irealloc) {
    const auto before = blocks_in_use();
    auto *text = static_cast<char *>(irealloc(nullptr, 5));
    ASSERT_NE(text, nullptr);
    std::strcpy(text, "1234");
    text = static_cast<char *>(irealloc(text, 1000));
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, "1234");
    text = static_cast<char *>(irealloc(text, 0));
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(text[0], '1');
    EXPECT_EQ(blocks_in_use(), before + 1);
    ifree(text);
    EXPECT_EQ(blocks_in_use(), before);
}

TEST(AllocationHelpers, Icatalloc) {
    const auto before = blocks_in_use();
    char *text = icatalloc(nullptr, "abc");
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, "abc");
    text = icatalloc(text, "defg");
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, "abcdefg");
    char *const same = text;
    EXPECT_EQ(icatalloc(text, nullptr), same);
    EXPECT_EQ(icatalloc(text, ""), same);
    EXPECT_STREQ(same, "abcdefg");
    EXPECT_EQ(blocks_in_use(), before + 1);
    ifree(text);

    char *empty = icatalloc(nullptr, "");
    ASSERT_NE(empty, nullptr);
    EXPECT_STREQ(empty, "");
    ifree(empty);
    char *block = icatalloc(nullptr, nullptr);
    ASSERT_NE(block, nullptr);
    std::memset(block, 0, 1);
    ifree(block);
    EXPECT_EQ(blocks_in_use(), before);
}

TEST(AllocationHelpers, Icpyalloc) {
    const char *original = "a text";
    char *copy = icpyalloc(original);
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, original);
    EXPECT_STREQ(copy, original);
    ifree(copy);
    char *nothing = icpyalloc(nullptr);
    EXPECT_NE(nothing, nullptr);
    ifree(nothing);
}

TEST(AllocationHelpers, NullIsFreed) {
    const auto before = blocks_in_use();
    ifree(nullptr);
    icfree(nullptr);
    EXPECT_EQ(blocks_in_use(), before);
}

/// scheck's answer: the format itself, or an empty text.
bool matches(const char *string, const char *format) {
    const auto before = blocks_in_use();
    const char *answer = scheck(string, format);
    EXPECT_EQ(blocks_in_use(), before);
    if (answer == format)
        return true;
    EXPECT_STREQ(answer, "");
    return false;
}

TEST(Scheck, ACompleteMatch) {
    EXPECT_TRUE(matches("12", "%d"));
    EXPECT_TRUE(matches("12:30", "%d:%d"));
    EXPECT_TRUE(matches("12 abc", "%ld %s"));
    EXPECT_TRUE(matches("7", "%hd"));
    EXPECT_TRUE(matches("50%", "%d%%"));
    EXPECT_TRUE(matches("abc", "%[a-z]"));
    EXPECT_TRUE(matches("plain", "plain"));
}

TEST(Scheck, SomethingLeftOver) {
    EXPECT_FALSE(matches("12x", "%d"));
    EXPECT_FALSE(matches("12 ", "%d"));
    EXPECT_FALSE(matches("12:30:15", "%d:%d"));
    EXPECT_FALSE(matches("7x", "%hd"));
    EXPECT_FALSE(matches("50%x", "%d%%"));
    EXPECT_FALSE(matches("abc1", "%[a-z]"));
    EXPECT_FALSE(matches("plainer", "plain"));
}

TEST(Scheck, WidthsAndSetsAreKept) {
    EXPECT_TRUE(matches("12", "%2d"));
    EXPECT_FALSE(matches("123", "%2d"));
    EXPECT_TRUE(matches("123", "%2d%d"));
    EXPECT_TRUE(matches("abcd", "%4c"));
    EXPECT_FALSE(matches("abcde", "%4c"));
    EXPECT_TRUE(matches("a-b", "%[^ ]"));
    EXPECT_FALSE(matches("a-b c", "%[^ ]"));
    EXPECT_TRUE(matches("1234567890123456789", "%ld"));
    EXPECT_TRUE(matches("12 13", "%*d %d")); // suppressed already
    EXPECT_FALSE(matches("12 13x", "%*d %d"));
}

TEST(Scheck, AMismatchLeavesNothingOver) {
    // Only a character behind a match counts, so these pass; kept as it is.
    EXPECT_TRUE(matches("x", "%d"));
    EXPECT_TRUE(matches("", "%d"));
    EXPECT_TRUE(matches("", ""));
}

TEST(Scheck, NullArguments) {
    EXPECT_STREQ(scheck(nullptr, "%d"), "");
    EXPECT_STREQ(scheck("12", nullptr), "");
    EXPECT_STREQ(scheck(nullptr, nullptr), "");
}

TEST(Scheck, FormatsThatEndEarly) {
    for (const char *format : {"%", "%%", "%5", "%l", "%[", "%[a", "%d%", "a%"})
        EXPECT_NE(scheck("12", format), nullptr) << format;
}

} // namespace
