// SPDX-License-Identifier: GPL-2.0-or-later
//
// The simulated fleet, where it is small enough to be counted by hand.
#include "fleet.h"

#include <numeric>

#include <gtest/gtest.h>

namespace {

constexpr std::int64_t week = 604800;
constexpr std::int64_t for_ever = week * 1000;

using seconds = std::vector<std::int64_t>;

/// When requests arrived, once for each.
seconds times(const std::vector<std::uint32_t> &counts) {
    seconds all;
    for (std::size_t second = 0; second < counts.size(); ++second)
        all.insert(all.end(), counts[second], static_cast<std::int64_t>(second));
    return all;
}

seconds at_first(const fleet_record &record) { return times(record.requests[0]); }
seconds at_second(const fleet_record &record) { return times(record.requests[1]); }

TEST(Fleet, TwoSilentServersAreAskedInTurns) {
    const fleet_record record =
        run_fleet({.seconds = 500, .down = {{{0, for_ever}, {0, for_ever}}}});
    EXPECT_EQ(at_first(record), (seconds{0, 30, 150, 300, 330, 450}));
    EXPECT_EQ(at_second(record), (seconds{150, 180, 300, 450, 480}));
    EXPECT_EQ(record.waiting, std::vector<std::uint32_t>(500, 1));
}

TEST(Fleet, OneSilentServerIsAskedEveryTwoMinutes) {
    const fleet_record record =
        run_fleet({.seconds = 400, .has_secondary = false, .down = {{{0, for_ever}, {}}}});
    EXPECT_EQ(at_first(record), (seconds{0, 30, 150, 270, 390}));
    EXPECT_EQ(at_second(record), seconds{});
}

TEST(Fleet, EveryThirdRequestInPeaceGoesToBothServers) {
    const fleet_record record = run_fleet({.seconds = 4 * week + 1});
    EXPECT_EQ(at_first(record), (seconds{0, week, 2 * week, 4 * week}));
    EXPECT_EQ(at_second(record), (seconds{2 * week, 3 * week, 4 * week}));
    EXPECT_EQ(std::accumulate(record.waiting.begin(), record.waiting.end(), 0), 0);
}

TEST(Fleet, ADeadFirstServerIsTriedAgainEveryTwoWeeks) {
    const fleet_record record =
        run_fleet({.seconds = 2 * week + 400, .down = {{{0, for_ever}, {}}}});
    const std::int64_t again = 2 * week + 150;
    EXPECT_EQ(at_first(record), (seconds{0, 30, 150, again, again + 30, again + 150}));
    EXPECT_EQ(at_second(record), (seconds{150, week + 150, again, again + 150}));
    EXPECT_EQ(record.waiting[149], 1U);
    EXPECT_EQ(record.waiting[150], 0U);
}

TEST(Fleet, AServerThatReturnsAnswersTheNextRequest) {
    const fleet_record record = run_fleet({.seconds = 500, .down = {{{0, 200}, {0, for_ever}}}});
    EXPECT_EQ(at_first(record), (seconds{0, 30, 150, 300}));
    EXPECT_EQ(at_second(record), (seconds{150, 180, 300}));
    EXPECT_EQ(record.waiting[299], 1U);
    EXPECT_EQ(record.waiting[300], 0U);
}

TEST(Fleet, DevicesAboveTheLimitAskAgain) {
    const fleet_record record = run_fleet({.devices = 10, .seconds = 400, .limit = 3});
    const auto &[first, second] = record.requests;
    EXPECT_EQ(first[0], 10U);
    EXPECT_EQ(record.waiting[0], 7U);
    EXPECT_EQ(first[30], 7U);
    EXPECT_EQ(record.waiting[30], 4U);
    // Three of them are answered, and do not hear it: they ask the other one already.
    EXPECT_EQ(first[150], 4U);
    EXPECT_EQ(second[150], 4U);
    EXPECT_EQ(record.waiting[150], 1U);
    EXPECT_EQ(second[180], 1U);
    EXPECT_EQ(record.waiting[180], 0U);
    EXPECT_EQ(at_first(record).size() + at_second(record).size(), 26U);
}

TEST(Fleet, ALimitBelowOneASecondLetsOneThroughNowAndThen) {
    // Answers are saved up to one: at 0, 1 in 60 s from then on.
    const fleet_record record =
        run_fleet({.devices = 2, .seconds = 200, .has_secondary = false, .limit = 1.0 / 60});
    EXPECT_EQ(at_first(record), (seconds{0, 0, 30, 150}));
    EXPECT_EQ(record.waiting[149], 1U);
    EXPECT_EQ(record.waiting[150], 0U);
}

TEST(Fleet, WhoIsRefusedAsksTheOtherServerInTenSeconds) {
    const fleet_record record =
        run_fleet({.devices = 3, .seconds = 100, .limit = 1, .refuses = true});
    EXPECT_EQ(at_first(record), (seconds{0, 0, 0, 20}));
    // The one at 20 is the third request, which the other server gets at once, too.
    EXPECT_EQ(at_second(record), (seconds{10, 10, 20}));
    EXPECT_EQ(record.waiting[19], 1U);
    EXPECT_EQ(record.waiting[20], 0U);
}

TEST(Fleet, ADeadServerRefusesNobody) {
    const fleet_record record = run_fleet(
        {.seconds = 100, .down = {{{0, for_ever}, {0, for_ever}}}, .limit = 1, .refuses = true});
    EXPECT_EQ(at_first(record), (seconds{0, 30}));
}

TEST(Fleet, StartsAreSpreadEvenly) {
    constexpr std::uint32_t devices = 60000;
    const fleet_record record =
        run_fleet({.devices = devices, .seconds = 100, .boot_seconds = 10, .spread_seconds = 60});
    const auto &first = record.requests[0];
    EXPECT_EQ(at_first(record).size(), devices);
    EXPECT_LT(first[0], 100U); // of 1,000 a second in the middle
    for (std::size_t second = 10; second < 60; ++second)
        EXPECT_NEAR(first[second], devices / 60, 200) << second;
    EXPECT_LT(first[69], 100U);
    EXPECT_EQ(first[70], 0U);
}

TEST(Fleet, WrongCrystalsSpreadTheFleetByAFewSecondsAWeek) {
    const fleet_record record =
        run_fleet({.devices = 1000, .seconds = week + 100, .crystal_ppm = 20});
    const seconds all = at_first(record);
    ASSERT_EQ(all.size(), 2000U);
    EXPECT_EQ(all[999], 0);
    EXPECT_NEAR(static_cast<double>(all[1000]), static_cast<double>(week - 12), 1);
    EXPECT_NEAR(static_cast<double>(all[1999]), static_cast<double>(week + 12), 1);
}

TEST(Fleet, ASeedIsOneFleet) {
    const fleet_plan plan{.devices = 100, .seconds = 50, .boot_seconds = 50};
    fleet_plan other = plan;
    other.seed = 2;
    EXPECT_EQ(at_first(run_fleet(plan)), at_first(run_fleet(plan)));
    EXPECT_NE(at_first(run_fleet(plan)), at_first(run_fleet(other)));
}

} // namespace
