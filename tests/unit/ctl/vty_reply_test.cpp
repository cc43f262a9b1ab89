// SPDX-License-Identifier: GPL-2.0-or-later
#include "vty_reply.h"

#include <gtest/gtest.h>

namespace {

using namespace std::string_view_literals;

TEST(VtyReply, EndsWithThreeNulBytesAndACode) {
    const auto reply = parse_reply("text\n\0\0\0\2"sv);
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->text, "text\n");
    EXPECT_EQ(reply->code, 2);
    EXPECT_FALSE(reply->succeeded());
}

TEST(VtyReply, MayBeEmpty) {
    const auto reply = parse_reply("\0\0\0\0"sv);
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->text, "");
    EXPECT_TRUE(reply->succeeded());
}

TEST(VtyReply, HasACodeOfEightBits) { EXPECT_EQ(parse_reply("\0\0\0\377"sv).value().code, 255); }

TEST(VtyReply, IsWholeOnlyWithItsLastByte) {
    constexpr std::string_view whole = "a\r\n% b\n\0\0\0\0"sv;
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_FALSE(parse_reply(whole.substr(0, size))) << size;
    EXPECT_TRUE(parse_reply(whole));
}

TEST(VtyReply, HasPlainLineEnds) {
    EXPECT_EQ(parse_reply("one\r\ntwo\n\rthree\r\0\0\0\0"sv).value().text, "one\ntwo\n\rthree\r");
}

TEST(VtyReply, LinesThatWouldHangUsAreNotSent) {
    EXPECT_EQ(why_unsendable("show ntp"), nullptr);
    EXPECT_EQ(why_unsendable(std::string(4094, 'a')), nullptr);
    EXPECT_STREQ(why_unsendable(std::string(4095, 'a')),
                 "a line of more than 4094 characters: shorten it");
    EXPECT_STREQ(why_unsendable("a\0b"sv), "a line with a NUL byte in it: is this text?");
}

} // namespace
