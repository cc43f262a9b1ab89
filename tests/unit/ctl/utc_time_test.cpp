// SPDX-License-Identifier: GPL-2.0-or-later
#include "utc_time.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

TEST(UtcTime, IsWrittenAsIso8601) {
    EXPECT_EQ(format_utc(0), "1970-01-01T00:00:00Z");
    EXPECT_EQ(format_utc(-1), "1969-12-31T23:59:59Z");
    EXPECT_EQ(format_utc(1795420800), "2026-11-23T08:00:00Z");
    EXPECT_EQ(format_utc(951827696), "2000-02-29T12:34:56Z");
}

TEST(UtcTime, OutsideFourDigitsIsANumber) {
    EXPECT_EQ(format_utc(253402300799), "9999-12-31T23:59:59Z");
    EXPECT_EQ(format_utc(253402300800), "@253402300800");
    EXPECT_EQ(format_utc(-62167219200), "0000-01-01T00:00:00Z");
    EXPECT_EQ(format_utc(-62167219201), "@-62167219201");
    EXPECT_EQ(format_utc(INT64_MIN), "@-9223372036854775808");
    EXPECT_EQ(format_utc(INT64_MAX), "@9223372036854775807");
}

TEST(UtcTime, IsReadInSeveralForms) {
    EXPECT_EQ(parse_utc("2026-11-23"), 1795392000);
    for (const char *text : {"2026-11-23T08:00:00Z", "2026-11-23T08:00:00", "2026-11-23T08:00Z",
                             "2026-11-23T08:00", "2026-11-23 08:00:00", "2026-11-23t08:00:00z"})
        EXPECT_EQ(parse_utc(text), 1795420800) << text;
    EXPECT_EQ(parse_utc("1969-12-31T23:59:59Z"), -1);
    EXPECT_EQ(parse_utc("2000-02-29T12:34:56Z"), 951827696);
}

TEST(UtcTime, ReadsWhatItWrites) {
    for (std::int64_t time = -62167219200; time <= 253402300799; time += 86400 * 97 + 12345)
        ASSERT_EQ(parse_utc(format_utc(time)), time);
}

/// A text that ends where memory does.
TEST(UtcTime, IsNotLookedForAfterTheText) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void *const pages =
        mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(pages, MAP_FAILED);
    char *const end = static_cast<char *>(pages) + page;
    ASSERT_EQ(mprotect(end, page, PROT_NONE), 0);
    constexpr std::string_view whole = "2026-11-23T08:00:00Z";
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        whole.copy(end - size, size);
        const bool is_time = size == 10 || size == 16 || size >= 19;
        EXPECT_EQ(parse_utc({end - size, size}).has_value(), is_time) << size;
    }
    munmap(pages, 2 * page);
}

TEST(UtcTime, AnythingElseIsNoTime) {
    for (const char *text : {"",
                             "now",
                             "2026",
                             "2026-11",
                             "2026-11-",
                             "2026-11-2",
                             "26-11-23",
                             "2026/11/23",
                             "2026-13-01",
                             "2026-00-01",
                             "2026-02-29",
                             "2026-11-31",
                             "2026-11-23Z",
                             "2026-11-23T",
                             "2026-11-23T08",
                             "2026-11-23T24:00",
                             "2026-11-23T08:60",
                             "2026-11-23T08:00:60",
                             "2026-11-23T08:00:",
                             "2026-11-23T08:00:00+01:00",
                             "2026-11-23T08:00:00Zx",
                             " 2026-11-23",
                             "2026-11-23 ",
                             "+026-11-23",
                             "2026-11-23X08:00"})
        EXPECT_EQ(parse_utc(text), std::nullopt) << text;
}

} // namespace
