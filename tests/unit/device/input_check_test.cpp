// SPDX-License-Identifier: GPL-2.0-or-later
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>

#include "cli_helper/cli_helper.h"
#include "common/temp_folder.h"

namespace {

constexpr char harmless[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-:,._";

TEST(InputCheck, AcceptsWhatTzTextsAreMadeOf) {
    for (const char *text : {"", "UTC-8:30", "UTC+5:0", "UTC-12:60", "CET-1CEST,M3.5.0,M10.5.0",
                             "GMT0", "-1", ":UTC", harmless})
        EXPECT_EQ(check_input_is_valid(text, 1), nullptr) << text;
}

TEST(InputCheck, NamesTheCharacterItRefuses) {
    EXPECT_STREQ(check_input_is_valid("UTC;reboot", 1), ";");
    EXPECT_STREQ(check_input_is_valid("Europe/Paris", 1), "/");
    EXPECT_STREQ(check_input_is_valid("<+0330>-3:30", 1), "<");
    EXPECT_STREQ(check_input_is_valid("UTC 8", 1), "blanks");
    EXPECT_STREQ(check_input_is_valid("UTC\n8", 1), "control characters");
    EXPECT_STREQ(check_input_is_valid("UTC\x7f", 1), "control characters");
    EXPECT_STREQ(check_input_is_valid("UTC\xc3\xa9", 1), "characters other than ASCII");
    EXPECT_STREQ(check_input_is_valid("UTC`$", 1), "`");
}

TEST(InputCheck, JudgesEveryByteInEveryPlace) {
    for (int byte = 1; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        const bool accepted = std::string(harmless).find(c) != std::string::npos;
        for (const std::string &text : {std::string(1, c), std::string("UTC") + c,
                                        std::string("UTC") + c + "8", std::string(300, 'x') + c}) {
            const char *named = check_input_is_valid(text.c_str(), 1);
            EXPECT_EQ(named == nullptr, accepted) << byte;
            if (named && byte > ' ' && byte < 0x7f) {
                EXPECT_EQ(named, std::string(1, c));
            }
        }
    }
}

TEST(InputCheck, RefusesANullTextAndAnUnknownMode) {
    EXPECT_NE(check_input_is_valid(nullptr, 1), nullptr);
    for (const int mode : {0, 2, -1})
        EXPECT_NE(check_input_is_valid("UTC0", mode), nullptr);
}

// The proof that what is accepted is harmless: through the same shell commands
// that set the login profile, by way of both their branches, it comes out as it
// went in.
TEST(InputCheck, WhatItAcceptsPassesTheShellUnharmed) {
    const temp_folder folder;
    const std::string profile = folder.path() / "profile";
    const std::string result = folder.path() / "result";
    std::ofstream(profile) << "umask 022\n";
    for (const std::string text : {harmless, "-e", "-n", ":.,_", "+", "UTC-8:30"}) {
        ASSERT_EQ(check_input_is_valid(text.c_str(), 1), nullptr);
        const std::string set = "[ ! -z \"$(cat " + profile + " | grep -w TZ)\" ] && sed -i " +
                                "'s/^.*export TZ=.*/export TZ=" + text + "/g' " + profile +
                                " || echo \"export TZ=" + text + "\" >> " + profile;
        ASSERT_EQ(std::system(set.c_str()), 0);
        ASSERT_EQ(std::system((". " + profile + "; printf %s \"$TZ\" >" + result).c_str()), 0);
        std::ifstream read(result);
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(read), {}), text);
        std::ifstream lines(profile);
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(lines), {}),
                  "umask 022\nexport TZ=" + text + "\n");
    }
}

} // namespace
