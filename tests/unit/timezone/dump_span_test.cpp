// SPDX-License-Identifier: GPL-2.0-or-later
#include <limits>

#include <gtest/gtest.h>

#include "timezone/dump_span.h"

namespace {

using limits = std::numeric_limits<std::int64_t>;

constexpr std::int64_t cycle = 12622780800;        // 400 years
constexpr std::int64_t start_of_0 = -62167219200;  // year 0
constexpr std::int64_t start_of_2020 = 1577836800; // known to every Unix machine

TEST(DumpSpan, YearsBeginWhereTheCalendarSays) {
    EXPECT_EQ(start_of_year(1970), 0);
    EXPECT_EQ(start_of_year(2020), start_of_2020);
    EXPECT_EQ(start_of_year(0), start_of_0);
    EXPECT_EQ(start_of_year(-400), start_of_0 - cycle);
    EXPECT_EQ(start_of_year(-1), start_of_0 - 365 * 86400);
    EXPECT_EQ(start_of_year(-500), -400 * 31556952LL + start_of_0 - 36524LL * 86400);
    EXPECT_EQ(start_of_year(2020 + 400 * 1000000LL), start_of_2020 + 1000000 * cycle);
}

TEST(DumpSpan, YearsBeyondTimeAreItsEnds) {
    EXPECT_EQ(start_of_year(292277026596), 9223372036825516800); // the last year that begins
    EXPECT_EQ(start_of_year(292277026597), limits::max());
    EXPECT_EQ(start_of_year(-292277022656), -9223372036825516800); // the first
    EXPECT_EQ(start_of_year(-292277022657), limits::min());
    EXPECT_EQ(start_of_year(limits::max()), limits::max());
    EXPECT_EQ(start_of_year(limits::min()), limits::min());
    // Days that do not fit, and would be a few when cut to 64 bits.
    EXPECT_EQ(start_of_year(2070724264076854000), limits::max());
    EXPECT_EQ(start_of_year(-2070724264076854000), limits::min());
}

void expect_years(const char *text, std::int64_t low, std::int64_t high) {
    const auto span = parse_span(text);
    ASSERT_TRUE(span) << text;
    EXPECT_EQ(span->begin, start_of_year(low)) << text;
    EXPECT_EQ(span->end, start_of_year(high)) << text;
}

TEST(DumpSpan, OneYearIsTheHighOne) {
    expect_years("2021", -500, 2021);
    expect_years("-600", -500, -600);
    expect_years("0", -500, 0);
}

TEST(DumpSpan, TwoYears) {
    expect_years("2020,2021", 2020, 2021);
    expect_years("-10,-5", -10, -5);
    expect_years("2021,2020", 2021, 2020);
    expect_years("99999999999999999999,1", limits::max(), 1);
    expect_years("1,-99999999999999999999", 1, limits::min());
}

TEST(DumpSpan, AnythingElseIsRefused) {
    for (const char *text : {"", "x", ",", ",2021", "2020,", "2020,x", "2020,2021,", "2020,2021x",
                             "2020 2021", "2020;2021", "2020x", "-", "+", " ", "2020,,2021"})
        EXPECT_FALSE(parse_span(text)) << '"' << text << '"';
}

TEST(DumpSpan, Default) {
    EXPECT_EQ(default_span().begin, start_of_year(-500));
    EXPECT_EQ(default_span().end, start_of_year(2500));
}

} // namespace
