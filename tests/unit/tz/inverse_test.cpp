// SPDX-License-Identifier: GPL-2.0-or-later
//
// From broken-down times to times: normalising, gaps, overlaps, preferences.
#include <climits>

#include <gtest/gtest.h>

#include "common/zone_fixture.h"

namespace {

/// What mktime_z makes of a broken-down time, as text with the time in front.
std::string made(const zone_state *zone, struct tm tm) {
    const auto when = static_cast<std::int64_t>(mktime_z(zone, &tm));
    return std::to_string(when) + " " + to_text(&tm);
}

const zone_state *new_york() {
    static const owned_zone zone = open_zone("EST5EDT,M3.2.0,M11.1.0");
    return zone.get();
}

TEST(Inverse, NullIsAnError) {
    const auto utc = open_zone("");
    errno = 0;
    EXPECT_EQ(mktime_z(utc.get(), nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    errno = 0;
    EXPECT_EQ(mktime_z(nullptr, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    // Through a variable: the compiler knows that mktime wants a record.
    struct tm *volatile none = nullptr;
    errno = 0;
    EXPECT_EQ(mktime(none), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST(Inverse, FillsInTheRest) {
    struct tm tm = civil(2021, 7, 4, 12, 30, 15);
    tm.tm_wday = tm.tm_yday = 99;
    EXPECT_EQ(mktime_z(new_york(), &tm), 1625416215);
    EXPECT_EQ(to_text(&tm), "2021-07-04 12:30:15 EDT dst=1 -14400 Sun 184");
    EXPECT_EQ(made(nullptr, civil(2021, 7, 4)),
              "1625356800 2021-07-04 00:00:00 GMT dst=0 0 Sun 184");
}

TEST(Inverse, MinusOneIsATime) {
    struct tm tm = civil(1969, 12, 31, 23, 59, 59);
    EXPECT_EQ(mktime_z(nullptr, &tm), -1);
    EXPECT_EQ(tm.tm_wday, 3);
    EXPECT_EQ(tm.tm_yday, 364);
}

TEST(Inverse, Normalises) {
    const auto utc = [](struct tm tm) { return made(nullptr, tm).substr(0, 30); };
    const auto same = [&](struct tm given, struct tm meant) {
        EXPECT_EQ(utc(given), utc(meant));
        EXPECT_NE(time_of(nullptr, given), -1);
    };
    same(civil(2021, 4, 31), civil(2021, 5, 1));
    same(civil(2021, 2, 29), civil(2021, 3, 1));
    same(civil(2020, 2, 30), civil(2020, 3, 1));
    same(civil(2021, 13, 1), civil(2022, 1, 1));
    same(civil(2021, 0, 1), civil(2020, 12, 1));
    same(civil(2021, -23, 1), civil(2019, 1, 1));
    same(civil(2021, 1, 0), civil(2020, 12, 31));
    same(civil(2021, 3, 0), civil(2021, 2, 28));
    same(civil(2020, 3, 0), civil(2020, 2, 29));
    same(civil(2021, 1, 366), civil(2022, 1, 1));
    same(civil(2020, 1, 366), civil(2020, 12, 31));
    same(civil(2020, 1, 367), civil(2021, 1, 1));
    same(civil(2020, 3, 366), civil(2021, 3, 1));
    same(civil(2019, 3, 367), civil(2020, 3, 1));
    same(civil(2020, 3, -365), civil(2019, 3, 1));
    same(civil(2021, 3, -365), civil(2020, 2, 29));
    same(civil(2021, 6, 1, 24), civil(2021, 6, 2));
    same(civil(2021, 6, 1, -1), civil(2021, 5, 31, 23));
    same(civil(2021, 6, 1, 0, 60), civil(2021, 6, 1, 1));
    same(civil(2021, 6, 1, 0, -1), civil(2021, 5, 31, 23, 59));
    same(civil(2021, 6, 1, 0, 0, 60), civil(2021, 6, 1, 0, 1));
    same(civil(2021, 6, 1, 0, 0, -1), civil(2021, 5, 31, 23, 59, 59));
    same(civil(1969, 6, 1, 0, 0, 60), civil(1969, 6, 1, 0, 1));
    same(civil(1969, 6, 1, 0, 0, -1), civil(1969, 5, 31, 23, 59, 59));
    same(civil(2021, 1, 1 + 146097), civil(2421, 1, 1));
    same(civil(2021, 1, 1 - 146097), civil(1621, 1, 1));
}

TEST(Inverse, LargeFieldsThatFit) {
    EXPECT_EQ(time_of(nullptr, civil(1970, 1, 1, 0, 0, INT_MAX)), INT_MAX);
    EXPECT_EQ(time_of(nullptr, civil(1970, 1, 1, 0, 0, INT_MIN)), INT_MIN);
    EXPECT_EQ(time_of(nullptr, civil(1970, 1, 1, 0, INT_MAX)), 60LL * INT_MAX);
    EXPECT_EQ(time_of(nullptr, civil(1970, 1, 1, 0, INT_MIN)), 60LL * INT_MIN);
    EXPECT_EQ(time_of(nullptr, civil(1970, 1, 1, INT_MAX)), 3600LL * INT_MAX);
    EXPECT_EQ(time_of(nullptr, civil(1970, 1, 1, INT_MIN)), 3600LL * INT_MIN);
    EXPECT_EQ(time_of(nullptr, civil(1970, 1, INT_MAX)), 86400LL * (INT_MAX - 1));
    EXPECT_EQ(time_of(nullptr, civil(1970, 1, INT_MIN)), 86400LL * INT_MIN - 86400);
    struct tm months = civil(1970, 1, 1);
    months.tm_mon = INT_MAX;
    const auto text = made(nullptr, months);
    EXPECT_EQ(text.substr(text.find(' ') + 1, 15), "178958940-08-01");
}

TEST(Inverse, ReachesTheEndsOfTmYear) {
    struct tm last = civil(1900, 12, 31, 23, 59, 59);
    last.tm_year = INT_MAX;
    EXPECT_EQ(time_of(nullptr, last), 67768036191676799);
    struct tm first = civil(1900, 1, 1);
    first.tm_year = INT_MIN;
    EXPECT_EQ(time_of(nullptr, first), -67768040609740800);
    // In a zone, too, where its middle probes can't be converted.
    EXPECT_EQ(time_of(new_york(), last), 67768036191676799 + 18000);
}

TEST(Inverse, OverflowsAreFailures) {
    const auto fails = [](const char *what, struct tm tm) {
        EXPECT_EQ(time_of(nullptr, tm), -1) << what;
        EXPECT_EQ(time_of(new_york(), tm), -1) << what;
        tm.tm_isdst = 0;
        EXPECT_EQ(time_of(new_york(), tm), -1) << what << ", standard time";
        tm.tm_isdst = 1;
        EXPECT_EQ(time_of(new_york(), tm), -1) << what << ", daylight time";
    };
    // By a day more than the hour that a wrong flag gives back.
    struct tm tm = civil(2021, 1, 2);
    tm.tm_year = INT_MAX;
    tm.tm_mon = 12;
    fails("a month too far", tm);
    tm.tm_mon = INT_MAX;
    fails("many months too far", tm);
    tm = civil(2021, 12, 33);
    tm.tm_year = INT_MAX;
    fails("two days too far", tm);
    tm = civil(2021, 12, 31, 48);
    tm.tm_year = INT_MAX;
    fails("a day of hours too far", tm);
    tm = civil(2021, 1, 0);
    tm.tm_year = INT_MIN;
    fails("a day too early", tm);
    tm = civil(2021, 1, 1);
    tm.tm_year = INT_MIN;
    tm.tm_mon = INT_MIN;
    fails("many months too early", tm);
    tm = civil(2021, 1, 1);
    tm.tm_hour = INT_MAX;
    tm.tm_min = INT_MAX;
    fails("hours beyond an int", tm);
    tm = civil(2021, 1, 1);
    tm.tm_mday = INT_MAX;
    tm.tm_hour = INT_MAX;
    fails("days beyond an int", tm);
    tm = civil(2021, 1, 1);
    tm.tm_year = INT_MIN;
    tm.tm_mday = INT_MIN;
    tm.tm_hour = tm.tm_min = tm.tm_sec = INT_MIN;
    fails("everything", tm);
}

TEST(Inverse, SecondsTooManyForMinutesAreStillSeconds) {
    // As minutes they would overflow; kept aside they need not.
    struct tm tm = civil(1970, 1, 1);
    tm.tm_min = INT_MAX;
    tm.tm_sec = INT_MAX;
    EXPECT_EQ(time_of(nullptr, tm), 61LL * INT_MAX);
}

TEST(Inverse, AGapWithoutAFlagIsAFailure) {
    EXPECT_EQ(time_of(new_york(), civil(2021, 3, 14, 2)), -1);
    EXPECT_EQ(time_of(new_york(), civil(2021, 3, 14, 2, 30)), -1);
    EXPECT_EQ(time_of(new_york(), civil(2021, 3, 14, 2, 59, 59)), -1);
    EXPECT_EQ(time_of(new_york(), civil(2021, 3, 14, 1, 59, 59)), 1615705199);
    EXPECT_EQ(time_of(new_york(), civil(2021, 3, 14, 3)), 1615705200);
}

TEST(Inverse, AFailureLeavesTheRecord) {
    for (const int flag : {-1, 0}) {
        struct tm tm = civil(2021, 3, 14, 2, 30, 0, flag);
        tm.tm_wday = tm.tm_yday = 77;
        if (flag == 0) {
            tm.tm_year = INT_MAX; // nothing helps
            tm.tm_mon = 12;
        }
        const struct tm before = tm;
        EXPECT_EQ(mktime_z(new_york(), &tm), -1);
        EXPECT_EQ(to_text(&tm), to_text(&before));
    }
}

TEST(Inverse, AGapWithAFlagIsShifted) {
    EXPECT_EQ(made(new_york(), civil(2021, 3, 14, 2, 30, 0, 0)),
              "1615707000 2021-03-14 03:30:00 EDT dst=1 -14400 Sun 72");
    EXPECT_EQ(made(new_york(), civil(2021, 3, 14, 2, 30, 0, 1)),
              "1615703400 2021-03-14 01:30:00 EST dst=0 -18000 Sun 72");
}

TEST(Inverse, AnOverlapWithAFlagIsDecided) {
    EXPECT_EQ(made(new_york(), civil(2021, 11, 7, 1, 30, 0, 1)),
              "1636263000 2021-11-07 01:30:00 EDT dst=1 -14400 Sun 310");
    EXPECT_EQ(made(new_york(), civil(2021, 11, 7, 1, 30, 0, 0)),
              "1636266600 2021-11-07 01:30:00 EST dst=0 -18000 Sun 310");
    // Also where seconds lead there from the minute before.
    EXPECT_EQ(time_of(new_york(), civil(2021, 11, 7, 1, 29, 60, 1)), 1636263000);
    EXPECT_EQ(time_of(new_york(), civil(2021, 11, 7, 1, 29, 60, 0)), 1636266600);
    const auto any = time_of(new_york(), civil(2021, 11, 7, 1, 30));
    EXPECT_TRUE(any == 1636263000 || any == 1636266600);
}

TEST(Inverse, FlagsAboveOneAreOne) {
    for (const int flag : {2, 3, INT_MAX}) {
        EXPECT_EQ(time_of(new_york(), civil(2021, 11, 7, 1, 30, 0, flag)), 1636263000);
        EXPECT_EQ(time_of(new_york(), civil(2021, 3, 14, 2, 30, 0, flag)), 1615703400);
    }
    EXPECT_EQ(time_of(new_york(), civil(2021, 3, 14, 2, 30, 0, INT_MIN)), -1)
        << "below 0 is unknown";
    // Where another daylight-saving time is further ahead, it is that of its own year.
    auto block = two_type_block({{1000000, 1}, {2000000, 0}, {3000000, 2}, {4000000, 0}});
    block.types.push_back({10800, 1, 4});
    const auto zone = make_zone(block);
    const time_t in_overlap = 2000000 - 1800;
    struct tm tm = {};
    ASSERT_NE(localtime_rz(zone.get(), &in_overlap, &tm), nullptr);
    for (const int flag : {1, 2, INT_MAX}) {
        tm.tm_isdst = flag;
        EXPECT_EQ(time_of(zone.get(), tm), in_overlap) << flag;
    }
}

TEST(Inverse, AWrongFlagShiftsByTheDifference) {
    EXPECT_EQ(made(new_york(), civil(2021, 7, 1, 12, 0, 0, 0)),
              "1625158800 2021-07-01 13:00:00 EDT dst=1 -14400 Thu 181");
    EXPECT_EQ(made(new_york(), civil(2021, 1, 1, 12, 0, 0, 1)),
              "1609516800 2021-01-01 11:00:00 EST dst=0 -18000 Fri 0");
}

TEST(Inverse, AFlagThatTheZoneNeverHasIsAFailure) {
    const auto fixed = open_zone("AAA3");
    EXPECT_EQ(time_of(fixed.get(), civil(2021, 7, 1, 12, 0, 0, 1)), -1);
    EXPECT_EQ(time_of(fixed.get(), civil(2021, 7, 1, 12, 0, 0, 0)), 1625151600);
    EXPECT_EQ(time_of(nullptr, civil(2021, 7, 1, 12, 0, 0, 1)), -1);
    const auto empty = open_zone("");
    EXPECT_EQ(time_of(empty.get(), civil(2021, 7, 1, 12, 0, 0, 1)), -1);
    const auto always = open_zone("AAA4BBB3,0/0,J365/167");
    EXPECT_EQ(time_of(always.get(), civil(2021, 7, 1, 12, 0, 0, 0)), -1);
    EXPECT_EQ(time_of(always.get(), civil(2021, 7, 1, 12, 0, 0, 1)), 1625151600);
}

/// Two hours of standard time in a row: UTC+4, then UTC+3 from `when` on.
tzif_block moved_block(std::int64_t when) {
    tzif_block block;
    block.abbreviations = std::string("FOUR\0THREE\0", 11);
    block.types = {{14400, 0, 0}, {10800, 0, 5}};
    block.changes = {{when, 1}};
    return block;
}

TEST(Inverse, TheOffsetGivenDecidesBetweenEqualFlags) {
    const auto zone = make_zone(moved_block(1414274400)); // 2014-10-25 22:00 UTC
    struct tm tm = civil(2014, 10, 26, 1, 30);
    tm.tm_gmtoff = 14400;
    EXPECT_EQ(made(zone.get(), tm), "1414272600 2014-10-26 01:30:00 FOUR dst=0 14400 Sun 298");
    tm.tm_gmtoff = 10800;
    EXPECT_EQ(made(zone.get(), tm), "1414276200 2014-10-26 01:30:00 THREE dst=0 10800 Sun 298");
    tm.tm_isdst = 0;
    EXPECT_EQ(time_of(zone.get(), tm), 1414276200);
    tm.tm_gmtoff = 14400;
    EXPECT_EQ(time_of(zone.get(), tm), 1414272600);
}

TEST(Inverse, AnOffsetThatDoesNotFitIsIgnored) {
    const auto zone = make_zone(moved_block(1414274400));
    struct tm tm = civil(2014, 10, 26, 0, 30);
    for (const long offset : {10800L, 0L, 86400L, -86400L, 86401L, -86401L, LONG_MAX, LONG_MIN}) {
        tm.tm_gmtoff = offset;
        EXPECT_EQ(time_of(zone.get(), tm), 1414269000) << offset;
    }
}

/// The same with a leap second after it, and a reading that two moments have.
struct overlap_with_leap_second {
    tzif_block block = moved_block(1414274400);
    std::int64_t first = 1414274400 - 1800;
    std::int64_t second = first + 3601;
    overlap_with_leap_second() { block.leaps = {{1414274400 + 600, 1}}; }
};

TEST(Inverse, AnOffsetThatIsRightButForLeapSecondsIsIgnored) {
    const overlap_with_leap_second given;
    const auto zone = make_zone(given.block);
    struct tm tm = {};
    for (const time_t time : {given.first, given.second}) {
        ASSERT_NE(localtime_rz(zone.get(), &time, &tm), nullptr);
        EXPECT_EQ(to_text(&tm).substr(0, 19), "2014-10-26 01:30:00");
    }
    tm.tm_gmtoff = 0;
    const std::int64_t unguided = time_of(zone.get(), tm);
    for (const long offset : {10799L, 14401L}) {
        tm.tm_gmtoff = offset;
        EXPECT_EQ(time_of(zone.get(), tm), unguided) << offset;
    }
}

TEST(Inverse, AFlagDecidesBeforeAndAfterALeapSecond) {
    overlap_with_leap_second given;
    given.block.types = {{14400, 1, 0}, {10800, 0, 5}, {10799, 0, 5}};
    const auto zone = make_zone(given.block);
    EXPECT_EQ(time_of(zone.get(), civil(2014, 10, 26, 1, 30, 0, 1)), given.first);
    EXPECT_EQ(time_of(zone.get(), civil(2014, 10, 26, 1, 30, 0, 0)), given.second);
}

TEST(Inverse, TheOffsetGivenMayBeADayAtMost) {
    // An overlap of a day and more: from UTC+24 to UTC-1, and a second longer.
    for (const std::int32_t east : {86400, 86401}) {
        auto block = moved_block(1000000000);
        block.types = {{east, 0, 0}, {-3600, 0, 5}};
        const auto zone = make_zone(block);
        // Local time half way; both moments have it.
        const std::int64_t local = 1000000000 + (east - 3600) / 2;
        struct tm tm;
        const time_t first = local - east;
        ASSERT_NE(localtime_rz(zone.get(), &first, &tm), nullptr);
        ASSERT_EQ(tm.tm_gmtoff, east);
        const std::int64_t chosen = time_of(zone.get(), tm);
        tm.tm_gmtoff = 0;
        const std::int64_t unguided = time_of(zone.get(), tm);
        if (east == 86400)
            EXPECT_EQ(chosen, first);
        else
            EXPECT_EQ(chosen, unguided) << "as if nothing had been given";
        tm.tm_gmtoff = -3600;
        EXPECT_EQ(time_of(zone.get(), tm), local + 3600);
    }
}

TEST(Inverse, TheOffsetGivenDoesNotOutweighTheFlagFound) {
    // Both answers differ in the flag; the one that the search finds stays.
    struct tm tm = civil(2021, 11, 7, 1, 30);
    const auto found = time_of(new_york(), tm);
    for (const long offset : {-14400L, -18000L}) {
        tm.tm_gmtoff = offset;
        EXPECT_EQ(time_of(new_york(), tm), found);
    }
}

TEST(Inverse, AnyPositiveFlagIsThatOfDaylightSavingTime) {
    for (const int hour : {1, 2}) { // an hour that comes twice, and one that does not
        const auto with_flag = [&](int flag) {
            return time_of(new_york(), civil(2021, 11, 7, hour, 30, 0, flag));
        };
        EXPECT_EQ(with_flag(2), with_flag(1));
        EXPECT_EQ(with_flag(INT_MAX), with_flag(1));
    }
}

} // namespace
