// SPDX-License-Identifier: GPL-2.0-or-later
//
// The allocation helpers and scheck.
#include <cstdint>
#include <cstring>
#include <string>

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

TEST(Scheck, MatchesWholeStrings) {
    const struct {
        const char *string;
        const char *format;
        bool matches;
    } cases[] = {
        {"12", "%d", true},
        {"12:30", "%d:%d", true},
        {"12 abc", "%ld %s", true},
        {"7", "%hd", true},
        {"50%", "%d%%", true},
        {"abc", "%[a-z]", true},
        {"plain", "plain", true},
        // Something is left over.
        {"12x", "%d", false},
        {"12 ", "%d", false},
        {"12:30:15", "%d:%d", false},
        {"7x", "%hd", false},
        {"50%x", "%d%%", false},
        {"abc1", "%[a-z]", false},
        {"plainer", "plain", false},
        // Widths and sets are kept.
        {"12", "%2d", true},
        {"123", "%2d", false},
        {"123", "%2d%d", true},
        {"abcd", "%4c", true},
        {"abcde", "%4c", false},
        {"a-b", "%[^ ]", true},
        {"a-b c", "%[^ ]", false},
        {"1234567890123456789", "%ld", true},
        {"12 13", "%*d %d", true}, // suppressed already
        {"12 13x", "%*d %d", false},
        // Only a character after a match counts, so these pass; kept as it is.
        {"x", "%d", true},
        {"", "%d", true},
        {"", "", true},
    };
    for (const auto &[string, format, matches] : cases) {
        SCOPED_TRACE(std::string(string) + " by " + format);
        const auto before = blocks_in_use();
        const char *answer = scheck(string, format);
        EXPECT_EQ(blocks_in_use(), before);
        if (matches)
            EXPECT_EQ(answer, format);
        else
            EXPECT_STREQ(answer, "");
    }
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
