// SPDX-License-Identifier: GPL-2.0-or-later
#include "arguments.h"

#include <gtest/gtest.h>

#include "failure.h"

namespace {

arguments parse(std::vector<std::string> words, const char *database = nullptr) {
    words.insert(words.begin(), "horadctl");
    std::vector<char *> argv;
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    return parse_arguments(static_cast<int>(words.size()), argv.data(), database);
}

std::string refusal(const std::vector<std::string> &words) {
    try {
        parse(words);
    } catch (const failure &trouble) {
        EXPECT_EQ(trouble.status, not_well);
        return trouble.what();
    }
    return "none";
}

using lines = std::vector<std::string>;

TEST(Arguments, NothingMeansTheInput) {
    const arguments given = parse({});
    EXPECT_EQ(given.what, action::input);
    EXPECT_EQ(given.socket, "/run/horad/horad.vty");
    EXPECT_EQ(given.database, "/var/lib/horad/config.db");
}

TEST(Arguments, WordsAreOneLine) {
    const arguments given = parse({"--socket", "/s", "show", "ntp", "json"});
    EXPECT_EQ(given.what, action::lines);
    EXPECT_EQ(given.lines, lines{"show ntp json"});
    EXPECT_EQ(given.socket, "/s");
}

TEST(Arguments, OptionsAfterAWordAreWords) {
    EXPECT_EQ(parse({"show", "-c", "--json"}).lines, lines{"show -c --json"});
}

TEST(Arguments, ADoubleDashMakesWordsOfOwnCommands) {
    EXPECT_EQ(parse({"--", "wait", "here"}).lines, lines{"wait here"});
}

TEST(Arguments, LinesRepeatInOrder) {
    const arguments given = parse({"-c", "ntp enable", "-cshow ntp", "-c", ""});
    EXPECT_EQ(given.what, action::lines);
    EXPECT_EQ(given.lines, (lines{"ntp enable", "show ntp", ""}));
}

TEST(Arguments, WordsAndLinesExcludeEachOther) {
    for (const char *word : {"show", "status", "steps", "wait"})
        EXPECT_EQ(refusal({"-c", "x", word}),
                  "give either words or -c, not both: see horadctl --help");
}

TEST(Arguments, HelpAndVersionWin) {
    EXPECT_EQ(parse({"--help"}).what, action::help);
    EXPECT_EQ(parse({"-h", "--bogus"}).what, action::help);
    EXPECT_EQ(parse({"-V"}).what, action::version);
    EXPECT_EQ(parse({"--version"}).what, action::version);
    EXPECT_EQ(parse({"-c", "x", "--version"}).what, action::version);
    EXPECT_EQ(parse({"steps", "--help"}).what, action::help);
    EXPECT_EQ(parse({"wait", "-V"}).what, action::version);
}

TEST(Arguments, Status) {
    const arguments given = parse({"status", "--json", "--socket=/s", "--database", "/d"});
    EXPECT_EQ(given.what, action::status);
    EXPECT_TRUE(given.json);
    EXPECT_EQ(given.socket, "/s");
    EXPECT_EQ(given.database, "/d");
    EXPECT_FALSE(parse({"status"}).json);
}

TEST(Arguments, Steps) {
    const arguments given =
        parse({"steps", "--last", "12", "--since", "2026-11-23", "--csv", "--svg", "p.svg"});
    EXPECT_EQ(given.what, action::steps);
    EXPECT_EQ(given.last, 12);
    EXPECT_EQ(given.since, 1795392000);
    EXPECT_TRUE(given.csv);
    EXPECT_EQ(given.picture, "p.svg");
}

TEST(Arguments, Wait) {
    EXPECT_EQ(parse({"wait"}).timeout, std::nullopt);
    EXPECT_EQ(parse({"wait", "--timeout", "0"}).timeout, std::chrono::milliseconds{0});
    EXPECT_EQ(parse({"wait", "--timeout", "2.5"}).timeout, std::chrono::milliseconds{2500});
    EXPECT_EQ(parse({"wait", "--timeout", "1000000000"}).timeout, std::chrono::seconds{1000000000});
}

TEST(Arguments, TheEnvironmentNamesTheDatabaseUnlessAnOptionDoes) {
    EXPECT_EQ(parse({"steps"}, "/e").database, "/e");
    EXPECT_EQ(parse({"steps", "--database", "/d"}, "/e").database, "/d");
    EXPECT_EQ(parse({"steps"}, "").database, "/var/lib/horad/config.db");
}

TEST(Arguments, RefusalsSayWhatAndWhereToLook) {
    EXPECT_EQ(refusal({"--bogus"}), "unknown or ambiguous option --bogus: see horadctl --help");
    EXPECT_EQ(refusal({"-x"}), "unknown or ambiguous option -x: see horadctl --help");
    EXPECT_EQ(refusal({"steps", "-c", "x"}), "unknown or ambiguous option -c: see horadctl --help");
    EXPECT_EQ(refusal({"steps", "--s", "x"}),
              "unknown or ambiguous option --s: see horadctl --help");
    EXPECT_EQ(refusal({"-c"}), "option -c wants a value: see horadctl --help");
    EXPECT_EQ(refusal({"--socket"}), "option --socket wants a value: see horadctl --help");
    EXPECT_EQ(refusal({"steps", "--last"}), "option --last wants a value: see horadctl --help");
    EXPECT_EQ(refusal({"status", "now"}), "unknown word now: see horadctl --help");
    EXPECT_EQ(refusal({"status", "--csv"}),
              "unknown or ambiguous option --csv: see horadctl --help");
    EXPECT_EQ(refusal({"steps", "--json", "--csv"}),
              "give either --json or --csv, not both: see horadctl --help");
}

TEST(Arguments, ValuesAreWholeNumbersAndTimes) {
    for (const char *value : {"0", "-1"})
        EXPECT_EQ(refusal({"steps", "--last", value}),
                  "--last wants a number from 1 on: see horadctl --help");
    for (const char *value : {"", "x", "1x", " 1", "1.5", "99999999999999999999"})
        EXPECT_EQ(refusal({"steps", "--last", value}),
                  std::string("--last ") + value + " is no number: see horadctl --help");
    for (const char *value : {"-1", "nan", "inf", "1e10"})
        EXPECT_EQ(refusal({"wait", "--timeout", value}),
                  "--timeout wants seconds from 0 to 1000000000: see horadctl --help");
    EXPECT_EQ(refusal({"wait", "--timeout", "5s"}),
              "--timeout 5s is no number: see horadctl --help");
    EXPECT_EQ(refusal({"steps", "--since", "yesterday"}),
              "--since yesterday is no time; give UTC as 2026-11-23 or 2026-11-23T08:00:00Z: "
              "see horadctl --help");
    EXPECT_EQ(refusal({"steps", "--svg", ""}), "--svg wants a file's name: see horadctl --help");
    EXPECT_EQ(refusal({"wait", "--database", ""}),
              "--database wants a file's name: see horadctl --help");
}

} // namespace
