// SPDX-License-Identifier: GPL-2.0-or-later
#include "status/show.h"

#include <cstdio>
#include <cstring>
#include <string>

#include <arpa/inet.h>

#include <gtest/gtest.h>

#include "common/heap.h"

namespace {

using status = struct horad_client_status;

constexpr std::int64_t second = 1000000;
constexpr std::int64_t now = 1600000000 * second;
constexpr std::int64_t monotonic = 5000 * second;

void append(void *session, const char *text) { *static_cast<std::string *>(session) += text; }

std::string table(const status &client) {
    std::string text;
    show_status_table(&client, now, monotonic, append, &text);
    return text;
}

/// Without the blanks between its words.
std::string json(const status &client) {
    std::string text;
    show_status_json(&client, monotonic, append, &text);
    EXPECT_EQ(text.back(), '\n');
    std::erase_if(text, [](char c) { return c == ' ' || c == '\n'; });
    return text;
}

bool has(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

status resting() {
    status client{};
    client.state = HORAD_CLIENT_RESTING;
    client.server = 2;
    client.address = inet_addr("192.0.2.1");
    std::snprintf(client.server_name, sizeof client.server_name, "two.example");
    client.requests = 4;
    client.last_request = now - 3725 * second;
    client.next_request = monotonic + 90061 * second + second / 2;
    client.answers_used = 2;
    client.answer_time = now - 250000;
    client.answer_address = inet_addr("192.0.2.7");
    client.stepped = -3600;
    client.offset = -3600000123.25;
    client.round_trip = 1250;
    return client;
}

TEST(StatusTable, OfAClientThatIsWell) {
    EXPECT_EQ(table(resting()),
              "State             : resting after a good answer\n"
              "Server            : two.example (192.0.2.1), the secondary\n"
              "Last request      : 2020-09-13 11:24:35 UTC (1 h 2 min ago)\n"
              "Next request      : in 1 d 1 h\n"
              "Last answer       : 2020-09-13 12:26:39 UTC (0 s ago) from 192.0.2.7\n"
              "Offset            : -3600.000123 s (the server's time less ours)\n"
              "Round trip        : 0.001250 s\n"
              "Stepped by        : -3600 s\n"
              "Last failure      : none\n"
              "Requests sent     : 4\n"
              "Answers used      : 2\n"
              "Foreign address   : 0\n"
              "Wrong length      : 0\n"
              "No transmit time  : 0\n"
              "Negative delay    : 0\n"
              "Look-ups failed   : 0\n"
              "Sends failed      : 0\n"
              "Steps refused     : 0\n");
}

TEST(StatusTable, OfAFailure) {
    status client = resting();
    client.state = HORAD_CLIENT_RETRYING;
    client.failures = 1;
    client.failure_time = now + second;
    std::snprintf(client.failure_text, sizeof client.failure_text, "no answer from two.example");
    EXPECT_TRUE(has(table(client), "State             : trying again\n"));
    EXPECT_TRUE(has(table(client), "2020-09-13 12:26:41 UTC (before the clock was stepped "
                                   "back): no answer from two.example\n"));
}

TEST(StatusTable, OfThisVeryMoment) {
    status client = resting();
    client.last_request = now;
    EXPECT_TRUE(has(table(client), "2020-09-13 12:26:40 UTC (0 s ago)\n"));
}

/// Each counter with a number of its own.
status counted() {
    status client{};
    client.requests = 1;
    client.answers_used = 2;
    client.foreign_address = 3;
    client.wrong_length = 4;
    client.no_transmit_time = 5;
    client.negative_delay = 6;
    client.look_ups_failed = 7;
    client.sends_failed = 8;
    client.steps_refused = 9;
    return client;
}

TEST(StatusTable, CountsEachKindByItself) {
    EXPECT_TRUE(table(counted()).ends_with("Requests sent     : 1\n"
                                           "Answers used      : 2\n"
                                           "Foreign address   : 3\n"
                                           "Wrong length      : 4\n"
                                           "No transmit time  : 5\n"
                                           "Negative delay    : 6\n"
                                           "Look-ups failed   : 7\n"
                                           "Sends failed      : 8\n"
                                           "Steps refused     : 9\n"));
}

TEST(StatusTable, NamesEachState) {
    status client{};
    const auto state_of = [&](horad_client_state state) {
        client.state = state;
        const std::string text = table(client);
        return text.substr(20, text.find('\n') - 20);
    };
    EXPECT_EQ(state_of(HORAD_CLIENT_OFF), "off");
    EXPECT_EQ(state_of(HORAD_CLIENT_LOOKING_UP), "looking a server's name up");
    EXPECT_EQ(state_of(HORAD_CLIENT_WAITING), "waiting for an answer");
    EXPECT_EQ(state_of(HORAD_CLIENT_RETRYING), "trying again");
    EXPECT_EQ(state_of(HORAD_CLIENT_RESTING), "resting after a good answer");
    std::snprintf(client.reason, sizeof client.reason, "bind: Address already in use");
    EXPECT_EQ(state_of(HORAD_CLIENT_DEAD), "dead: bind: Address already in use");
}

TEST(StatusTable, SpansHaveTheirTwoLargestUnits) {
    status client = resting();
    const auto next_in = [&](std::int64_t microseconds) {
        client.next_request = monotonic + microseconds;
        const std::string text = table(client);
        const std::size_t at = text.find("Next request") + 20;
        return text.substr(at, text.find('\n', at) - at);
    };
    EXPECT_EQ(next_in(-5), "in 0 s");
    EXPECT_EQ(next_in(59 * second), "in 59 s");
    EXPECT_EQ(next_in(60 * second), "in 1 min 0 s");
    EXPECT_EQ(next_in(3599 * second), "in 59 min 59 s");
    EXPECT_EQ(next_in(3600 * second), "in 1 h 0 min");
    EXPECT_EQ(next_in(604800 * second), "in 7 d 0 h");
}

TEST(StatusJson, OfAClientThatIsWell) {
    EXPECT_EQ(json(resting()),
              R"({"state":"resting","reason":"","server":2,"serverName":"two.example",)"
              R"("serverAddress":"192.0.2.1","lastRequest":"2020-09-13T11:24:35.000000Z",)"
              R"("nextRequestSeconds":90061.5,"lastAnswer":{)"
              R"("time":"2020-09-13T12:26:39.750000Z","address":"192.0.2.7",)"
              R"("offsetMicroseconds":-3600000123.25,"roundTripMicroseconds":1250,)"
              R"("steppedSeconds":-3600},"lastFailure":null,"counters":{"requests":4,)"
              R"("answersUsed":2,"foreignAddress":0,"wrongLength":0,"noTransmitTime":0,)"
              R"("negativeDelay":0,"lookUpsFailed":0,"sendsFailed":0,"stepsRefused":0}})");
}

TEST(StatusJson, OfAClientThatWasNeverOn) {
    EXPECT_TRUE(json(status{.server = 1})
                    .starts_with(R"({"state":"off","reason":"","server":1,"serverName":null,)"
                                 R"("serverAddress":null,"lastRequest":null,)"
                                 R"("nextRequestSeconds":null,"lastAnswer":null,)"
                                 R"("lastFailure":null,"counters":{"requests":0,)"));
}

TEST(StatusJson, IsUtf8) {
    status client = resting();
    client.state = HORAD_CLIENT_DEAD;
    client.failures = 1;
    std::snprintf(client.server_name, sizeof client.server_name, "caf\xE9.example");
    std::snprintf(client.reason, sizeof client.reason, "caf\xE9");
    std::snprintf(client.failure_text, sizeof client.failure_text, "caf\xE9.example:unknown");
    const std::string text = json(client);
    EXPECT_TRUE(has(text, R"("reason":"caf?")")) << text;
    EXPECT_TRUE(has(text, R"("serverName":"caf?.example")")) << text;
    EXPECT_TRUE(has(text, R"("text":"caf?.example:unknown")")) << text;
    // Each text at its longest.
    std::memset(client.failure_text, 'x', sizeof client.failure_text - 1);
    EXPECT_TRUE(has(json(client), std::string(sizeof client.failure_text - 1, 'x')));
}

TEST(StatusJson, CountsEachKindByItself) {
    EXPECT_TRUE(json(counted()).ends_with(
        R"("counters":{"requests":1,"answersUsed":2,"foreignAddress":3,"wrongLength":4,)"
        R"("noTransmitTime":5,"negativeDelay":6,"lookUpsFailed":7,"sendsFailed":8,)"
        R"("stepsRefused":9}})"));
}

TEST(StatusJson, ADeadClientHasAReasonAndNoNextRequest) {
    status client = resting();
    std::snprintf(client.reason, sizeof client.reason, "bind: Permission denied");
    EXPECT_TRUE(has(json(client), R"("reason":"",)"));
    client.state = HORAD_CLIENT_DEAD;
    EXPECT_TRUE(has(json(client), R"("state":"dead","reason":"bind:Permissiondenied",)"));
    EXPECT_TRUE(has(json(client), R"("nextRequestSeconds":null,)"));
}

TEST(StatusJson, AFailureWithWhatAnOperatorTyped) {
    status client = resting();
    client.failures = 1;
    client.failure_time = -1; // a clock that was never set
    std::snprintf(client.failure_text, sizeof client.failure_text, "a\"b\\c: Unknown");
    EXPECT_TRUE(
        has(json(client),
            R"("lastFailure":{"time":"1969-12-31T23:59:59.999999Z","text":"a\"b\\c:Unknown"})"));
}

TEST(StatusJson, NumbersHaveNoMorePlacesThanTheyNeed) {
    status client = resting();
    client.offset = 2.22025e9;
    client.round_trip = 8199.9998;
    EXPECT_TRUE(
        has(json(client), R"("offsetMicroseconds":2220250000,"roundTripMicroseconds":8200,)"));
    client.offset = -0.125;
    client.round_trip = -1.7e15;
    EXPECT_TRUE(has(json(client),
                    R"("offsetMicroseconds":-0.125,"roundTripMicroseconds":-1700000000000000,)"));
}

TEST(StatusJson, LeavesNoMemoryBehind) {
    json(resting());
    const std::size_t before = heap_in_use();
    for (int i = 0; i < 100; ++i)
        json(resting());
    EXPECT_LT(heap_in_use(), before + 8192);
}

TEST(StatusJson, ATimeOverdueIsNow) {
    status client = resting();
    client.next_request = monotonic - second;
    EXPECT_TRUE(has(json(client), R"("nextRequestSeconds":0,)"));
}

} // namespace
