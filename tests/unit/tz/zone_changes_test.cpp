// SPDX-License-Identifier: GPL-2.0-or-later
//
// The search for changes finds what a plain walk of 12-hour steps finds.
#include <cstring>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "common/zone_fixture.h"
#include "timezone/dump_span.h"
#include "tz/zone_changes.h"

namespace {

using times = std::vector<std::int64_t>;

times found(const zone_state &zone, std::int64_t begin, std::int64_t end) {
    times changes;
    change_search search(zone, begin, end);
    while (const auto change = search.next())
        changes.push_back(*change);
    return changes;
}

/// Whether nothing changed between two instants: fields, flag and name follow.
bool runs_on(const zone_state &zone, std::int64_t from, std::int64_t to) {
    struct tm first = {}, second = {};
    const bool has_first = localtime_rz(&zone, &from, &first) != nullptr;
    const bool has_second = localtime_rz(&zone, &to, &second) != nullptr;
    if (!has_first || !has_second)
        return has_first == has_second;
    if (first.tm_isdst != second.tm_isdst || std::strcmp(first.tm_zone, second.tm_zone) != 0)
        return false;
    const int second_60 = second.tm_sec - first.tm_sec; // may be a leap second
    first.tm_sec = second.tm_sec = 0;
    first.tm_isdst = second.tm_isdst = 0;
    first.tm_gmtoff = second.tm_gmtoff = 0;
    return mktime_z(nullptr, &second) - mktime_z(nullptr, &first) + second_60 == to - from;
}

/// Every step taken, every change halved in on.
times walked(const zone_state &zone, std::int64_t begin, std::int64_t end) {
    times changes;
    for (std::int64_t at = begin; at < end;) {
        std::int64_t next = end - at > 43200 ? at + 43200 : end;
        if (!runs_on(zone, at, next)) {
            std::int64_t low = at;
            while (next - low > 1) {
                const std::int64_t middle = low + (next - low) / 2;
                if (runs_on(zone, low, middle))
                    low = middle;
                else
                    next = middle;
            }
            changes.push_back(next);
        }
        at = next;
    }
    return changes;
}

void expect_same(const zone_state &zone, std::int64_t begin, std::int64_t end) {
    EXPECT_EQ(found(zone, begin, end), walked(zone, begin, end)) << begin << " to " << end;
}

TEST(ZoneChanges, AsAPlainWalkFindsThem) {
    for (const char *name : {"Europe/London", "Africa/Casablanca", "Pacific/Apia", "Asia/Gaza",
                             "UTC0", "AAA3BBB,J1/-160,J365/160", "AAA5BBB,M3.2.0,M11.1.0"}) {
        SCOPED_TRACE(name);
        const auto zone = open_zone(name);
        expect_same(*zone, start_of_year(1890), start_of_year(1950));
        expect_same(*zone, start_of_year(1990) + 12345, start_of_year(2060) - 7);
        expect_same(*zone, start_of_year(2395), start_of_year(2450)); // beyond the table
        expect_same(*zone, start_of_year(-2000), start_of_year(-1990));
    }
}

TEST(ZoneChanges, WhatIsUndoneWithinAStepIsNotSeen) {
    // From the beginning on, steps end at whole half days.
    constexpr std::int64_t hour = 3600;
    auto undone = make_zone(two_type_block({{100 * 43200 + hour, 1}, {100 * 43200 + 5 * hour, 0}}));
    EXPECT_EQ(found(*undone, 0, 200 * 43200), times{});
    EXPECT_EQ(found(*undone, 2 * hour, 200 * 43200),
              (times{100 * 43200 + hour, 100 * 43200 + 5 * hour}));
    expect_same(*undone, 0, 200 * 43200);
    expect_same(*undone, 2 * hour, 200 * 43200);
}

TEST(ZoneChanges, OfNameOrFlagAlone) {
    tzif_block block;
    block.abbreviations = std::string("ONE\0TWO\0ONE\0", 12);
    block.types = {{3600, 0, 0}, {3600, 0, 4}, {3600, 1, 0}, {3600, 0, 8}};
    block.changes = {{1000000, 1}, {2000000, 0}, {3000000, 2}, {4000000, 0}, {5000000, 3}};
    const auto zone = make_zone(block);
    EXPECT_EQ(found(*zone, 0, 10000000), (times{1000000, 2000000, 3000000, 4000000}));
}

TEST(ZoneChanges, LeapSecondsAreChanges) {
    auto block = two_type_block({{1000, 0}});
    block.leaps = {{78796800, 1}, {94694401, 2}};
    const auto zone = make_zone(block);
    expect_same(*zone, 70000000, 100000000);
    EXPECT_FALSE(found(*zone, 70000000, 100000000).empty());
}

TEST(ZoneChanges, WithinTheSpanOnly) {
    const auto zone = make_zone(two_type_block({{1000000, 1}, {2000000, 0}}));
    EXPECT_EQ(found(*zone, 0, 999999), times{});
    EXPECT_EQ(found(*zone, 0, 1000000), times{1000000});
    EXPECT_EQ(found(*zone, 999999, 1000001), times{1000000});
    EXPECT_EQ(found(*zone, 1000000, 1999999), times{});
    EXPECT_EQ(found(*zone, 5, 5), times{});
    EXPECT_EQ(found(*zone, 10, 5), times{});
}

TEST(ZoneChanges, WhereYearsBeginAndEnd) {
    using limits = std::numeric_limits<std::int64_t>;
    const auto zone = open_zone("<+05>-5");
    constexpr std::int64_t first = -67768040609740800 - 5 * 3600;
    constexpr std::int64_t after = 67768036191676800 - 5 * 3600;
    EXPECT_EQ(found(*zone, limits::min(), limits::max()), (times{first, after}));
}

} // namespace
