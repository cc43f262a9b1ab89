// SPDX-License-Identifier: GPL-2.0-or-later
#include "status/journal.h"

#include <cstdio>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <syslog.h>

#include <gtest/gtest.h>

namespace {

using lines = std::vector<std::string>;

lines written;

void write(int priority, const char *text) {
    const char *const names[] = {"emerg", "alert", "crit", "error", "warning", "notice", "info"};
    written.push_back(std::string(names[priority]) + " " + text);
}

/// A journal with the client in front of it.
class Journal : public testing::Test {
  protected:
    Journal() {
        client.server = 1;
        std::snprintf(client.server_name, sizeof client.server_name, "one.example");
        written.clear();
    }

    lines look() {
        written.clear();
        next = journal_look(&seen, &client, now, write);
        return written;
    }
    void request() {
        client.state = HORAD_CLIENT_WAITING;
        ++client.requests;
    }
    void fail(horad_client_failure failure, const char *text,
              horad_client_state state = HORAD_CLIENT_RETRYING) {
        client.state = state;
        client.failure = failure;
        ++client.failures;
        std::snprintf(client.failure_text, sizeof client.failure_text, "%s", text);
    }
    void answer(int stepped = 3) {
        client.state = HORAD_CLIENT_RESTING;
        ++client.answers_used;
        client.answer_address = inet_addr("192.0.2.1");
        client.stepped = stepped;
        client.offset = stepped * 1e6;
        client.round_trip = 1250;
    }

    struct journal seen {};
    struct horad_client_status client {};
    std::int64_t now = 1000; // seconds
    std::int64_t next = -1;
};

const char step[] = "notice clock stepped by +3 s to the time of 192.0.2.1: offset +3.000000 s, "
                    "round trip 0.001250 s";

TEST_F(Journal, NothingNewIsNoLine) {
    EXPECT_EQ(look(), lines{});
    request();
    EXPECT_EQ(look(), lines{});
    EXPECT_EQ(next, 0);
}

TEST_F(Journal, AStepIsALine) {
    request();
    look();
    answer();
    EXPECT_EQ(look(), lines{step});
    EXPECT_EQ(look(), lines{});
}

TEST_F(Journal, AFailureIsAWarningWhenItBeginsAndWhenItEnds) {
    request();
    look();
    fail(HORAD_FAILURE_NO_ANSWER, "no answer from one.example");
    EXPECT_EQ(look(), lines{"warning no time is to be had: no answer from one.example"});
    now += 120;
    fail(HORAD_FAILURE_NO_ANSWER, "no answer from one.example");
    EXPECT_EQ(look(), lines{});
    now += 120;
    answer();
    EXPECT_EQ(look(), (lines{step, "warning time is to be had again, after 240 s"}));
}

TEST_F(Journal, EachKindOfFailureHasItsLine) {
    fail(HORAD_FAILURE_LOOK_UP, "one.example: Unknown host");
    EXPECT_EQ(look(), lines{"warning no time is to be had: one.example: Unknown host"});
    fail(HORAD_FAILURE_SEND, "sendto two.example: Network is unreachable");
    EXPECT_EQ(look(),
              lines{"warning no time is to be had: sendto two.example: Network is unreachable"});
    fail(HORAD_FAILURE_LOOK_UP, "one.example: Unknown host");
    EXPECT_EQ(look(), lines{});
}

TEST_F(Journal, ASecondTroubleIsToldAnew) {
    fail(HORAD_FAILURE_NO_ANSWER, "first");
    look();
    now += 100;
    answer();
    look();
    now += 604800;
    fail(HORAD_FAILURE_NO_ANSWER, "second");
    EXPECT_EQ(look(), lines{"warning no time is to be had: second"});
}

TEST_F(Journal, WhatFailsAfterAGoodAnswerIsNoTrouble) {
    answer();
    look();
    fail(HORAD_FAILURE_LOOK_UP, "one.example: Unknown host", HORAD_CLIENT_RESTING);
    EXPECT_EQ(look(), lines{});
}

TEST_F(Journal, SwitchingOffEndsATrouble) {
    fail(HORAD_FAILURE_NO_ANSWER, "silence");
    look();
    now += 5;
    client.state = HORAD_CLIENT_OFF;
    EXPECT_EQ(look(), lines{"warning NTP is switched off, with no time to be had for 5 s"});
    EXPECT_EQ(look(), lines{});
}

TEST_F(Journal, ADeadClientIsAnErrorOnce) {
    fail(HORAD_FAILURE_START, "bind: Address already in use", HORAD_CLIENT_DEAD);
    std::snprintf(client.reason, sizeof client.reason, "bind: Address already in use");
    EXPECT_EQ(look(), lines{"error no time is to be had until horad is restarted: "
                            "bind: Address already in use"});
    EXPECT_EQ(look(), lines{});
}

TEST_F(Journal, AThreadThatCannotBeCreatedIsAWarning) {
    fail(HORAD_FAILURE_START, "pthread_create: Resource temporarily unavailable", HORAD_CLIENT_OFF);
    EXPECT_EQ(look(), lines{"warning NTP was not switched on: pthread_create: Resource "
                            "temporarily unavailable"});
}

TEST_F(Journal, TurningToTheOtherServerIsALine) {
    request();
    look();
    client.server = 2;
    std::snprintf(client.server_name, sizeof client.server_name, "two.example");
    EXPECT_EQ(look(), lines{"notice turning to the secondary server, two.example"});
    now += 60;
    client.server = 1;
    std::snprintf(client.server_name, sizeof client.server_name, "one.example");
    EXPECT_EQ(look(), lines{"notice turning to the primary server, one.example"});
}

TEST_F(Journal, SwitchingOffIsNoTurn) {
    request();
    client.server = 2;
    look();
    client.state = HORAD_CLIENT_OFF;
    client.server = 1;
    EXPECT_EQ(look(), lines{});
}

TEST_F(Journal, StrangersAreOneLineAMinuteWithTheirNumber) {
    client.foreign_address = 1;
    const std::string line = "notice datagram dropped: it is from another address than one.example";
    EXPECT_EQ(look(), lines{line});
    client.foreign_address = 501;
    EXPECT_EQ(look(), lines{});
    EXPECT_EQ(next, 60);
    now += 59;
    client.foreign_address = 601;
    EXPECT_EQ(look(), lines{});
    EXPECT_EQ(next, 1);
    now += 1;
    EXPECT_EQ(look(), lines{"notice 600 more datagrams from other addresses"});
    EXPECT_EQ(next, 0);
    now += 60;
    EXPECT_EQ(look(), lines{});
    client.foreign_address = 602;
    EXPECT_EQ(look(), lines{line});
}

TEST_F(Journal, SeveralAtOnceAreOneLineAndANumber) {
    answer();
    client.answers_used = 5;
    EXPECT_EQ(look(), lines{step});
    EXPECT_EQ(next, 60);
    now += 60;
    EXPECT_EQ(look(), lines{"notice 4 more steps of the clock"});
}

TEST_F(Journal, TheFirstMinuteThatEndsIsWaitedFor) {
    answer();
    client.answers_used = 2;
    look();
    now += 30;
    client.foreign_address = 2;
    look();
    EXPECT_EQ(next, 30);
    now += 30;
    EXPECT_EQ(look(), lines{"notice 1 more step of the clock"});
    EXPECT_EQ(next, 30);
}

TEST_F(Journal, DatagramsOfAWrongLengthPutTheNextRequestOff) {
    fail(HORAD_FAILURE_WRONG_LENGTH, "datagram of 47 bytes from 198.51.100.7",
         HORAD_CLIENT_WAITING);
    EXPECT_EQ(look(), lines{"notice datagram of 47 bytes from 198.51.100.7 puts the next request "
                            "off"});
    answer();
    EXPECT_EQ(look(), lines{step}); // and no end of a trouble
}

TEST_F(Journal, AnImpossibleDelayIsAStepAndAFailure) {
    answer();
    client.negative_delay = 1;
    fail(HORAD_FAILURE_NEGATIVE_DELAY, "impossible delay");
    EXPECT_EQ(look(), (lines{"warning no time is to be had: impossible delay", step}));
}

} // namespace
