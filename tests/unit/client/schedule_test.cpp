// SPDX-License-Identifier: GPL-2.0-or-later
//
// The schedule in virtual time: days of polling as plain function calls.
#include "client/schedule.h"

#include <functional>
#include <ostream>
#include <vector>

#include <gtest/gtest.h>

namespace {

struct sent_request {
    int at; ///< seconds since the start
    ntp_server to;
    friend bool operator==(const sent_request &, const sent_request &) = default;
    friend std::ostream &operator<<(std::ostream &out, const sent_request &request) {
        return out << server_tag(request.to) << "@" << request.at;
    }
};

constexpr auto pri = ntp_server::primary;
constexpr auto sec = ntp_server::secondary;

/// Runs a schedule as the loop does, each wait in no time.
struct simulation {
    poll_schedule schedule;
    bool has_secondary = true;
    int now = 0;
    int switches = 0;
    std::vector<sent_request> requests;
    /// Whether the request can be sent at all.
    std::function<bool()> can_send = [] { return true; };
    /// What the server does right after a request; nothing by default.
    std::function<void(simulation &)> answer = [](simulation &) {};

    void run_until(int end) {
        while (now + schedule.wait.tv_sec <= end) {
            now += static_cast<int>(schedule.wait.tv_sec);
            schedule.wait = {0, 0};
            if (schedule.on_idle() != idle_action::send_request)
                continue;
            requests.push_back({now, schedule.ntp_cur_server});
            if (!can_send()) {
                switches += schedule.on_request_failed(has_secondary);
            } else {
                switches += schedule.on_request_sent(has_secondary);
                answer(*this);
            }
        }
        schedule.wait.tv_sec -= end - now;
        now = end;
    }
};

using requests = std::vector<sent_request>;

TEST(Schedule, StartsAtOnceWithThePrimary) {
    simulation run;
    run.run_until(0);
    EXPECT_EQ(run.requests, (requests{{0, pri}}));
}

TEST(Schedule, TwoSilentServersTakeTurns) {
    simulation run;
    run.run_until(500);
    EXPECT_EQ(run.requests, (requests{{0, pri},
                                      {30, pri},
                                      {150, pri},
                                      {150, sec},
                                      {180, sec},
                                      {300, sec},
                                      {300, pri},
                                      {330, pri},
                                      {450, pri},
                                      {450, sec},
                                      {480, sec}}));
    EXPECT_EQ(run.switches, 3);
}

TEST(Schedule, OneSilentServerIsAskedEveryTwoMinutes) {
    simulation run;
    run.has_secondary = false;
    run.run_until(700);
    EXPECT_EQ(
        run.requests,
        (requests{
            {0, pri}, {30, pri}, {150, pri}, {270, pri}, {390, pri}, {510, pri}, {630, pri}}));
    EXPECT_EQ(run.switches, 0);
}

TEST(Schedule, ASecondaryAppearingLateTakesTheNextTurn) {
    simulation run;
    run.has_secondary = false;
    run.run_until(400);
    run.has_secondary = true;
    run.run_until(550);
    EXPECT_EQ((requests{run.requests.end() - 3, run.requests.end()}),
              (requests{{510, pri}, {510, sec}, {540, sec}}));
}

TEST(Schedule, AGoodReplyBuysAWeek) {
    simulation run;
    run.answer = [](simulation &s) {
        s.schedule.on_reply(reply_outcome::clock_set, s.has_secondary);
    };
    run.run_until(604799);
    EXPECT_EQ(run.requests, (requests{{0, pri}}));
    run.run_until(604800);
    EXPECT_EQ(run.requests, (requests{{0, pri}, {604800, pri}}));
}

TEST(Schedule, GoodRepliesDoNotResetTheCount) {
    simulation run;
    run.answer = [](simulation &s) {
        s.schedule.on_reply(reply_outcome::clock_set, s.has_secondary);
    };
    run.run_until(4 * 604800);
    // The third counted request changes servers, answered or not; what follows
    // at once is the loop's to decide: here the answer to it came first.
    EXPECT_EQ(run.requests,
              (requests{{0, pri}, {604800, pri}, {1209600, pri}, {1814400, sec}, {2419200, sec}}));
    EXPECT_EQ(run.switches, 1);
}

TEST(Schedule, TheThirdCountedRequestIsFollowedAtOnceByTheOtherServer) {
    simulation run;
    int replies = 0;
    run.answer = [&](simulation &s) {
        if (++replies <= 2)
            s.schedule.on_reply(reply_outcome::clock_set, s.has_secondary);
    };
    run.run_until(2 * 604800);
    EXPECT_EQ(run.requests, (requests{{0, pri}, {604800, pri}, {1209600, pri}, {1209600, sec}}));
}

TEST(Schedule, AfterAGoodReplyAnAnswerIsAwaitedForTwoMinutes) {
    simulation run;
    bool silent = false;
    run.has_secondary = false;
    run.answer = [&](simulation &s) {
        if (!silent)
            s.schedule.on_reply(reply_outcome::clock_set, s.has_secondary);
        silent = true;
    };
    run.run_until(604800 + 120);
    EXPECT_EQ(run.requests, (requests{{0, pri}, {604800, pri}, {604920, pri}}));
}

TEST(Schedule, FailedRequestsSwitchEveryTime) {
    simulation run;
    run.can_send = [] { return false; };
    run.run_until(360);
    EXPECT_EQ(run.requests, (requests{{0, pri}, {120, sec}, {240, pri}, {360, sec}}));
    EXPECT_EQ(run.switches, 4);
    EXPECT_EQ(run.schedule.unanswered_requests, 0);
    EXPECT_TRUE(run.schedule.first_request);
}

TEST(Schedule, FailedRequestsWithOneServerStayWithIt) {
    simulation run;
    run.has_secondary = false;
    run.can_send = [] { return false; };
    run.run_until(240);
    EXPECT_EQ(run.requests, (requests{{0, pri}, {120, pri}, {240, pri}}));
    EXPECT_EQ(run.switches, 0);
}

TEST(Schedule, AFailedRequestLeavesTheCountAndTheFirstFlag) {
    simulation run;
    run.run_until(30); // two requests sent to the primary
    run.can_send = [] { return false; };
    run.run_until(150); // the third fails: to the secondary in two minutes
    EXPECT_EQ(run.schedule.unanswered_requests, 2);
    EXPECT_FALSE(run.schedule.first_request);
    run.can_send = [] { return true; };
    run.run_until(270); // counted as the third: back to the primary at once
    EXPECT_EQ(run.requests, (requests{{0, pri}, {30, pri}, {150, pri}, {270, sec}, {270, pri}}));
}

TEST(Schedule, RestartBeginsAgainWithThePrimaryAtOnce) {
    simulation run;
    run.run_until(200); // the secondary's turn
    ASSERT_EQ(run.schedule.ntp_cur_server, sec);
    run.requests.clear();
    run.schedule.on_restart();
    run.run_until(350);
    EXPECT_EQ(run.requests, (requests{{200, pri}, {230, pri}, {350, pri}, {350, sec}}));
}

TEST(Schedule, StopSilencesAndAWeekChangesNothing) {
    simulation run;
    run.run_until(200);
    run.requests.clear();
    run.schedule.on_stop();
    EXPECT_EQ(run.schedule.wait.tv_sec, wait_week);
    EXPECT_EQ(run.schedule.ntp_cur_server, pri);
    run.run_until(200 + 5 * wait_week);
    EXPECT_TRUE(run.requests.empty());
    run.schedule.on_restart();
    run.run_until(run.now);
    EXPECT_EQ(run.requests, (requests{{200 + 5 * wait_week, pri}}));
}

TEST(Schedule, ADatagramWhileStoppedOnlyRearmsTheWait) {
    poll_schedule schedule;
    schedule.on_stop();
    schedule.wait = {17, 4};
    schedule.on_datagram_while_stopped();
    EXPECT_EQ(schedule.wait.tv_sec, wait_week);
    EXPECT_EQ(schedule.wait.tv_usec, 0);
    EXPECT_TRUE(schedule.ntp_is_stop);
}

constexpr struct {
    reply_outcome outcome;
    int retry;
} unusable[] = {
    {reply_outcome::no_transmit_time, 10},
    {reply_outcome::negative_delay_of_two, 10},
    {reply_outcome::clock_refused, 300},
    {reply_outcome::negative_delay, 300},
};

TEST(Schedule, AnUnusableReplySwitchesWhenThereIsAnother) {
    for (const auto &reply : unusable) {
        simulation run;
        run.answer = [&](simulation &s) {
            s.switches += s.schedule.on_reply(reply.outcome, s.has_secondary);
        };
        run.run_until(reply.retry);
        EXPECT_EQ(run.requests, (requests{{0, pri}, {reply.retry, sec}}));
        EXPECT_EQ(run.switches, 2);
    }
}

TEST(Schedule, AnUnusableReplyOfTheOnlyServerIsRetried) {
    for (const auto &reply : unusable) {
        simulation run;
        run.has_secondary = false;
        run.answer = [&](simulation &s) {
            EXPECT_FALSE(s.schedule.on_reply(reply.outcome, s.has_secondary));
        };
        run.run_until(2 * reply.retry);
        EXPECT_EQ(run.requests, (requests{{0, pri}, {reply.retry, pri}, {2 * reply.retry, pri}}));
    }
}

TEST(Schedule, ABadDatagramPostponesTheNextRequest) {
    simulation run;
    run.answer = [](simulation &s) { s.schedule.on_bad_length(); };
    run.run_until(300);
    EXPECT_EQ(run.requests, (requests{{0, pri}, {300, pri}}));
}

TEST(Schedule, AnInterruptKeepsTheTimeLeft) {
    poll_schedule schedule;
    schedule.wait = {17, 250000};
    schedule.on_interrupted();
    EXPECT_EQ(schedule.wait.tv_sec, 17);
    EXPECT_EQ(schedule.wait.tv_usec, 250000);
}

TEST(Schedule, AnInterruptInTheLastSecondWaitsTwoMinutesMore) {
    poll_schedule schedule;
    schedule.wait = {0, 250000};
    schedule.on_interrupted();
    EXPECT_EQ(schedule.wait.tv_sec, 120);
    EXPECT_EQ(schedule.wait.tv_usec, 0);
}

TEST(Schedule, AFailedSelectSendsOnlyWithNoneOrAllOfTheWaitLeft) {
    for (const auto &[left, action] : {std::pair{0, idle_action::send_request},
                                       {120, idle_action::send_request},
                                       {119, idle_action::keep_waiting},
                                       {30, idle_action::keep_waiting},
                                       {wait_week, idle_action::keep_waiting}}) {
        poll_schedule schedule;
        schedule.wait = {left, 0};
        EXPECT_EQ(schedule.on_idle(), action) << left;
        EXPECT_EQ(schedule.wait.tv_sec, left);
    }
}

TEST(Schedule, AFailedSelectWhileStoppedStaysStopped) {
    poll_schedule schedule;
    schedule.on_stop();
    schedule.wait = {0, 0};
    EXPECT_EQ(schedule.on_idle(), idle_action::stay_stopped);
    EXPECT_EQ(schedule.wait.tv_sec, wait_week);
}

TEST(Schedule, TagsNameTheServers) {
    EXPECT_STREQ(server_tag(pri), "pri");
    EXPECT_STREQ(server_tag(sec), "sec");
}

} // namespace
