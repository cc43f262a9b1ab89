// SPDX-License-Identifier: GPL-2.0-or-later
//
// gmtime and its kin, and the text forms ctime and ctime_r.
#include <gtest/gtest.h>

#include "common/child_process.h"
#include "common/private_folder.h"
#include "common/zone_fixture.h"

namespace {

// The first second that no tm_year can hold, in UT.
constexpr time_t too_late = 67768036191676800;

TEST(Gmtime, IsNamedGmt) {
    const time_t when = 1625416215;
    struct tm tm = {};
    tm.tm_isdst = 5;
    tm.tm_gmtoff = 7;
    EXPECT_EQ(gmtime_r(&when, &tm), &tm);
    EXPECT_EQ(to_text(&tm), "2021-07-04 16:30:15 GMT dst=0 0 Sun 184");
    EXPECT_EQ(to_text(gmtime(&when)), to_text(&tm));
}

TEST(Gmtime, IgnoresTz) {
    const tz_guard guard;
    tz_guard::set("AAA3");
    tzset();
    const time_t zero = 0;
    EXPECT_EQ(to_text(gmtime(&zero)), "1970-01-01 00:00:00 GMT dst=0 0 Thu 0");
}

TEST(Gmtime, NullBeyondTmYear) {
    struct tm tm;
    for (const time_t when : {too_late, INT64_MAX, INT64_MIN}) {
        errno = 0;
        EXPECT_EQ(gmtime_r(&when, &tm), nullptr);
        EXPECT_EQ(errno, EOVERFLOW);
        errno = 0;
        EXPECT_EQ(gmtime(&when), nullptr);
        EXPECT_EQ(errno, EOVERFLOW);
    }
    const time_t last = too_late - 1;
    EXPECT_NE(gmtime(&last), nullptr);
}

/// UTC's file with an offset, changes and a leap second, none of which but the
/// last has anything to do with UTC.
void install_strange_utc(const private_folder &zoneinfo) {
    tzif_file file;
    file.wide = two_type_block({{0, 1}, {1000, 0}, {cycle_seconds, 1}});
    file.wide.leaps = {{78796800, 1}};
    file.footer = "\nSTD-1DST,M3.5.0,M10.5.0/3\n";
    zoneinfo.write("GMT", file.bytes());
}

TEST(Gmtime, OfItsFileOnlyTheNameAndTheLeapSecondsCount) {
    CHECK_IN_FRESH_PROCESS({
        const private_folder zoneinfo(zoneinfo_folder);
        install_strange_utc(zoneinfo);
        struct tm tm;
        time_t when = 78796800;
        EXPECT_EQ(to_text(gmtime_r(&when, &tm)), "1972-06-30 23:59:60 STD dst=0 0 Fri 181");
        when = 1625416215;
        EXPECT_EQ(to_text(gmtime_r(&when, &tm)), "2021-07-04 16:30:14 STD dst=0 0 Sun 184");
    });
}

TEST(Gmtime, IsInvertedByMktimeZWithoutAZone) {
    CHECK_IN_FRESH_PROCESS({
        const private_folder zoneinfo(zoneinfo_folder);
        install_strange_utc(zoneinfo);
        for (const time_t when : {time_t{-cycle_seconds}, time_t{0}, time_t{500}, time_t{78796799},
                                  time_t{78796801}, time_t{1625416215}, time_t{50000000000}})
            for (const int flag : {-1, 0}) {
                struct tm tm;
                gmtime_r(&when, &tm);
                const auto text = to_text(&tm);
                tm.tm_isdst = flag;
                EXPECT_EQ(mktime_z(nullptr, &tm), when);
                EXPECT_EQ(to_text(&tm), text);
            }
        struct tm summer = civil(2021, 7, 1, 0, 0, 0, 1);
        EXPECT_EQ(mktime_z(nullptr, &summer), -1) << "UTC has no daylight-saving time";
    });
}

TEST(Localtime, NullBeyondTmYear) {
    const tz_guard guard;
    tz_guard::set("AAA3");
    const time_t when = too_late + 10800;
    struct tm tm;
    errno = 0;
    EXPECT_EQ(localtime(&when), nullptr);
    EXPECT_EQ(errno, EOVERFLOW);
    EXPECT_EQ(localtime_r(&when, &tm), nullptr);
}

TEST(Ctime, IsTheTextOfLocaltime) {
    const tz_guard guard;
    tz_guard::set("AAA-1");
    const time_t when = 1625416215;
    EXPECT_STREQ(ctime(&when), "Sun Jul  4 17:30:15 2021\n");
    tz_guard::set("AAA-2");
    EXPECT_STREQ(ctime(&when), "Sun Jul  4 18:30:15 2021\n") << "and looks at TZ like it";
    char buffer[26];
    EXPECT_EQ(ctime_r(&when, buffer), buffer);
    EXPECT_STREQ(buffer, "Sun Jul  4 18:30:15 2021\n");
    tz_guard::set("AAA-3");
    EXPECT_STREQ(ctime_r(&when, buffer), "Sun Jul  4 18:30:15 2021\n")
        << "as localtime_r: not before tzset";
}

TEST(Ctime, CtimeRLeavesTheSharedRecord) {
    const tz_guard guard;
    tz_guard::set("AAA-1");
    const time_t zero = 0;
    const struct tm *shared = localtime(&zero);
    const auto before = to_text(shared);
    const time_t when = 1625416215;
    char buffer[26];
    ctime_r(&when, buffer);
    EXPECT_EQ(to_text(shared), before);
}

TEST(Ctime, NullPassesThrough) {
    const tz_guard guard;
    tz_guard::set("AAA3");
    const time_t when = too_late + 86400;
    char buffer[26] = "untouched";
    EXPECT_EQ(ctime(&when), nullptr);
    EXPECT_EQ(ctime_r(&when, buffer), nullptr);
    EXPECT_STREQ(buffer, "untouched");
}

TEST(Mktime, InTheProcesssZone) {
    const tz_guard guard;
    tz_guard::set("EST5EDT,M3.2.0,M11.1.0");
    struct tm tm = civil(2021, 4, 31, 12);
    EXPECT_EQ(mktime(&tm), 1619884800);
    EXPECT_EQ(to_text(&tm), "2021-05-01 12:00:00 EDT dst=1 -14400 Sat 120");
    EXPECT_STREQ(tzname[1], "EDT");
    tm = civil(2021, 3, 14, 2, 30);
    EXPECT_EQ(mktime(&tm), -1);
    tm = civil(2021, 3, 14, 2, 30, 0, 0);
    EXPECT_EQ(mktime(&tm), 1615707000);
    tm = civil(2021, 1, 1, 12, 0, 0, 1);
    EXPECT_EQ(mktime(&tm), 1609516800);
    EXPECT_EQ(tm.tm_hour, 11);
}

} // namespace
