// SPDX-License-Identifier: GPL-2.0-or-later
//
// The process's own zone: when TZ and files are read again, and the globals.
#include <filesystem>

#include <gtest/gtest.h>

#include "common/child_process.h"
#include "common/private_folder.h"
#include "common/zone_fixture.h"

namespace {

std::vector<unsigned char> file_with_offset(std::int32_t offset) {
    tzif_file file;
    file.wide.types = {{offset, 0, 0}};
    return file.bytes();
}

/// The offset in force at 1970 by localtime, which looks at TZ.
long offset_by_localtime() {
    const time_t zero = 0;
    const struct tm *tm = localtime(&zero);
    return tm ? tm->tm_gmtoff : LONG_MIN;
}

/// The same by localtime_r, which trusts what has been set.
long offset_by_localtime_r() {
    const time_t zero = 0;
    struct tm tm;
    return localtime_r(&zero, &tm) ? tm.tm_gmtoff : LONG_MIN;
}

class ProcessState : public testing::Test {
  protected:
    tz_guard guard;
};

TEST_F(ProcessState, LocaltimeFollowsTzLocaltimeRDoesNot) {
    tz_guard::set("AAA-1");
    EXPECT_EQ(offset_by_localtime(), 3600);
    tz_guard::set("AAA-2");
    EXPECT_EQ(offset_by_localtime_r(), 3600) << "until tzset is called";
    EXPECT_EQ(offset_by_localtime(), 7200);
    tz_guard::set("AAA-3");
    tzset();
    EXPECT_EQ(offset_by_localtime_r(), 10800);
}

TEST_F(ProcessState, NamesOfTheZoneBeforeStayWhileTheNextIsLoaded) {
    const time_t zero = 0;
    struct tm tm;
    for (const char *zone : {"AAA-1", "BBB-2", "CCC-3", "DDD-4"}) {
        tz_guard::set(zone);
        tzset();
        ASSERT_NE(localtime_r(&zero, &tm), nullptr);
        const char *const name = tm.tm_zone;
        const std::string before = name;
        for (const char *later : {"EEE-5", "FFF-6"}) {
            tz_guard::set(later);
            tzset();
            EXPECT_EQ(name, before);
        }
    }
}

TEST_F(ProcessState, MktimePublishesTheKindOfTimeItFound) {
    tz_guard::set("Europe/London");
    tzset();
    EXPECT_STREQ(tzname[0], "GMT");
    struct tm tm = civil(1970, 1, 1); // when British Standard Time was tried
    EXPECT_EQ(mktime(&tm), -3600);
    EXPECT_STREQ(tzname[0], "BST");
    EXPECT_EQ(timezone, -3600);
}

TEST_F(ProcessState, MktimeFollowsTz) {
    struct tm tm = civil(1970, 1, 1);
    tz_guard::set("AAA-1");
    EXPECT_EQ(mktime(&tm), -3600);
    EXPECT_STREQ(tm.tm_zone, "AAA");
    tm = civil(1970, 1, 1);
    tz_guard::set("BBB-2");
    EXPECT_EQ(mktime(&tm), -7200);
    EXPECT_STREQ(tm.tm_zone, "BBB");
    EXPECT_STREQ(tzname[0], "BBB");
    EXPECT_EQ(timezone, -7200);
}

TEST(ProcessStart, LocaltimeRSetsTheZoneTheFirstTime) {
    CHECK_IN_FRESH_PROCESS({
        tz_guard::set("AAA-5");
        EXPECT_EQ(offset_by_localtime_r(), 18000);
        tz_guard::set("AAA-6");
        EXPECT_EQ(offset_by_localtime_r(), 18000);
    });
}

TEST(ProcessStart, LocaltimeRSetsAnUnsetTzOnlyOnce) {
    CHECK_IN_FRESH_PROCESS({
        const private_folder etc("/etc");
        etc.write("localtime", file_with_offset(71));
        tz_guard::set(nullptr);
        EXPECT_EQ(offset_by_localtime_r(), 71);
        tz_guard::set("AAA-6");
        EXPECT_EQ(offset_by_localtime_r(), 71);
    });
}

TEST_F(ProcessState, AnUnchangedTzIsNotReadAgain) {
    const private_folder zoneinfo(zoneinfo_folder);
    zoneinfo.write("Zone", file_with_offset(100));
    tz_guard::set("Zone");
    EXPECT_EQ(offset_by_localtime(), 100);
    zoneinfo.write("Zone", file_with_offset(200));
    tzset();
    EXPECT_EQ(offset_by_localtime(), 100);
    EXPECT_EQ(offset_by_localtime_r(), 100);
    tz_guard::set(":Zone");
    EXPECT_EQ(offset_by_localtime(), 200) << "another text, though the same file";
    zoneinfo.write("Zone", file_with_offset(300));
    tz_guard::set("Zone");
    EXPECT_EQ(offset_by_localtime(), 300) << "only the last text is remembered";
}

TEST_F(ProcessState, AnUnsetTzIsNotReadAgain) {
    const private_folder etc("/etc");
    etc.write("localtime", file_with_offset(100));
    tz_guard::set("AAA0");
    tzset();
    tz_guard::set(nullptr);
    EXPECT_EQ(offset_by_localtime(), 100);
    etc.write("localtime", file_with_offset(200));
    tzset();
    EXPECT_EQ(offset_by_localtime(), 100);
    tz_guard::set("AAA0");
    tzset();
    tz_guard::set(nullptr);
    tzset();
    EXPECT_EQ(offset_by_localtime_r(), 200);
}

TEST_F(ProcessState, AnUnusableTzIsRememberedToo) {
    const private_folder zoneinfo(zoneinfo_folder);
    tz_guard::set("Zone");
    EXPECT_EQ(offset_by_localtime(), 0);
    zoneinfo.write("Zone", file_with_offset(100));
    tzset();
    EXPECT_EQ(offset_by_localtime(), 0);
}

/// A path of exactly `length` characters to the zone file "Zone".
std::string long_path(std::size_t length) {
    const std::string end = "/Zone";
    std::string path = zoneinfo_folder;
    while (path.size() + end.size() + 2 <= length)
        path += "/.";
    path += std::string(length - path.size() - end.size(), '/');
    return path + end;
}

TEST_F(ProcessState, ALongTzIsReadEveryTime) {
    const private_folder zoneinfo(zoneinfo_folder);
    for (const std::size_t length : {255U, 256U, 257U, 2000U}) {
        const auto path = long_path(length);
        ASSERT_EQ(path.size(), length);
        const bool cached = length < 256;
        zoneinfo.write("Zone", file_with_offset(100));
        tz_guard::set(path.c_str());
        EXPECT_EQ(offset_by_localtime(), 100);
        zoneinfo.write("Zone", file_with_offset(200));
        EXPECT_EQ(offset_by_localtime_r(), cached ? 100 : 200) << length;
        zoneinfo.write("Zone", file_with_offset(300));
        tzset();
        zoneinfo.write("Zone", file_with_offset(400));
        EXPECT_EQ(offset_by_localtime(), cached ? 100 : 400) << length;
        struct tm tm = civil(1970, 1, 1);
        zoneinfo.write("Zone", file_with_offset(500));
        EXPECT_EQ(mktime(&tm), cached ? -100 : -500) << length;
    }
}

TEST_F(ProcessState, ALongTzForgetsTheShortOne) {
    const private_folder zoneinfo(zoneinfo_folder);
    zoneinfo.write("Zone", file_with_offset(100));
    tz_guard::set("Zone");
    tzset();
    tz_guard::set(long_path(300).c_str());
    tzset();
    zoneinfo.write("Zone", file_with_offset(200));
    tz_guard::set("Zone");
    EXPECT_EQ(offset_by_localtime(), 200);
}

TEST_F(ProcessState, LocaltimeRFollowsATzThatFollowsALongOne) {
    const private_folder zoneinfo(zoneinfo_folder);
    zoneinfo.write("Zone", file_with_offset(100));
    tz_guard::set(long_path(300).c_str());
    tzset();
    tz_guard::set("AAA-1");
    EXPECT_EQ(offset_by_localtime_r(), 3600);
    tz_guard::set("AAA-2");
    EXPECT_EQ(offset_by_localtime_r(), 3600);
}

void expect_plain_utc() {
    tzset();
    EXPECT_STREQ(tzname[0], "   ");
    EXPECT_STREQ(tzname[1], "   ");
    EXPECT_EQ(timezone, 0);
    EXPECT_EQ(daylight, 0);
    const time_t zero = 0;
    struct tm tm;
    EXPECT_EQ(to_text(localtime_r(&zero, &tm)), "1970-01-01 00:00:00 GMT dst=0 0 Thu 0");
}

TEST_F(ProcessState, WithoutAUsableZoneItIsUtcWithoutNames) {
    const private_folder etc("/etc");
    tz_guard::set("AAA3BBB");
    tzset();
    tz_guard::set(nullptr);
    expect_plain_utc();
    for (const char *value : {"Nowhere/Land", ":AAA3", "/no/such/file", "AAA", "-3", ":", ""}) {
        tz_guard::set("AAA3BBB");
        tzset();
        tz_guard::set(value);
        expect_plain_utc();
    }
}

TEST_F(ProcessState, ConvertingInPlainUtcNamesIt) {
    tz_guard::set("");
    tzset();
    const time_t zero = 0;
    ASSERT_NE(localtime(&zero), nullptr);
    EXPECT_STREQ(tzname[0], "GMT");
    EXPECT_STREQ(tzname[1], "   ");
}

TEST_F(ProcessState, GlobalsOfAZoneWithDaylightTime) {
    tz_guard::set("Europe/Zurich");
    tzset();
    EXPECT_STREQ(tzname[0], "CET");
    EXPECT_STREQ(tzname[1], "CEST");
    EXPECT_EQ(timezone, -3600);
    EXPECT_EQ(daylight, 1);
    tz_guard::set("AAA3");
    tzset();
    EXPECT_STREQ(tzname[0], "AAA");
    EXPECT_STREQ(tzname[1], "   ");
    EXPECT_EQ(timezone, 10800);
    EXPECT_EQ(daylight, 0);
    tz_guard::set("AAA3BBB,J1,J100");
    tzset();
    EXPECT_STREQ(tzname[0], "AAA");
    EXPECT_STREQ(tzname[1], "BBB");
    EXPECT_EQ(timezone, 10800);
    EXPECT_EQ(daylight, 1);
}

TEST_F(ProcessState, TheLastTransitionsNameTheZoneOverItsTypes) {
    const private_folder zoneinfo(zoneinfo_folder);
    tzif_file file;
    file.wide.abbreviations = std::string("AAA\0BBB\0CCC\0DDD\0", 16);
    file.wide.types = {{60, 0, 0}, {120, 1, 4}, {180, 0, 8}, {240, 1, 12}};
    file.wide.changes = {{0, 2}, {1, 1}, {2, 0}};
    zoneinfo.write("Zone", file.bytes());
    tz_guard::set("Zone");
    tzset();
    EXPECT_STREQ(tzname[0], "AAA") << "of the last transition, not of the last type";
    EXPECT_STREQ(tzname[1], "BBB");
    EXPECT_EQ(timezone, -60);
    EXPECT_EQ(daylight, 1);
}

TEST_F(ProcessState, ATypeThatIsNeverUsedNamesButIsNoDaylightTime) {
    const private_folder zoneinfo(zoneinfo_folder);
    tzif_file file;
    file.wide = two_type_block({{0, 0}});
    zoneinfo.write("Zone", file.bytes());
    tz_guard::set("Zone");
    tzset();
    EXPECT_STREQ(tzname[1], "DST");
    EXPECT_EQ(daylight, 0);
    EXPECT_EQ(timezone, -3600);

    tz_guard::set("AAA4BBB3,0/0,J365/167"); // daylight time for ever: no transition
    tzset();
    EXPECT_STREQ(tzname[0], "   ");
    EXPECT_STREQ(tzname[1], "BBB");
    EXPECT_EQ(daylight, 0);
    EXPECT_EQ(timezone, 0);
}

TEST_F(ProcessState, LocaltimeNamesWhatItConvertsLocaltimeRDoesNot) {
    const private_folder zoneinfo(zoneinfo_folder);
    tzif_file file;
    file.wide.abbreviations = std::string("AAA\0BBB\0CCC\0", 12);
    file.wide.types = {{60, 0, 0}, {120, 1, 4}, {180, 0, 8}};
    file.wide.changes = {{0, 1}, {1000, 2}};
    zoneinfo.write("Zone", file.bytes());
    tz_guard::set("Zone");
    tzset();
    ASSERT_STREQ(tzname[0], "CCC");
    ASSERT_EQ(timezone, -180);
    const time_t before = -1;
    struct tm tm;
    ASSERT_NE(localtime_r(&before, &tm), nullptr);
    EXPECT_STREQ(tm.tm_zone, "AAA");
    EXPECT_STREQ(tzname[0], "CCC");
    EXPECT_EQ(timezone, -180);
    ASSERT_NE(localtime(&before), nullptr);
    EXPECT_STREQ(tzname[0], "AAA");
    EXPECT_STREQ(tzname[1], "BBB");
    EXPECT_EQ(timezone, -60);
    const time_t within = 500;
    ASSERT_NE(localtime(&within), nullptr);
    EXPECT_STREQ(tzname[0], "AAA") << "daylight time names only itself";
    EXPECT_EQ(timezone, -60);
    EXPECT_EQ(daylight, 1);
}

TEST_F(ProcessState, ZoneObjectsAndUtcLeaveTheGlobalsAlone) {
    tz_guard::set("AAA3BBB,J1,J100");
    tzset();
    const auto zone = open_zone("CCC4DDD");
    local_text(zone.get(), 0);
    time_of(zone.get(), civil(2021, 7, 1));
    const time_t zero = 0;
    struct tm tm;
    gmtime_r(&zero, &tm);
    gmtime(&zero);
    EXPECT_STREQ(tzname[0], "AAA");
    EXPECT_STREQ(tzname[1], "BBB");
    EXPECT_EQ(timezone, 10800);
    EXPECT_EQ(daylight, 1);
}

TEST_F(ProcessState, OneRecordForLocaltimeAndGmtime) {
    tz_guard::set("AAA3");
    const time_t zero = 0;
    EXPECT_EQ(localtime(&zero), gmtime(&zero));
}

} // namespace
