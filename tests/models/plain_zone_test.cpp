// SPDX-License-Identifier: GPL-2.0-or-later
//
// The plain model against the C library, and on cases worked out by hand: what
// the engine is compared with must not be wrong in the same way.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "common/broken_down.h"
#include "common/tzif_builder.h"
#include "models/plain_convert.h"
#include "models/plain_inverse.h"
#include "models/plain_load.h"
#include "models/plain_rules.h"

namespace {

std::string text(const std::tm &tm) {
    char fields[100];
    std::snprintf(fields, sizeof fields,
                  "%lld-%02d-%02d %02d:%02d:%02d wday %d yday %d dst %d %ld %s",
                  1900LL + tm.tm_year, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec,
                  tm.tm_wday, tm.tm_yday, tm.tm_isdst, tm.tm_gmtoff, tm.tm_zone);
    return fields;
}

std::string local_text(const plain::zone &zone, std::int64_t time) {
    std::tm tm{};
    switch (plain::to_local(zone, time, tm)) {
    case plain::answer::converted:
        return text(tm);
    case plain::answer::year_too_far:
        return "year too far";
    case plain::answer::folded_away:
        return "folded away";
    }
    return "";
}

plain::zone zone_of_string(const std::string &text,
                           const std::optional<plain::bytes> &rules_file = std::nullopt) {
    plain::zone zone;
    EXPECT_TRUE(plain::parse_tz_string(text, rules_file, zone, false)) << text;
    return zone;
}

bool is_malformed(const std::string &text) {
    plain::zone zone;
    return !plain::parse_tz_string(text, std::nullopt, zone, false);
}

int load(const tzif_file &file, plain::zone &zone,
         const std::optional<plain::bytes> &rules_file = std::nullopt) {
    return plain::load(file.bytes(), rules_file, zone, true);
}

std::string search_text(const plain::zone &zone, std::tm tm) {
    const auto found = plain::find_time(zone, tm);
    return found ? std::to_string(*found) + " " + text(tm) : "none";
}

/// The C library has this process's localtime_r() and mktime().
void compare_with_c_library(const char *name) {
    plain::zone zone;
    ASSERT_EQ(plain::init_zone(name, zone), 0) << name;
    setenv("TZ", name, 1);
    tzset();
    constexpr std::int64_t from_1970 = 0;
    constexpr std::int64_t to_2037 = 2145916800;
#if defined(HORAD_EMULATOR) // slow
    constexpr std::int64_t step = 86400 * 23 * 16 + 1801;
#else
    constexpr std::int64_t step = 86400 * 23 + 1801;
#endif
    for (std::int64_t time = from_1970; time < to_2037; time += step) {
        const std::time_t c_time = time;
        std::tm by_library{};
        localtime_r(&c_time, &by_library);
        ASSERT_EQ(local_text(zone, time), text(by_library)) << name << " at " << time;
        std::tm again = by_library;
        again.tm_isdst = by_library.tm_isdst;
        ASSERT_EQ(plain::find_time(zone, again), time) << name;
        ASSERT_EQ(text(again), text(by_library)) << name;
    }
}

TEST(PlainZone, AgreesWithTheCLibrary) {
    for (const char *name :
         {"America/New_York", "Europe/London", "Europe/Dublin", "Asia/Kolkata", "Asia/Tehran",
          "Australia/Lord_Howe", "Africa/Casablanca", "America/Caracas", "Pacific/Apia",
          "Antarctica/Troll", "<+03>-3", "AAA3BBB,M3.5.0/-1,M10.5.0/25",
          "NZST-12NZDT,M9.5.0,M4.1.0/3", "AAA3BBB2,J60/0,J300", "AAA3BBB2,59/0,300"})
        compare_with_c_library(name);
}

TEST(PlainFile, TooShort) {
    plain::zone zone;
    EXPECT_EQ(plain::load(plain::bytes(43), std::nullopt, zone, true), EINVAL);
}

TEST(PlainFile, TimesGoBackOrStay) {
    plain::zone zone;
    tzif_file file;
    file.wide = two_type_block({{100, 0}, {99, 1}});
    EXPECT_EQ(load(file, zone), EINVAL);
    file.wide = two_type_block({{100, 0}, {100, 1}, {200, 0}});
    ASSERT_EQ(load(file, zone), 0);
    ASSERT_EQ(zone.transitions.size(), 2U);
    EXPECT_EQ(zone.transitions[0].type, 1U);
    // The type of the one that was replaced may be anything.
    file.wide = two_type_block({{100, 9}, {100, 1}});
    EXPECT_EQ(load(file, zone), 0);
    file.wide = two_type_block({{100, 9}});
    EXPECT_EQ(load(file, zone), EINVAL);
}

TEST(PlainFile, Abbreviations) {
    plain::zone zone;
    tzif_file file;
    file.wide.abbreviations = std::string("ABCDEFGHIJKLMNOPQRS\0EST*\0", 25);
    file.wide.types = {{0, 0, 0}, {0, 0, 20}};
    ASSERT_EQ(load(file, zone), 0);
    plain::scrub(zone);
    EXPECT_STREQ(plain::abbreviation(zone, zone.types[0]), "ABCDEFGHIJKLMNOP");
    EXPECT_STREQ(plain::abbreviation(zone, zone.types[1]), "EST_");

    const std::string whole = "Local time zone must be set--see zic manual page";
    file.wide.abbreviations = whole + '\0';
    file.wide.types = {{0, 0, 0}};
    ASSERT_EQ(load(file, zone), 0);
    plain::scrub(zone);
    EXPECT_EQ(plain::abbreviation(zone, zone.types[0]), whole);
}

TEST(PlainFile, EmptyName) {
    plain::zone zone;
    ASSERT_EQ(plain::init_zone("", zone), 0);
    EXPECT_EQ(local_text(zone, 0), "1970-01-01 00:00:00 wday 4 yday 0 dst 0 0 GMT");
}

TEST(PlainFile, NoSuchFile) {
    plain::zone zone;
    EXPECT_EQ(plain::init_zone("no/such/zone", zone), ENOENT);
    EXPECT_EQ(plain::init_zone(":AAA3", zone), ENOENT);
    EXPECT_EQ(plain::init_zone("../zoneinfo/no-such-zone", zone), ENOENT);
    EXPECT_EQ(plain::init_zone(std::string(84532, 'a').c_str(), zone), ENAMETOOLONG);
}

TEST(PlainFile, DefaultType) {
    plain::zone zone;
    tzif_file file;
    file.wide = two_type_block({{100, 1}});
    ASSERT_EQ(load(file, zone), 0);
    EXPECT_EQ(zone.default_type, 0U);
    file.wide.types = {{0, 1, 0}, {0, 0, 0}, {0, 0, 0}, {0, 1, 0}};
    file.wide.changes = {{100, 3}, {200, 0}};
    ASSERT_EQ(load(file, zone), 0);
    EXPECT_EQ(zone.default_type, 2U) << "the nearest below the first transition's type";
    file.wide.changes = {{100, 0}};
    ASSERT_EQ(load(file, zone), 0);
    EXPECT_EQ(zone.default_type, 1U) << "the first that is standard time";
}

TEST(PlainFile, FooterGoesOn) {
    plain::zone zone;
    tzif_file file;
    file.wide = two_type_block({{100, 1}, {200, 0}, {300, 0}});
    file.footer = "\nSTD-1DST,M3.2.0,M11.1.0\n";
    ASSERT_EQ(load(file, zone), 0);
    EXPECT_EQ(zone.types.size(), 4U);
    EXPECT_EQ(zone.abbreviations.size(), 8U) << "both names were there";
    // The repeat at the end is gone; the rules go on in 1970.
    EXPECT_EQ(zone.transitions[1].time, 200);
    EXPECT_EQ(zone.transitions[2].time, (31 + 28 + 7) * 86400 + 2 * 3600 - 3600);
    EXPECT_EQ(zone.transitions[2].type, 3U);
    EXPECT_FALSE(zone.go_back);
    EXPECT_TRUE(zone.go_ahead);
}

TEST(PlainRules, RulesFile) {
    const auto without = zone_of_string("EST5EDT");
    // 14 March 2027, 02:00 in New York.
    EXPECT_EQ(local_text(without, 1805007600),
              "2027-03-14 03:00:00 wday 0 yday 72 dst 1 -14400 EDT");

    tzif_file rules;
    rules.wide = two_type_block({{100000, 1}, {200000, 0}, {300000, 1}});
    rules.wide.types[0].offset = -7200;
    const auto with = zone_of_string("EST5EDT", rules.bytes());
    ASSERT_EQ(with.transitions.size(), 3U);
    EXPECT_EQ(with.transitions[0].time, 100000 + 5 * 3600 - 7200);
    EXPECT_EQ(with.transitions[2].time, 300000 + 5 * 3600 - 7200);
    EXPECT_EQ(with.types[0].offset, -18000);
    EXPECT_EQ(with.types[1].offset, -14400);
}

TEST(PlainRules, Names) {
    const auto quoted = zone_of_string("<+03>-3");
    EXPECT_EQ(quoted.types.size(), 1U);
    EXPECT_EQ(local_text(quoted, 0), "1970-01-01 03:00:00 wday 4 yday 0 dst 0 10800 +03");
    EXPECT_EQ(local_text(zone_of_string("X0"), 0), "1970-01-01 00:00:00 wday 4 yday 0 dst 0 0 X");
    for (const char *wrong : {"", "3", "AAA", "<AAA3", "<>3", "AAA168", "AAA3:60", "AAA3BBB,M3.2.0",
                              "AAA3<BBB>x", "AAA3BBB2x", "AAA3BBB,M3.2.0,M11.1.0 ", "AAA3BBB,J0,J1",
                              "AAA3BBB,M13.1.0,M1.1.0", "AAA3,M3.2.0,M11.1.0"})
        EXPECT_TRUE(is_malformed(wrong)) << wrong;
    EXPECT_FALSE(is_malformed(std::string(255, 'a') + "3" + std::string(255, 'b')));
    EXPECT_TRUE(is_malformed(std::string(255, 'a') + "3" + std::string(256, 'b')));
}

TEST(PlainRules, OddRules) {
    const auto odd = zone_of_string("AAA3BBB,M3.5.0/-1,M10.5.0/25");
    EXPECT_EQ(odd.types[1].offset, -7200);
    // Last Sunday of March 2027: the 28th, one hour before midnight in UT-3.
    EXPECT_EQ(local_text(odd, 1806199199), "2027-03-27 22:59:59 wday 6 yday 85 dst 0 -10800 AAA");
    EXPECT_EQ(local_text(odd, 1806199200), "2027-03-28 00:00:00 wday 0 yday 86 dst 1 -7200 BBB");

    const auto south = zone_of_string("AAA-12BBB,M10.1.0,M3.3.0");
    EXPECT_EQ(south.transitions[0].type, 0U);
    EXPECT_EQ(south.transitions[1].type, 1U);
    EXPECT_TRUE(south.go_back && south.go_ahead);

    const auto always = zone_of_string("AAA3BBB2,0/0,J365/26");
    EXPECT_TRUE(always.transitions.empty());
    ASSERT_EQ(always.types.size(), 1U);
    EXPECT_EQ(local_text(always, 0), "1969-12-31 22:00:00 wday 3 yday 364 dst 1 -7200 BBB");
}

TEST(PlainConvert, LeapSecond) {
    plain::zone zone;
    tzif_file file;
    file.wide.leaps = {{78796800, 1}, {94694401, 2}};
    ASSERT_EQ(load(file, zone), 0);
    EXPECT_EQ(local_text(zone, 78796799), "1972-06-30 23:59:59 wday 5 yday 181 dst 0 0 UTC");
    EXPECT_EQ(local_text(zone, 78796800), "1972-06-30 23:59:60 wday 5 yday 181 dst 0 0 UTC");
    EXPECT_EQ(local_text(zone, 78796801), "1972-07-01 00:00:00 wday 6 yday 182 dst 0 0 UTC");
    EXPECT_EQ(search_text(zone, civil(1972, 6, 30, 23, 59, 60, 0)),
              "78796800 1972-06-30 23:59:60 wday 5 yday 181 dst 0 0 UTC");
}

TEST(PlainConvert, Ends) {
    const auto utc = zone_of_string("UTC0");
    EXPECT_EQ(local_text(utc, 67768036191676799),
              "2147485547-12-31 23:59:59 wday 3 yday 364 dst 0 0 UTC");
    EXPECT_EQ(local_text(utc, 67768036191676800), "year too far");
    EXPECT_EQ(local_text(utc, plain::earliest), "year too far");
    const auto rules = zone_of_string("EST5EDT,M3.2.0,M11.1.0");
    EXPECT_EQ(local_text(rules, plain::latest), "folded away");
    EXPECT_EQ(local_text(rules, plain::earliest), "folded away");
}

TEST(PlainConvert, FarAfterTheTable) {
    const auto rules = zone_of_string("EST5EDT,M3.2.0,M11.1.0");
    constexpr std::int64_t century = 100 * std::int64_t{31556952};
    const std::int64_t last = rules.transitions.back().time;
    constexpr std::int64_t cycles = 2;
    const std::string there = local_text(rules, last - century);
    std::string later = local_text(rules, last - century + cycles * plain::cycle);
    EXPECT_EQ(std::stoi(later), std::stoi(there) + 800);
    EXPECT_EQ(later.substr(4), there.substr(4));
}

TEST(PlainInverse, MovesAndGaps) {
    const auto zone = zone_of_string("EST5EDT,M3.2.0,M11.1.0");
    EXPECT_EQ(search_text(zone, civil(2027, 4, 31, 12, 0, 0, -1)),
              "1809187200 2027-05-01 12:00:00 wday 6 yday 120 dst 1 -14400 EDT");
    EXPECT_EQ(search_text(zone, civil(2027, 3, 14, 2, 30, 0, -1)), "none");
    EXPECT_EQ(search_text(zone, civil(2027, 3, 14, 2, 30, 0, 0)),
              "1805009400 2027-03-14 03:30:00 wday 0 yday 72 dst 1 -14400 EDT");
    EXPECT_EQ(search_text(zone, civil(2027, 3, 14, 2, 30, 0, 1)),
              "1805005800 2027-03-14 01:30:00 wday 0 yday 72 dst 0 -18000 EST");
    // What reads alike twice.
    EXPECT_EQ(search_text(zone, civil(2027, 11, 7, 1, 30, 0, 1)),
              "1825565400 2027-11-07 01:30:00 wday 0 yday 310 dst 1 -14400 EDT");
    EXPECT_EQ(search_text(zone, civil(2027, 11, 7, 1, 30, 0, 0)),
              "1825569000 2027-11-07 01:30:00 wday 0 yday 310 dst 0 -18000 EST");
    std::tm hinted = civil(2027, 11, 7, 1, 30, 0, 2);
    hinted.tm_gmtoff = -14400;
    EXPECT_EQ(search_text(zone, hinted),
              "1825565400 2027-11-07 01:30:00 wday 0 yday 310 dst 1 -14400 EDT");
}

TEST(PlainInverse, SecondsKeptAside) {
    const auto utc = zone_of_string("UTC0");
    EXPECT_EQ(search_text(utc, civil(2000, 1, 1, 0, 0, -1, 0)),
              "946684799 1999-12-31 23:59:59 wday 5 yday 364 dst 0 0 UTC");
    EXPECT_EQ(search_text(utc, civil(1960, 1, 1, 0, 0, 3600, 0)),
              "-315615600 1960-01-01 01:00:00 wday 5 yday 0 dst 0 0 UTC");
}

} // namespace
