// SPDX-License-Identifier: GPL-2.0-or-later
#include "status_answer.h"

#include <gtest/gtest.h>

#include "failure.h"

namespace {

client_state state_of(const std::string &state, const std::string &last_answer) {
    return parse_client_state(R"({"state":")" + state + R"(","lastAnswer":)" + last_answer + "}");
}

constexpr char answer[] = R"({"time":"2026-11-23T08:00:00Z","address":"10.0.0.2"})";

TEST(StatusAnswer, EveryStateButTwoIsRunning) {
    for (const char *state : {"lookingUp", "waiting", "retrying", "resting"})
        EXPECT_TRUE(state_of(state, "null").is_running) << state;
    for (const char *state : {"off", "dead", ""})
        EXPECT_FALSE(state_of(state, answer).is_running) << state;
}

TEST(StatusAnswer, AnAnswerIsOneByWhichTheClockWasSet) {
    EXPECT_TRUE(state_of("resting", answer).has_set_clock);
    EXPECT_FALSE(state_of("resting", "null").has_set_clock);
    EXPECT_FALSE(parse_client_state(R"({"state":"resting"})").has_set_clock);
}

TEST(StatusAnswer, WhatIsNoObjectIsRefused) {
    for (const char *text : {"", "% Unknown command", "[1]", "null", R"({"state":)"})
        EXPECT_THROW(static_cast<void>(parse_client_state(text)), failure) << text;
}

TEST(StatusAnswer, TheConfigurationHasServersAndState) {
    const known_facts facts = parse_configuration(
        R"({"status":true,"server":"a.example","secondServer":"","continentCity":"x"})");
    EXPECT_TRUE(facts.enabled);
    EXPECT_EQ(facts.server, "a.example");
    EXPECT_EQ(facts.second_server, "");
    EXPECT_FALSE(parse_configuration(R"({"status":false})").enabled);
    EXPECT_THROW(static_cast<void>(parse_configuration("no")), failure);
}

known_facts some_facts() {
    known_facts facts;
    facts.enabled = true;
    facts.server = "a.example";
    facts.second_server = "0.0.0.0";
    facts.port = port_holder::another;
    facts.last_step = step{1795420800, -2};
    return facts;
}

TEST(StatusAnswer, FactsAsText) {
    EXPECT_EQ(facts_as_text(some_facts()),
              "State          unknown: the module horad_status is not loaded (option -M "
              "horad_status)\n"
              "NTP            on\n"
              "Servers        a.example, 0.0.0.0\n"
              "UDP port 123   held by another program\n"
              "Last step      2026-11-23T08:00:00Z, by -2 s\n");
}

TEST(StatusAnswer, FactsAsTextWithoutAStep) {
    known_facts facts = some_facts();
    facts.last_step.reset();
    EXPECT_NE(facts_as_text(facts).find("Last step      none\n"), std::string::npos);
    facts.database_trouble = "d: locked: try again";
    EXPECT_NE(facts_as_text(facts).find("Last step      unknown: d: locked: try again\n"),
              std::string::npos);
}

TEST(StatusAnswer, FactsAsJson) {
    EXPECT_EQ(facts_as_json(some_facts()), R"({
  "state":"unknown",
  "reason":"the module horad_status is not loaded",
  "enabled":true,
  "servers":[
    "a.example",
    "0.0.0.0"
  ],
  "portHolder":"another program",
  "lastStep":{
    "time":"2026-11-23T08:00:00Z",
    "seconds":-2
  },
  "databaseTrouble":null
}
)");
}

TEST(StatusAnswer, FactsAsJsonAreUtf8) {
    known_facts facts = some_facts();
    facts.server = "caf\xE9.example";
    facts.database_trouble = "/caf\xE9: locked";
    const std::string text = facts_as_json(facts);
    EXPECT_NE(text.find(R"("caf?.example")"), std::string::npos) << text;
    EXPECT_NE(text.find(R"("/caf?: locked")"), std::string::npos) << text;
}

} // namespace
