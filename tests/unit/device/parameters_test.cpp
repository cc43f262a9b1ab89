// SPDX-License-Identifier: GPL-2.0-or-later
#include <deque>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include <command_graph.h>

#include "cli_helper/cli_helper.h"

namespace {

// The words of a command line as libfrr hands them to a handler.
class words {
  public:
    words &keyword(const char *defined, const char *typed) { return add(WORD_TKN, defined, typed); }
    words &keyword(const char *word) { return keyword(word, word); }
    words &value(const char *typed) { return add(VARIABLE_TKN, "HOST", typed); }

    const char *find(const char *keyword) {
        left = static_cast<int>(pointers_.size());
        rest = pointers_.data();
        return cmd_parase_parameters(&left, &rest, keyword, 0);
    }
    // How many words find() skipped.
    std::ptrdiff_t skipped() const { return rest - pointers_.data(); }

    int left = 0;
    cmd_token **rest = nullptr;

  private:
    words &add(cmd_token_type type, const char *defined, const char *typed) {
        cmd_token token{};
        token.type = type;
        token.text = texts_.emplace_back(defined).data();
        token.arg = texts_.emplace_back(typed).data();
        pointers_.push_back(&tokens_.emplace_back(token));
        return *this;
    }
    std::deque<std::string> texts_;
    std::deque<cmd_token> tokens_;
    std::vector<cmd_token *> pointers_;
};

TEST(Parameters, FindsTheValueAndLeavesItFirst) {
    words line;
    line.keyword("ntp").keyword("server").value("10.0.0.1").value("10.0.0.2");
    EXPECT_STREQ(line.find("server"), "10.0.0.1");
    EXPECT_EQ(line.left, 2);
    EXPECT_EQ(line.skipped(), 2);
    EXPECT_STREQ(line.rest[0]->arg, "10.0.0.1");
    EXPECT_STREQ(line.rest[1]->arg, "10.0.0.2");
}

TEST(Parameters, TellsOneValueFromTwo) {
    words line;
    line.keyword("ntp").keyword("server").value("time");
    EXPECT_STREQ(line.find("server"), "time");
    EXPECT_EQ(line.left, 1);
}

TEST(Parameters, FindsAnAbbreviatedKeyword) {
    words line;
    line.keyword("ntp", "n").keyword("server", "serv").value("time");
    EXPECT_STREQ(line.find("server"), "time");
}

TEST(Parameters, TakesNoValueForAKeyword) {
    words line;
    line.keyword("ntp").keyword("server").value("server").value("second");
    EXPECT_STREQ(line.find("server"), "server");
    EXPECT_EQ(line.left, 2);

    words other;
    other.keyword("host").value("server").value("second");
    EXPECT_EQ(other.find("server"), nullptr);
    EXPECT_EQ(other.find("HOST"), nullptr); // the name of a value in the definition
}

TEST(Parameters, TakesNoLongerOrShorterKeyword) {
    words line;
    line.keyword("no").keyword("second").keyword("ntp").keyword("server2").value("time");
    EXPECT_EQ(line.find("server"), nullptr);
    EXPECT_EQ(line.find("server22"), nullptr);
    EXPECT_STREQ(line.find("server2"), "time");
    EXPECT_EQ(line.skipped(), 4);
}

TEST(Parameters, WithoutAValueNothingMoves) {
    words line;
    line.keyword("no").keyword("second").keyword("ntp").keyword("server2");
    EXPECT_EQ(line.find("server2"), nullptr);
    EXPECT_EQ(line.left, 4);
    EXPECT_EQ(line.skipped(), 0);
    EXPECT_EQ(words().find("server"), nullptr);
}

TEST(Parameters, WithoutWordsThereIsNothing) {
    int count = 3;
    cmd_token **none = nullptr;
    EXPECT_EQ(cmd_parase_parameters(nullptr, &none, "server", 0), nullptr);
    EXPECT_EQ(cmd_parase_parameters(&count, nullptr, "server", 0), nullptr);
    EXPECT_EQ(cmd_parase_parameters(&count, &none, "server", 0), nullptr);
    cmd_token *nobody = nullptr;
    cmd_token **words = &nobody;
    EXPECT_EQ(cmd_parase_parameters(nullptr, &words, "server", 0), nullptr);
    EXPECT_EQ(cmd_parase_parameters(&count, &words, nullptr, 0), nullptr);
}

} // namespace
