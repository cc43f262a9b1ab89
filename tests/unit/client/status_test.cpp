// SPDX-License-Identifier: GPL-2.0-or-later
//
// What the client tells of itself, event by event.  Its record lives as long as the
// process: counters are compared with what they were before.
#include "client/status.h"

#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <sys/time.h>

#include "common/child_process.h"
#include "ntp_state.h"

namespace {

using status = struct horad_client_status;

status now() {
    status record{};
    EXPECT_EQ(horad_client_status(&record), 0);
    return record;
}

in_addr address(const char *text) {
    in_addr address{};
    inet_pton(AF_INET, text, &address);
    return address;
}

std::int64_t microseconds(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return time.tv_sec * 1000000 + time.tv_nsec / 1000;
}

/// A client in the middle of its work, and its loop's schedule.
class Status : public testing::Test {
  protected:
    void SetUp() override {
        store_server(g_ntp_var.g_pri_ntp_server, "one.example");
        store_server(g_ntp_var.g_sec_ntp_server, "two.example");
        restart();
        before = now();
    }
    void TearDown() override {
        store_server(g_ntp_var.g_pri_ntp_server, server_not_set);
        store_server(g_ntp_var.g_sec_ntp_server, server_not_set);
        horad_client_watch(nullptr);
    }

    void restart() {
        schedule.on_restart();
        client_status::note_restarted();
        client_status::publish(schedule);
    }
    void look_up(ntp_server server, const char *name, const char *found) {
        client_status::note_look_up(server, name);
        client_status::note_address(address(found));
    }
    /// A request that is answered, or waited for, to the server whose turn it is.
    void request() {
        client_status::note_request_due();
        const bool primary = schedule.ntp_cur_server == ntp_server::primary;
        look_up(schedule.ntp_cur_server, primary ? "one.example" : "two.example",
                primary ? "192.0.2.1" : "192.0.2.2");
        client_status::note_request_sent();
        schedule.on_request_sent(true);
        client_status::publish(schedule);
    }
    void reply(const reply_report &report) {
        client_status::note_reply(report);
        schedule.on_reply(report.outcome, true);
        client_status::publish(schedule);
    }

    poll_schedule schedule;
    status before{};
};

constexpr reply_report good{
    .outcome = reply_outcome::clock_set,
    .stepped = -3600,
    .intervals = {.elapsed = 1500, .stall = 250, .slop = 1250, .skew = -2.5}};

TEST_F(Status, ANullPointerIsRefused) { EXPECT_EQ(horad_client_status(nullptr), -1); }

TEST_F(Status, ARestartTurnsToThePrimary) {
    EXPECT_EQ(before.state, HORAD_CLIENT_RETRYING);
    EXPECT_EQ(before.server, 1);
}

TEST_F(Status, ALookUpIsSeenWhileItLasts) {
    client_status::note_look_up(ntp_server::primary, "slow.example");
    EXPECT_EQ(now().state, HORAD_CLIENT_LOOKING_UP);
    EXPECT_STREQ(now().server_name, "slow.example");
    EXPECT_EQ(now().address, 0U);
    client_status::note_address(address("192.0.2.9"));
    client_status::publish(schedule);
    EXPECT_EQ(now().state, HORAD_CLIENT_RETRYING);
    EXPECT_EQ(now().address, inet_addr("192.0.2.9"));
}

TEST_F(Status, AnAddressIsKeptUntilTheNameIsAnother) {
    look_up(ntp_server::primary, "same.example", "192.0.2.9");
    client_status::note_look_up(ntp_server::primary, "same.example");
    EXPECT_EQ(now().address, inet_addr("192.0.2.9"));
    client_status::note_look_up(ntp_server::primary, "other.example");
    EXPECT_EQ(now().address, 0U);
}

TEST_F(Status, ARequestIsWaitedFor) {
    const std::int64_t sent_after = microseconds(CLOCK_REALTIME);
    const std::int64_t due_after = microseconds(CLOCK_MONOTONIC) + 30000000;
    request();
    const status record = now();
    EXPECT_EQ(record.state, HORAD_CLIENT_WAITING);
    EXPECT_EQ(record.requests, before.requests + 1);
    EXPECT_GE(record.last_request, sent_after);
    EXPECT_LE(record.last_request, microseconds(CLOCK_REALTIME));
    EXPECT_GE(record.next_request, due_after);
    EXPECT_LE(record.next_request, microseconds(CLOCK_MONOTONIC) + 30000000);
    EXPECT_EQ(record.failures, before.failures);
}

TEST_F(Status, AGoodAnswerRests) {
    request();
    const std::int64_t answered_after = microseconds(CLOCK_REALTIME);
    reply(good);
    const status record = now();
    EXPECT_EQ(record.state, HORAD_CLIENT_RESTING);
    EXPECT_EQ(record.answers_used, before.answers_used + 1);
    EXPECT_GE(record.answer_time, answered_after);
    EXPECT_LE(record.answer_time, microseconds(CLOCK_REALTIME));
    EXPECT_EQ(record.answer_address, inet_addr("192.0.2.1"));
    EXPECT_EQ(record.stepped, -3600);
    EXPECT_EQ(record.offset, -2.5);
    EXPECT_EQ(record.round_trip, 1250);
    EXPECT_GT(record.next_request, microseconds(CLOCK_MONOTONIC) + 604790000000);
    EXPECT_EQ(record.failures, before.failures);
}

TEST_F(Status, ASilentServerIsAFailureWhenItsTimeIsUp) {
    request();
    EXPECT_EQ(now().failures, before.failures);
    request();
    const status record = now();
    EXPECT_EQ(record.failures, before.failures + 1);
    EXPECT_EQ(record.failure, HORAD_FAILURE_NO_ANSWER);
    EXPECT_STREQ(record.failure_text, "no answer from one.example (192.0.2.1)");
    EXPECT_LE(record.failure_time, microseconds(CLOCK_REALTIME));
}

TEST_F(Status, TheThirdRequestWasGivenNoTimeForItsAnswer) {
    for (int i = 0; i < 4; ++i)
        request();
    const status record = now();
    EXPECT_EQ(record.requests, before.requests + 4);
    EXPECT_EQ(record.failures, before.failures + 2);
    EXPECT_EQ(record.server, 2);
    EXPECT_STREQ(record.server_name, "two.example");
    EXPECT_EQ(record.address, inet_addr("192.0.2.2"));
}

TEST_F(Status, AStrangerInTheLastSecondDoesNotHideASilence) {
    request();
    schedule.wait = {0, 500000};
    const std::int64_t due_after = microseconds(CLOCK_MONOTONIC) + 500000;
    client_status::note_foreign_address();
    client_status::publish(schedule);
    EXPECT_GE(now().next_request, due_after);
    EXPECT_LE(now().next_request, microseconds(CLOCK_MONOTONIC) + 500000);
    request();
    EXPECT_EQ(now().failure, HORAD_FAILURE_NO_ANSWER);
    EXPECT_EQ(now().failures, before.failures + 1);
}

TEST_F(Status, AServerJustTurnedToHasNoAddressYet) {
    for (int i = 0; i < 3; ++i)
        request();
    EXPECT_EQ(now().server, 2);
    EXPECT_STREQ(now().server_name, "two.example");
    EXPECT_EQ(now().address, 0U);
}

TEST_F(Status, AnAnswerOfLastWeekIsNoSilence) {
    request();
    reply(good);
    request();
    EXPECT_EQ(now().failures, before.failures);
}

TEST_F(Status, AFailedLookUp) {
    client_status::note_request_due();
    client_status::note_look_up(ntp_server::primary, "no.example");
    client_status::note_look_up_failed("Unknown host");
    client_status::note_no_request();
    client_status::publish(schedule);
    EXPECT_EQ(now().state, HORAD_CLIENT_RETRYING);
    EXPECT_EQ(now().look_ups_failed, before.look_ups_failed + 1);
    EXPECT_EQ(now().failure, HORAD_FAILURE_LOOK_UP);
    EXPECT_STREQ(now().failure_text, "no.example: Unknown host");
    EXPECT_EQ(now().requests, before.requests);
}

TEST_F(Status, AFailedLookUpOfASourceLeavesTheRequestOut) {
    request();
    client_status::note_look_up(ntp_server::primary, "one.example");
    client_status::note_look_up_failed("Host name lookup failure");
    client_status::publish(schedule);
    EXPECT_EQ(now().state, HORAD_CLIENT_WAITING);
    EXPECT_EQ(now().look_ups_failed, before.look_ups_failed + 1);
}

TEST(StatusAtFirst, ThePrimaryIsTheServerOfAClientThatIsOff) {
    CHECK_IN_FRESH_PROCESS({
        EXPECT_EQ(now().server, 1);
        EXPECT_EQ(now().state, HORAD_CLIENT_OFF);
    });
}

TEST_F(Status, AFailedSend) {
    look_up(ntp_server::primary, "one.example", "192.0.2.1");
    const std::int64_t earliest = microseconds(CLOCK_REALTIME);
    client_status::note_send_failed(ENETUNREACH);
    const std::int64_t latest = microseconds(CLOCK_REALTIME);
    client_status::note_no_request();
    client_status::publish(schedule);
    EXPECT_EQ(now().state, HORAD_CLIENT_RETRYING);
    EXPECT_EQ(now().sends_failed, before.sends_failed + 1);
    EXPECT_EQ(now().failure, HORAD_FAILURE_SEND);
    EXPECT_STREQ(now().failure_text, "sendto one.example (192.0.2.1): Network is unreachable");
    EXPECT_GE(now().failure_time, earliest);
    EXPECT_LE(now().failure_time, latest);
}

TEST_F(Status, StrangersAndOddLengthsAreCounted) {
    request();
    client_status::note_foreign_address();
    client_status::publish(schedule);
    EXPECT_EQ(now().foreign_address, before.foreign_address + 1);
    EXPECT_EQ(now().failures, before.failures);
    client_status::note_wrong_length(address("198.51.100.7"), 47);
    client_status::publish(schedule);
    EXPECT_EQ(now().wrong_length, before.wrong_length + 1);
    EXPECT_EQ(now().failure, HORAD_FAILURE_WRONG_LENGTH);
    EXPECT_STREQ(now().failure_text, "datagram of 47 bytes from 198.51.100.7");
    EXPECT_EQ(now().state, HORAD_CLIENT_WAITING);
}

TEST_F(Status, RepliesThatCannotBeUsed) {
    request();
    reply({.outcome = reply_outcome::no_transmit_time});
    EXPECT_EQ(now().state, HORAD_CLIENT_RETRYING);
    EXPECT_EQ(now().no_transmit_time, before.no_transmit_time + 1);
    EXPECT_EQ(now().failure, HORAD_FAILURE_NO_TRANSMIT_TIME);
    EXPECT_STREQ(now().failure_text, "reply without a time from one.example (192.0.2.1)");

    reply({.outcome = reply_outcome::clock_refused, .error = EPERM});
    EXPECT_EQ(now().steps_refused, before.steps_refused + 1);
    EXPECT_EQ(now().failure, HORAD_FAILURE_STEP_REFUSED);
    EXPECT_STREQ(now().failure_text, "settimeofday: Operation not permitted");
    EXPECT_EQ(now().answers_used, before.answers_used);
}

TEST_F(Status, ANegativeDelayIsUsedAndAFailure) {
    for (const auto outcome :
         {reply_outcome::negative_delay, reply_outcome::negative_delay_of_two}) {
        restart();
        before = now();
        request();
        reply({.outcome = outcome, .stepped = 5, .intervals = {.slop = -2, .skew = 7}});
        EXPECT_EQ(now().state, HORAD_CLIENT_RETRYING);
        EXPECT_EQ(now().negative_delay, before.negative_delay + 1);
        EXPECT_EQ(now().answers_used, before.answers_used + 1);
        EXPECT_EQ(now().stepped, 5);
        EXPECT_EQ(now().offset, 7);
        EXPECT_EQ(now().round_trip, -2);
        EXPECT_EQ(now().failure, HORAD_FAILURE_NEGATIVE_DELAY);
        EXPECT_STREQ(now().failure_text,
                     "impossible delay of -2 microseconds from one.example (192.0.2.1)");
    }
}

TEST_F(Status, FailuresOfTheLoopAreNamed) {
    client_status::note_receive_failed("select", EBADF);
    client_status::publish(schedule);
    EXPECT_EQ(now().failure, HORAD_FAILURE_RECEIVE);
    EXPECT_STREQ(now().failure_text, "select: Bad file descriptor");
    EXPECT_EQ(now().state, before.state);
}

TEST_F(Status, AThreadThatCannotBeCreatedChangesNothingElse) {
    client_status::note_no_thread(EAGAIN);
    EXPECT_EQ(now().failure, HORAD_FAILURE_START);
    EXPECT_STREQ(now().failure_text, "pthread_create: Resource temporarily unavailable");
    EXPECT_EQ(now().state, before.state);
}

TEST_F(Status, StoppedIsOff) {
    schedule.on_stop();
    client_status::note_stopped();
    client_status::publish(schedule);
    EXPECT_EQ(now().state, HORAD_CLIENT_OFF);
    EXPECT_EQ(now().server, 1);
}

TEST_F(Status, TheLongestNameFits) {
    const std::string longest(server_name_size - 1, 'x');
    client_status::note_look_up(ntp_server::primary, longest.c_str());
    client_status::note_look_up_failed("Unknown host");
    client_status::publish(schedule);
    EXPECT_EQ(now().server_name, longest);
    EXPECT_EQ(now().failure_text, longest + ": Unknown host");

    look_up(ntp_server::primary, longest.c_str(), "192.168.100.200");
    client_status::note_send_failed(ENETUNREACH);
    client_status::publish(schedule);
    EXPECT_EQ(now().failure_text,
              "sendto " + longest + " (192.168.100.200): Network is unreachable");
}

std::atomic<int> calls = 0;

TEST_F(Status, AWatcherIsCalledWhenThereIsSomethingNew) {
    calls = 0;
    horad_client_watch([] { ++calls; });
    client_status::publish(schedule);
    EXPECT_EQ(calls, 0);
    client_status::note_foreign_address();
    EXPECT_EQ(calls, 0);
    client_status::publish(schedule);
    EXPECT_EQ(calls, 1);
    client_status::note_no_thread(EAGAIN);
    EXPECT_EQ(calls, 2);
    client_status::note_look_up(ntp_server::primary, "ntp1.lab");
    EXPECT_EQ(calls, 2);
    horad_client_watch(nullptr);
    client_status::note_foreign_address();
    client_status::publish(schedule);
    EXPECT_EQ(calls, 2);
}

TEST_F(Status, ReadersNeverSeeHalfOfTwoEvents) {
    const auto step_by = [this](int seconds) {
        const double value = seconds;
        reply({.outcome = reply_outcome::clock_set,
               .stepped = seconds,
               .intervals = {.slop = value, .skew = value}});
    };
    step_by(0);
    std::atomic<bool> is_over = false;
    std::atomic<int> reads = 0;
    std::thread reader([&] {
        for (; !is_over; ++reads) {
            const status record = now();
            EXPECT_EQ(record.offset, record.stepped);
            EXPECT_EQ(record.round_trip, record.stepped);
        }
    });
    for (int i = 0; reads < 20000 || i < 20000; ++i)
        step_by(i % 1000);
    is_over = true;
    reader.join();
}

std::atomic<int> written = 0;

/// In the place of a client thread that publishes twice while a reader is stopped.
void publish_twice(int /*signal*/) {
    static const poll_schedule nothing_due;
    for (int i = 0; i < 2; ++i) {
        const int seconds = ++written;
        const double value = seconds;
        client_status::note_reply({.outcome = reply_outcome::clock_set,
                                   .stepped = seconds,
                                   .intervals = {.slop = value, .skew = value}});
        client_status::publish(nothing_due);
    }
    const itimerval soon{.it_interval = {}, .it_value = {0, 20}};
    if (written < 4000)
        setitimer(ITIMER_REAL, &soon, nullptr);
}

TEST_F(Status, AReaderThatWasStoppedMeanwhileReadsAgain) {
    std::signal(SIGALRM, publish_twice);
    publish_twice(0);
    bool is_whole = true;
    while (is_whole && written < 4000) {
        const status record = now();
        is_whole = record.offset == record.stepped && record.round_trip == record.stepped;
    }
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    std::signal(SIGALRM, SIG_DFL);
    EXPECT_TRUE(is_whole);
}

// Last: it is the end of the client.
TEST_F(Status, WithoutItsSocketItIsDead) {
    client_status::note_dead("bind", EADDRINUSE);
    EXPECT_EQ(now().state, HORAD_CLIENT_DEAD);
    EXPECT_STREQ(now().reason, "bind: Address already in use");
    EXPECT_EQ(now().failure, HORAD_FAILURE_START);
    EXPECT_STREQ(now().failure_text, "bind: Address already in use");
}

} // namespace
