// SPDX-License-Identifier: GPL-2.0-or-later
//
// A zone's index is built by its first look-up, whichever thread makes it.
#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "common/zone_fixture.h"
#include "tz/transitions.h"
#include "tz/zone_changes.h"

namespace {

constexpr const char *zones[] = {
    "America/New_York",         "Europe/Zurich",      "Asia/Kolkata", "UTC0",
    "AAA3BBB,M3.5.0,M10.5.0/3", "AAA5BBB,0/0,J365/25"};

/// Some years apart, and about some transitions, the last ones above all.
std::vector<std::int64_t> moments(const zone_state &zone) {
    std::vector<std::int64_t> times;
    for (std::int64_t time = 0; time < 90000000000; time += 987654321)
        times.insert(times.end(), {time, -time / 10});
    for (int i = 0; i < zone.transition_count; i += i < zone.transition_count - 9 ? 61 : 1)
        for (const int second : {-1, 0, 1})
            times.push_back(zone.transition_times[i] + second);
    return times;
}

/// What a zone says to these times, both ways.
std::vector<std::string> answers(const zone_state *zone) {
    std::vector<std::string> all;
    for (const std::int64_t time : moments(*zone)) {
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

TEST(Index, WithLeapSecondsToo) {
    tzif_block block = two_type_block({{0, 1}, {86400000, 0}, {172800000, 1}});
    block.leaps = {{78796800, 1}, {94694401, 2}};
    const auto zone = make_zone(block);
    const auto other = make_zone(block);
    other->index.progress = index_progress::begun;
    EXPECT_EQ(answers(other.get()), answers(zone.get()));
}

TEST(Index, ChangesAreTheSameWithoutIt) {
    const auto changes = [](const zone_state &zone) {
        std::vector<std::int64_t> found;
        change_search search(zone, 1000000000, 1200000000);
        while (const auto change = search.next())
            found.push_back(*change);
        return found;
    };
    const auto zone = open_zone("Europe/Zurich");
    const auto other = open_zone("Europe/Zurich");
    other->index.progress = index_progress::begun;
    EXPECT_EQ(changes(*other), changes(*zone));
    EXPECT_EQ(changes(*zone).size(), 13U);
}

TEST(Index, ThreadsThatBeginAtOnceFindTheSame) {
#if !defined(NDEBUG) || defined(HORAD_EMULATOR) // slow ones
    constexpr int rounds = 5;
#else
    constexpr int rounds = 20;
#endif
    for (const char *name : zones) {
        const auto expected = answers(open_zone(name).get());
        for (int round = 0; round < rounds; ++round) {
            const auto zone = open_zone(name);
            std::atomic<int> waiting{3};
            std::atomic<int> different{0};
            std::vector<std::thread> threads;
            for (int i = 0; i < 3; ++i)
                threads.emplace_back([&] {
                    for (--waiting; waiting > 0;)
                        std::this_thread::yield();
                    different += answers(zone.get()) != expected;
                });
            for (auto &thread : threads)
                thread.join();
            EXPECT_EQ(different, 0) << name;
        }
    }
}

TEST(Index, ARecordThatIsFilledAnewGetsANewOne) {
    auto state = new_state();
    ASSERT_EQ(init_zone(state.get(), "America/New_York"), 0);
    local_text(state.get(), 0);
    ASSERT_EQ(init_zone(state.get(), "Europe/Zurich"), 0);
    EXPECT_EQ(progress_of(*state), index_progress::not_begun);
    EXPECT_EQ(state->index.span, 0U) << "the slots are another zone's";
    EXPECT_EQ(answers(state.get()), answers(open_zone("Europe/Zurich").get()));
}

/// A zone with transitions to two types in turn.
std::unique_ptr<zone_state> zone_with(const std::vector<std::int64_t> &times) {
    tzif_block block = two_type_block();
    unsigned char type = 0;
    for (const std::int64_t time : times)
        block.changes.push_back({time, type = type == 0 ? 1 : 0});
    return make_zone(block);
}

std::vector<std::int64_t> evenly(std::int64_t first, std::int64_t apart, int count) {
    std::vector<std::int64_t> times;
    for (int i = 0; i < count; ++i)
        times.push_back(first + i * apart);
    return times;
}

TEST(Index, FindsWhatCountingFinds) {
    std::vector<std::int64_t> close_ones = evenly(-86400, 1, 40);
    for (const std::int64_t time : evenly(0, 7776000, 400))
        close_ones.push_back(time);
    for (const auto &times :
         {evenly(0, 4096, 1000), evenly(1000, 4096, 2), evenly(-5000000, 1, 1500),
          evenly(0, 1024, 4), evenly(0, 15778476, 1999), evenly(-8000000000, 15778476, 900),
          close_ones}) {
        const auto zone = zone_with(times);
        transitions_passed(*zone, times.front());
        EXPECT_LT(zone->index.span >> zone->index.shift, std::uint64_t{zone_index_slots});
        int passed = 0;
        for (const std::int64_t time : times) {
            EXPECT_EQ(transitions_passed(*zone, time - 1), passed) << time;
            EXPECT_EQ(transitions_passed(*zone, time), ++passed) << time;
        }
        EXPECT_EQ(transitions_passed(*zone, times.back() + 1000000000000), passed);
    }
}

} // namespace
