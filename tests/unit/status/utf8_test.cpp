// SPDX-License-Identifier: GPL-2.0-or-later
#include "status/utf8.h"

#include <string>

#include <gtest/gtest.h>

namespace {

std::string made(std::string text) {
    make_utf8(text.data());
    return text;
}

TEST(Utf8, LeavesWhatIsUtf8) {
    for (const std::string text :
         {"", "ntp1.example.net", "caf\xC3\xA9", "\x01\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80",
          "\xED\x9F\xBF", "\xEE\x80\x80", "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF",
          "\xE2\x82\xAC\xF0\x9F\x95\x92."})
        EXPECT_EQ(made(text), text);
}

TEST(Utf8, ReplacesBytesByThemselves) {
    EXPECT_EQ(made("caf\xE9.example"), "caf?.example");
    EXPECT_EQ(made("\x80\xBF\xC3\xA9\xFE\xFF"), "??\xC3\xA9??");
}

TEST(Utf8, ReplacesOverlongForms) {
    EXPECT_EQ(made("\xC0\x80 \xC1\xBF"), "?? ??");
    EXPECT_EQ(made("\xE0\x80\x80 \xE0\x9F\xBF"), "??? ???");
    EXPECT_EQ(made("\xF0\x80\x80\x80 \xF0\x8F\xBF\xBF"), "???? ????");
}

TEST(Utf8, ReplacesSurrogatesAndWhatIsBeyondTheLast) {
    EXPECT_EQ(made("\xED\xA0\x80 \xED\xBF\xBF"), "??? ???");
    EXPECT_EQ(made("\xF4\x90\x80\x80 \xF5\x80\x80\x80"), "???? ????");
}

TEST(Utf8, ReplacesWhatIsCut) {
    EXPECT_EQ(made("\xC3"), "?");
    EXPECT_EQ(made("\xE2\x82"), "??");
    EXPECT_EQ(made("\xF0\x9F\x95"), "???");
    // What follows is whole.
    EXPECT_EQ(made("\xE2\x82\xC3\xA9"), "??\xC3\xA9");
    EXPECT_EQ(made("\xF0\x9F\x95\"}"), "???\"}");
}

} // namespace
