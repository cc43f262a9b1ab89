// SPDX-License-Identifier: GPL-2.0-or-later
//
// TZ strings: what is well-formed and what it says.
#include <algorithm>

#include <gtest/gtest.h>

#include "common/zone_fixture.h"

namespace {

bool parses(const std::string &text) {
    // A block of its own size, so that a sanitizer sees a read past its end.
    const std::unique_ptr<char[]> exact(new char[text.size() + 1]);
    std::copy_n(text.c_str(), text.size() + 1, exact.get());
    return parse_tz_string(exact.get(), new_state().get(), false);
}

/// The offset west of UT that a TZ string's standard time has.
std::int64_t west(const std::string &text) { return -parsed(text)->types[0].utc_offset; }

TEST(TzString, OneType) {
    const auto state = parsed("<+03>-3");
    EXPECT_EQ(state->type_count, 1);
    EXPECT_EQ(state->transition_count, 0);
    EXPECT_EQ(state->types[0].utc_offset, 10800);
    EXPECT_FALSE(state->types[0].is_dst);
    EXPECT_EQ(state->types[0].abbr_index, 0);
    EXPECT_STREQ(state->abbreviations, "+03");
    EXPECT_EQ(state->char_count, 4);
    EXPECT_EQ(state->default_type, 0);
}

TEST(TzString, StandardNames) {
    EXPECT_STREQ(parsed("X0")->abbreviations, "X") << "one letter is enough";
    EXPECT_STREQ(parsed("a/b:c.d;e f<3")->abbreviations, "a/b:c.d;e f<");
    EXPECT_STREQ(parsed("<a3+-,b>3")->abbreviations, "a3+-,b");
    EXPECT_STREQ(parsed("\xff\xfe"
                        "3")
                     ->abbreviations,
                 "\xff\xfe");
    EXPECT_FALSE(parses(""));
    EXPECT_FALSE(parses("3"));
    EXPECT_FALSE(parses("-3"));
    EXPECT_FALSE(parses(",3"));
    EXPECT_FALSE(parses("<>3"));
    EXPECT_FALSE(parses("<"));
    EXPECT_FALSE(parses("<A"));
    EXPECT_FALSE(parses("<A3"));
}

TEST(TzString, Offsets) {
    EXPECT_EQ(west("A3"), 10800);
    EXPECT_EQ(west("A+3"), 10800);
    EXPECT_EQ(west("A-3"), -10800);
    EXPECT_EQ(west("A03:04"), 3 * 3600 + 240);
    EXPECT_EQ(west("A-3:4:5"), -(3 * 3600 + 245));
    EXPECT_EQ(west("A0003:0004:0005"), 3 * 3600 + 245);
    EXPECT_EQ(west("A167:59:60"), 604800) << "a week less nothing";
    EXPECT_EQ(west("A-167:59:60"), -604800);
    EXPECT_EQ(west("A0:0:60"), 60);
    EXPECT_EQ(west("A-0"), 0);
    for (const char *text : {"A", "A+", "A-", "A--3", "A+-3", "A168", "A-168", "A3:60", "A3:4:61",
                             "A3:", "A3:4:", "A3:-4", "A3:4:+5", "A99999999999999999999"})
        EXPECT_FALSE(parses(text)) << text;
}

TEST(TzString, DaylightNames) {
    auto state = parsed("AAA3BBBB");
    EXPECT_EQ(state->type_count, 2);
    EXPECT_STREQ(state->abbreviations + 4, "BBBB");
    EXPECT_EQ(state->types[1].abbr_index, 4);
    EXPECT_EQ(state->char_count, 9);
    state = parsed("<+1>3<-2>");
    EXPECT_STREQ(state->abbreviations, "+1");
    EXPECT_STREQ(state->abbreviations + 3, "-2");
    EXPECT_EQ(state->types[1].abbr_index, 3);
    EXPECT_STREQ(parsed("AAA3 ")->abbreviations + 4, " ") << "a blank is a name, too";
    EXPECT_STREQ(parsed("AAA3:00:00:1")->abbreviations + 4, ":") << "and so is a colon too many";
    for (const char *text :
         {"AAA3,M3.2.0,M11.1.0", "AAA3+4", "AAA3-4", "AAA3<>", "AAA3<>4", "AAA3<B", "AAA3<B4"})
        EXPECT_FALSE(parses(text)) << text;
}

TEST(TzString, DaylightOffset) {
    EXPECT_EQ(parsed("AAA3BBB")->types[1].utc_offset, -7200) << "an hour more east";
    EXPECT_EQ(parsed("AAA-3BBB")->types[1].utc_offset, 14400);
    EXPECT_EQ(parsed("AAA3BBB,J1,J2")->types[1].utc_offset, -7200);
    EXPECT_EQ(parsed("AAA3<BBB>;J1,J2")->types[1].utc_offset, -7200);
    EXPECT_EQ(parsed("AAA3BBB5,J1,J2")->types[1].utc_offset, -5 * 3600) << "or west";
    EXPECT_EQ(parsed("AAA3BBB+1:30,J1,J2")->types[1].utc_offset, -5400);
    EXPECT_EQ(parsed("AAA3BBB-1,J1,J2")->types[1].utc_offset, 3600);
    EXPECT_EQ(parsed("AAA3BBB3,J1,J2")->types[1].utc_offset, -10800) << "or none";
    EXPECT_TRUE(parsed("AAA3BBB3,J1,J2")->types[1].is_dst);
    for (const char *text : {"AAA3BBB+,J1,J2", "AAA3BBB168,J1,J2", "AAA3BBB4x", "AAA3BBB4 "})
        EXPECT_FALSE(parses(text)) << text;
}

TEST(TzString, TypesOfARuleZone) {
    const auto state = parsed("AAA3BBB,M3.5.0,M10.5.0");
    EXPECT_EQ(state->type_count, 2);
    EXPECT_EQ(state->types[0].utc_offset, -10800);
    EXPECT_FALSE(state->types[0].is_dst);
    EXPECT_FALSE(state->types[0].is_std);
    EXPECT_FALSE(state->types[0].is_ut);
    EXPECT_EQ(state->types[0].abbr_index, 0);
    EXPECT_EQ(state->types[1].utc_offset, -7200);
    EXPECT_TRUE(state->types[1].is_dst);
    EXPECT_FALSE(state->types[1].is_std);
    EXPECT_FALSE(state->types[1].is_ut);
    EXPECT_EQ(state->types[1].abbr_index, 4);
    EXPECT_EQ(state->default_type, 0);
}

TEST(TzString, RulesAreWellFormedOrNot) {
    for (const char *rule :
         {"J1", "J365", "0", "365", "M1.1.0", "M12.5.6", "J60/0", "M3.2.0/167:59:60",
          "M3.2.0/-167:59:60", "M3.2.0/+2", "M3.2.0/2:30:15", "J001", "M03.02.00"}) {
        EXPECT_TRUE(parses("AAA3BBB,J100," + std::string(rule))) << rule;
        EXPECT_TRUE(parses("AAA3BBB," + std::string(rule) + ",J100")) << rule;
    }
    for (const char *rule : {"",
                             "J",
                             "J0",
                             "J366",
                             "366",
                             "M",
                             "M3",
                             "M3.",
                             "M3.2",
                             "M3.2.",
                             "M0.2.0",
                             "M13.2.0",
                             "M3.0.0",
                             "M3.6.0",
                             "M3.2.7",
                             "M3,2,0",
                             "J60/",
                             "J60/168",
                             "J60/-168",
                             "J60/2:60",
                             "J60/2:00:61",
                             "J60/2:",
                             "-1",
                             "+1",
                             "x",
                             "j60",
                             "m3.2.0",
                             "J-1",
                             "J 60",
                             "/2",
                             "J60//2",
                             "J60/x",
                             "M3.2.0.1",
                             "J60 ",
                             "J60/2x",
                             "J60/+-2",
                             "J99999999999999999999",
                             "99999999999999999999"}) {
        EXPECT_FALSE(parses("AAA3BBB,J100," + std::string(rule))) << rule;
        EXPECT_FALSE(parses("AAA3BBB," + std::string(rule) + ",J100")) << rule;
    }
}

TEST(TzString, BothRulesAndNothingMore) {
    EXPECT_FALSE(parses("AAA3BBB,"));
    EXPECT_FALSE(parses("AAA3BBB,J1"));
    EXPECT_FALSE(parses("AAA3BBB,J1;J2")) << "between the rules only a comma";
    EXPECT_FALSE(parses("AAA3BBB,J1 J2"));
    EXPECT_FALSE(parses("AAA3BBB,J1,J2,"));
    EXPECT_FALSE(parses("AAA3BBB,J1,J2,J3"));
    EXPECT_FALSE(parses("AAA3BBB,J1,J2 "));
    EXPECT_FALSE(parses("AAA3BBB,J1,J2\n"));
}

TEST(TzString, ASemicolonAlsoIntroducesRules) {
    EXPECT_TRUE(parses("AAA3BBB2;J1,J2"));
    EXPECT_TRUE(parses("AAA3<BBB>;J1,J2"));
    EXPECT_TRUE(parses("AAA3<BBB>2;J1,J2"));
    // Directly after an unquoted name it is still part of the name.
    EXPECT_FALSE(parses("AAA3BBB;M3.2.0,M11.1.0"));
    EXPECT_FALSE(parses("AAA3BBB;J60,J300"));
    EXPECT_STREQ(parsed("AAA3BBB;")->abbreviations + 4, "BBB;");
}

TEST(TzString, NamesFillTheStore) {
    const auto name = [](std::size_t length, char letter) { return std::string(length, letter); };
    EXPECT_TRUE(parses(name(511, 'A') + "3"));
    EXPECT_FALSE(parses(name(512, 'A') + "3"));
    EXPECT_TRUE(parses("<" + name(511, 'A') + ">3"));
    EXPECT_FALSE(parses("<" + name(512, 'A') + ">3"));
    EXPECT_TRUE(parses(name(255, 'A') + "3" + name(255, 'B')));
    EXPECT_FALSE(parses(name(255, 'A') + "3" + name(256, 'B')));
    EXPECT_FALSE(parses(name(256, 'A') + "3<" + name(255, 'B') + ">"));
    EXPECT_TRUE(parses(name(1, 'A') + "3" + name(509, 'B')));
    EXPECT_FALSE(parses(name(1, 'A') + "3" + name(510, 'B')));
    EXPECT_FALSE(parses(name(100000, 'A') + "3"));
    EXPECT_FALSE(parses("A3" + name(100000, 'B')));

    const auto state = parsed(name(255, 'A') + "3" + name(255, 'B') + ",J1,J2");
    EXPECT_EQ(state->char_count, 512);
    EXPECT_EQ(state->types[1].abbr_index, 256);
    EXPECT_EQ(std::string(state->abbreviations), name(255, 'A'));
    EXPECT_EQ(std::string(state->abbreviations + 256), name(255, 'B'));
}

TEST(TzString, EveryPrefixIsHandled) {
    const std::string whole = "<A+1>-3:30:15<B+2>-4:30;M3.5.0/-2:30:10,M10.5.0/25:00:59";
    EXPECT_TRUE(parses(whole));
    for (std::size_t length = 0; length < whole.size(); ++length)
        parses(whole.substr(0, length));
    EXPECT_FALSE(parses(whole.substr(0, whole.find(','))));
}

TEST(TzString, LastDitch) {
    const auto state = new_state();
    ASSERT_TRUE(parse_tz_string("GMT", state.get(), true));
    EXPECT_EQ(state->type_count, 1);
    EXPECT_EQ(state->transition_count, 0);
    EXPECT_EQ(state->types[0].utc_offset, 0);
    EXPECT_STREQ(state->abbreviations, "GMT");
    EXPECT_EQ(state->char_count, 4);
    EXPECT_FALSE(parse_tz_string("GMT", state.get(), false)) << "else an offset is missing";

    ASSERT_TRUE(parse_tz_string("GMTBST,J1,J100", state.get(), true)) << "parsing goes on after it";
    EXPECT_EQ(state->types[1].utc_offset, 3600);
    EXPECT_STREQ(state->abbreviations + 4, "BST");
}

TEST(TzStringScanners, Name) {
    for (const char *text : {"abc3", "abc+", "abc,", "abc-", "abc"})
        EXPECT_EQ(scan_name(text) - text, 3) << text;
    EXPECT_EQ(*scan_name("a;b<c>d 1"), '1');
    const char *empty = "5";
    EXPECT_EQ(scan_name(empty), empty);
}

TEST(TzStringScanners, QuotedName) {
    const char *text = "a+3>rest"; // after its "<"
    ASSERT_NE(scan_quoted_name(text), nullptr);
    EXPECT_EQ(*scan_quoted_name(text), '>');
    const char *open = "abc";
    const char *end = scan_quoted_name(open);
    EXPECT_TRUE(end == nullptr || *end == '\0');
}

TEST(TzStringScanners, Number) {
    int number = -1;
    EXPECT_STREQ(scan_number("12x", &number, 0, 12), "x");
    EXPECT_EQ(number, 12);
    EXPECT_STREQ(scan_number("007", &number, 1, 9), "");
    EXPECT_EQ(number, 7);
    EXPECT_EQ(scan_number("13", &number, 0, 12), nullptr);
    EXPECT_EQ(scan_number("0", &number, 1, 12), nullptr);
    EXPECT_EQ(scan_number("", &number, 0, 12), nullptr);
    EXPECT_EQ(scan_number("x", &number, 0, 12), nullptr);
    EXPECT_EQ(scan_number("-1", &number, 0, 12), nullptr);
    EXPECT_EQ(scan_number("99999999999999999999999", &number, 0, 365), nullptr);
}

TEST(TzStringScanners, SecondsAndOffset) {
    std::int64_t seconds = -1;
    EXPECT_STREQ(scan_seconds("1:02:03.", &seconds), ".");
    EXPECT_EQ(seconds, 3723);
    EXPECT_STREQ(scan_seconds("167:59:60:", &seconds), ":");
    EXPECT_EQ(seconds, 604800);
    EXPECT_EQ(scan_seconds("-1", &seconds), nullptr);
    EXPECT_EQ(scan_seconds("1:", &seconds), nullptr);
    EXPECT_STREQ(scan_offset("-1:02,", &seconds), ",");
    EXPECT_EQ(seconds, -3720);
    EXPECT_STREQ(scan_offset("+1", &seconds), "");
    EXPECT_EQ(seconds, 3600);
    EXPECT_EQ(scan_offset("+", &seconds), nullptr);
}

TEST(TzStringScanners, Rule) {
    zone_rule rule = {};
    EXPECT_STREQ(scan_rule("J60,", &rule), ",");
    EXPECT_EQ(rule.kind, zone_rule_kind::julian_day);
    EXPECT_EQ(rule.day, 60);
    EXPECT_EQ(rule.time, 7200) << "02:00 unless given";
    EXPECT_STREQ(scan_rule("0/-1", &rule), "");
    EXPECT_EQ(rule.kind, zone_rule_kind::day_of_year);
    EXPECT_EQ(rule.day, 0);
    EXPECT_EQ(rule.time, -3600);
    EXPECT_STREQ(scan_rule("M10.5.6/25:00x", &rule), "x");
    EXPECT_EQ(rule.kind, zone_rule_kind::month_week_weekday);
    EXPECT_EQ(rule.month, 10);
    EXPECT_EQ(rule.week, 5);
    EXPECT_EQ(rule.day, 6);
    EXPECT_EQ(rule.time, 90000);
    EXPECT_EQ(scan_rule("Q", &rule), nullptr);
}

} // namespace
