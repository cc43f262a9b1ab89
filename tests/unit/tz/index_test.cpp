// SPDX-License-Identifier: GPL-2.0-or-later
//
// A zone's index is built by its first look-up, whichever thread makes it.
#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "common/zone_fixture.h"

namespace {

constexpr const char *zones[] = {
    "America/New_York",         "Europe/Zurich",      "Asia/Kolkata", "UTC0",
    "AAA3BBB,M3.5.0,M10.5.0/3", "AAA5BBB,0/0,J365/25"};

std::vector<std::int64_t> moments() {
    std::vector<std::int64_t> times;
    for (std::int64_t time = -9000000000; time < 90000000000; time += 987654321)
        times.push_back(time);
    return times;
}

/// What a zone says to these times, both ways.
std::vector<std::string> answers(const zone_state *zone) {
    std::vector<std::string> all;
    for (const std::int64_t time : moments()) {
        all.push_back(local_text(zone, time));
        struct tm tm = {};
        localtime_rz(zone, &time, &tm);
        all.push_back(std::to_string(time_of(zone, tm)));
    }
    return all;
}

index_progress progress_of(const zone_state &zone) { return zone.index.progress; }

TEST(Index, IsBuiltByTheFirstLookUp) {
    const auto zone = open_zone("America/New_York");
    EXPECT_EQ(progress_of(*zone), index_progress::not_begun);
    local_text(zone.get(), 0);
    EXPECT_EQ(progress_of(*zone), index_progress::done);
    EXPECT_GT(zone->index.span, 0U);
}

TEST(Index, IsBuiltByTheFirstSearchToo) {
    const auto zone = open_zone("America/New_York");
    struct tm tm = {};
    tm.tm_year = 100;
    tm.tm_mday = 1;
    EXPECT_EQ(time_of(zone.get(), tm), 946702800);
    EXPECT_EQ(progress_of(*zone), index_progress::done);
}

TEST(Index, WhoeverDoesNotGetToBuildItFindsTheSame) {
    for (const char *name : zones) {
        const auto zone = open_zone(name);
        const auto other = open_zone(name);
        other->index.progress = index_progress::begun; // by a thread that never ends
        EXPECT_EQ(answers(other.get()), answers(zone.get())) << name;
        EXPECT_EQ(other->index.span, 0U) << "nothing was built beside the other thread";
    }
}

TEST(Index, ThreadsThatBeginAtOnceFindTheSame) {
    for (int round = 0; round < 20; ++round)
        for (const char *name : zones) {
            const auto expected = answers(open_zone(name).get());
            const auto zone = open_zone(name);
            std::atomic<int> waiting{3};
            std::atomic<int> different{0};
            std::vector<std::thread> threads;
            for (int i = 0; i < 3; ++i)
                threads.emplace_back([&] {
                    for (--waiting; waiting > 0;)
                        ;
                    different += answers(zone.get()) != expected;
                });
            for (auto &thread : threads)
                thread.join();
            EXPECT_EQ(different, 0) << name;
        }
}

TEST(Index, ARecordThatIsFilledAnewGetsANewOne) {
    auto state = new_state();
    ASSERT_EQ(init_zone(state.get(), "America/New_York"), 0);
    local_text(state.get(), 0);
    ASSERT_EQ(init_zone(state.get(), "Europe/Zurich"), 0);
    EXPECT_EQ(progress_of(*state), index_progress::not_begun);
    EXPECT_EQ(answers(state.get()), answers(open_zone("Europe/Zurich").get()));
}

} // namespace
