// SPDX-License-Identifier: GPL-2.0-or-later
#include "completion.h"

#include <gtest/gtest.h>

namespace {

using words = std::vector<std::string>;
using forms = std::vector<words>;

constexpr char known_commands[] = "  (config)  hostname WORD\n"
                                  "  (ntp)  exit\n"
                                  "  (ntp)  ntp server HOST [HOST]\n"
                                  "  (ntp)  [no] second ntp server2 [HOST]\n"
                                  "  (ntp)  ntp <disable|enable>\n"
                                  "  (ntp)  show ntp [json]\n"
                                  "  (ntp)  show ntp status [json]\n"
                                  "  (ntp)  <timezone|dst> continent Africa location WORD\n"
                                  "  (ntp)  <timezone|dst> continent Europe location WORD\n";

words after(std::string_view line) { return completion(known_commands).candidates(line); }

TEST(Completion, SplitsWords) {
    EXPECT_EQ(split_words("  show\tntp "), (words{"show", "ntp"}));
    EXPECT_EQ(split_words(" "), words{});
}

TEST(Completion, KnowsTheNotation) {
    EXPECT_EQ(forms_of("show timezone"), (forms{{"show", "timezone"}}));
    EXPECT_EQ(forms_of("show ntp [json]"), (forms{{"show", "ntp", "json"}, {"show", "ntp"}}));
    EXPECT_EQ(forms_of("ntp <disable|enable>"), (forms{{"ntp", "disable"}, {"ntp", "enable"}}));
    EXPECT_EQ(forms_of("a [<b|c d> [e]] f"), (forms{{"a", "b", "e", "f"},
                                                    {"a", "b", "f"},
                                                    {"a", "c", "d", "e", "f"},
                                                    {"a", "c", "d", "f"},
                                                    {"a", "f"}}));
}

TEST(Completion, LeavesAloneWhatItDoesNotUnderstand) {
    for (const char *text : {"a {b|c}", "a <b", "a [b", "a ]", "a >"})
        EXPECT_EQ(forms_of(text), forms{}) << text;
}

TEST(Completion, OffersFirstWords) {
    EXPECT_EQ(after(""),
              (words{"debug", "do", "dst", "exit", "no", "ntp", "second", "show", "timezone"}));
    EXPECT_EQ(after("d"), (words{"debug", "do", "dst"}));
    EXPECT_EQ(after("x"), words{});
}

TEST(Completion, OffersWhatCanFollow) {
    EXPECT_EQ(after("ntp "), (words{"disable", "enable", "server"}));
    EXPECT_EQ(after("ntp e"), words{"enable"});
    EXPECT_EQ(after("show ntp "), (words{"json", "status"}));
    EXPECT_EQ(after("show ntp status "), words{"json"});
    EXPECT_EQ(after("no "), words{"second"});
    EXPECT_EQ(after("timezone continent "), (words{"Africa", "Europe"}));
}

TEST(Completion, UnderstandsShortenedWords) {
    EXPECT_EQ(after("sh n s"), words{"status"});
    EXPECT_EQ(after("  timez  cont Eu "), words{"location"});
}

TEST(Completion, MakesUpNoWordsOfTheOperators) {
    EXPECT_EQ(after("ntp server "), words{});
    EXPECT_EQ(after("ntp server a "), words{});
    EXPECT_EQ(after("timezone continent Europe location "), words{});
    EXPECT_EQ(after("show ntp json "), words{});
}

TEST(Completion, HasTheCommandsOfOtherLevelsThatMatter) {
    EXPECT_EQ(after("show r"), words{"running-config"});
    EXPECT_EQ(after("do write "), words{"file"});
    EXPECT_EQ(after("debug ntp "), (words{"off", "on"}));
    EXPECT_EQ(after("host"), words{});
}

} // namespace
