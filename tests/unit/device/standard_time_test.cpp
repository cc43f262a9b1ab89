// SPDX-License-Identifier: GPL-2.0-or-later
#include "zone_catalogue/standard_time.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using namespace std::string_literals;

struct type {
    std::int32_t east;
    bool daylight;
    std::uint8_t name_at;
};

// What a zone file says, less the times of its transitions.
struct zone {
    std::vector<type> types;
    std::vector<std::uint8_t> transitions; // indices of types
    std::string names = "LMT\0CET\0CEST\0"s;
};

const zone paris{{{561, false, 0}, {3600, false, 4}, {7200, true, 8}}, {1, 2, 1, 2}};

std::string number(std::uint32_t value) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(value >> shift & 0xff);
    return bytes;
}

std::string block(char version, const zone &of, std::size_t time_size) {
    std::string bytes = "TZif"s + version + std::string(15, '\0');
    for (const std::size_t count : {std::size_t{1}, std::size_t{1}, std::size_t{1},
                                    of.transitions.size(), of.types.size(), of.names.size()})
        bytes += number(static_cast<std::uint32_t>(count));
    bytes += std::string(of.transitions.size() * time_size, '\1');
    bytes.append(of.transitions.begin(), of.transitions.end());
    for (const type &one : of.types)
        bytes += number(static_cast<std::uint32_t>(one.east)) + (one.daylight ? '\1' : '\0') +
                 static_cast<char>(one.name_at);
    return bytes + of.names + std::string(time_size + 4, '\2') + "\0\0"s;
}

std::string file(const std::string &rule, const zone &of = paris) {
    return block('2', zone{{{0, false, 0}}, {}, "UTC\0"s}, 4) + block('2', of, 8) + "\n" + rule +
           "\n";
}

// "minutes name", or "none".
std::string read(const std::string &bytes) {
    // A copy of exactly this size, so that reading beyond it is noticed.
    const std::vector<char> exact(bytes.begin(), bytes.end());
    const auto time = read_standard_time({exact.data(), exact.size()});
    return time ? std::to_string(time->offset) + " " + std::string(time->name) : "none";
}

TEST(StandardTime, IsReadFromTheRule) {
    EXPECT_EQ(read(file("EST5")), "-300 EST");
    EXPECT_EQ(read(file("EST5EDT,M3.2.0,M11.1.0")), "-300 EST");
    EXPECT_EQ(read(file("<+0330>-3:30")), "210 +0330");
    EXPECT_EQ(read(file("<-0330>+3:30<-0230>,M3.2.0,M11.1.0")), "-210 -0330");
    EXPECT_EQ(read(file("NST3:30NDT,M3.2.0,M11.1.0")), "-210 NST");
    EXPECT_EQ(read(file("<+1030>-10:30<+11>-11,M10.1.0,M4.1.0")), "630 +1030");
    EXPECT_EQ(read(file("ABC-12:45:00")), "765 ABC");
    EXPECT_EQ(read(file("ABC24")), "-1440 ABC");
}

TEST(StandardTime, IsWinterTimeAlsoWhereSummerTimeIsCalledStandard) {
    EXPECT_EQ(read(file("IST-1GMT0,M10.5.0,M3.5.0/1")), "0 GMT");
    EXPECT_EQ(read(file("<+01>-1<+00>0,J1,J2")), "0 +00");
}

TEST(StandardTime, IsTheLastOfItsKindWhereThereIsNoRule) {
    EXPECT_EQ(read(file("")), "60 CET");
    EXPECT_EQ(read(block('\0', paris, 4)), "60 CET");
    EXPECT_EQ(read(block('\0', {{{-18000, false, 4}}, {}, "UTC\0EST\0"s}, 4)), "-300 EST");
    EXPECT_EQ(read(block('\0', {{{0, false, 0}, {3600, false, 4}}, {0, 1}}, 4)), "60 CET");
    zone summer = paris;
    summer.types[0] = {0, true, 0};
    summer.transitions = {2, 2};
    EXPECT_EQ(read(block('\0', summer, 4)), "60 CET");
}

TEST(StandardTime, IsTakenFromTheTypesWhereTheRuleMakesNoSense) {
    for (const char *rule : {"EST", "5", "<EST5", "<>5", "EST25", "EST5:60", "EST5:", "EST-",
                             "EST5:00:30", "EST5EDT4:60,M3", "EST5EDT-25,J1,J2", "<EST!5", "EST5<",
                             "EST99999999999999999999", "EST5;"})
        EXPECT_EQ(read(file(rule)), "60 CET") << rule;
    std::string unended = file("EST5");
    unended.pop_back();
    EXPECT_EQ(read(unended), "60 CET");
}

TEST(StandardTime, IsInTheSecondBlockOfEveryVersionThatHasOne) {
    for (const char version : {'\1', '1', '3', '4', '9'})
        EXPECT_EQ(read(block(version, zone{{{0, false, 0}}, {}, "UTC\0"s}, 4) +
                       block(version, paris, 8) + "\n\n"),
                  "60 CET")
            << version;
}

TEST(StandardTime, IsAbsentWhenNothingMakesSense) {
    EXPECT_EQ(read(""), "none");
    EXPECT_EQ(read("TZif"), "none");
    EXPECT_EQ(read(std::string(100, 'x')), "none");
    EXPECT_EQ(read(block('\0', {{{561, false, 0}}, {}}, 4)), "none"); // not in whole minutes
    EXPECT_EQ(read(block('\0', {{{INT32_MIN, false, 0}}, {}}, 4)), "none");
    EXPECT_EQ(read(block('\0', {{{3600, true, 0}}, {}}, 4)), "none"); // never standard time
    EXPECT_EQ(read(block('\0', {{{3600, false, 200}}, {}}, 4)), "none");
    EXPECT_EQ(read(block('\0', {{}, {9, 255}}, 4)), "none");
}

TEST(StandardTime, SurvivesAFileCutAnywhere) {
    const std::string whole = file("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(read(whole), "60 CET");
    const std::size_t rule_at = whole.find("\nCET");
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_EQ(read(whole.substr(0, size)), size < rule_at ? "none" : "60 CET") << size;
}

TEST(StandardTime, SurvivesAnyCount) {
    const std::string whole = file("CET-1CEST,M3.5.0,M10.5.0/3");
    for (const std::size_t header : {std::size_t{0}, whole.find("TZif", 1)})
        for (std::size_t at = header + 20; at < header + 44; at += 4)
            for (const std::uint32_t count : {0u, 1u, 255u, 0x7fffffffu, 0xffffffffu}) {
                std::string changed = whole;
                changed.replace(at, 4, number(count));
                const std::string result = read(changed); // within its bounds, whatever it says
                EXPECT_TRUE(count <= whole.size() || result == "none") << at << ' ' << count;
            }
}

} // namespace
