// SPDX-License-Identifier: GPL-2.0-or-later
//
// The process's zone changes while other threads convert with it.
#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "common/child_process.h"
#include "common/zone_fixture.h"
#include "tz/process_zone.h"

namespace {

#if defined(__SANITIZE_THREAD__)
constexpr int conversions = 20000;
#elif !defined(NDEBUG) || defined(HORAD_EMULATOR) // slow ones
constexpr int conversions = 250000;
#else
constexpr int conversions = 4000000;
#endif

/// Zones that differ in everything: names, offsets, number of transitions.
constexpr const char *zones[] = {"AAA-1", "BBB-2CCC-4,J1/0,J365/23", "DDD7EEE9,0/0,J365/23",
                                 "Europe/Zurich", "FFF-13"};

constexpr time_t moment = 1625416215;

class ZoneChanges {
  public:
    ZoneChanges()
        : thread_([this] {
              for (std::size_t i = 0; !end_; ++i) {
                  tz_guard::set(zones[i % std::size(zones)]);
                  tzset();
                  ++changes_;
              }
          }) {}
    ~ZoneChanges() {
        end_ = true;
        thread_.join();
    }
    int count() const { return changes_; }

  private:
    std::atomic<bool> end_{false};
    std::atomic<int> changes_{0};
    std::thread thread_;
};

/// Counts conversions that read like those of no zone.
void count_mixtures(std::atomic<int> &mixtures) {
    std::vector<struct tm> possible;
    std::vector<std::string> names;
    for (const char *name : zones) {
        const auto zone = open_zone(name);
        struct tm tm = {};
        ASSERT_NE(localtime_rz(zone.get(), &moment, &tm), nullptr);
        names.emplace_back(tm.tm_zone);
        possible.push_back(tm);
    }
    for (int i = 0; i < conversions; ++i) {
        struct tm tm = {};
        localtime_r(&moment, &tm);
        bool whole = false;
        for (std::size_t zone = 0; zone < possible.size() && !whole; ++zone)
            whole = tm.tm_gmtoff == possible[zone].tm_gmtoff &&
                    tm.tm_isdst == possible[zone].tm_isdst &&
                    tm.tm_hour == possible[zone].tm_hour && names[zone] == tm.tm_zone;
        mixtures += !whole;
    }
}

TEST(ProcessThreads, NoConversionMixesTwoZones) {
    const tz_guard guard;
    tz_guard::set(zones[0]);
    tzset();
    std::atomic<int> mixtures{0};
    const ZoneChanges changes;
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i)
        readers.emplace_back([&] { count_mixtures(mixtures); });
    for (auto &reader : readers)
        reader.join();
    EXPECT_EQ(mixtures, 0);
    EXPECT_GT(changes.count(), 50) << "else nothing was tried";
}

TEST(ProcessThreads, ANameStaysUntilTheChangeAfterTheNext) {
    const tz_guard guard;
    tz_guard::set("AAA-1");
    tzset();
    const time_t zero = 0;
    struct tm tm;
    ASSERT_NE(localtime_r(&zero, &tm), nullptr);
    struct tm other;
    tz_guard::set("BBB-2");
    tzset();
    ASSERT_NE(localtime_r(&zero, &other), nullptr); // lets go of the first zone
    EXPECT_STREQ(tm.tm_zone, "AAA");
    EXPECT_STREQ(other.tm_zone, "BBB");
}

TEST(ProcessThreads, WhatAThreadHoldsStays) {
    const tz_guard guard;
    tz_guard::set("AAA-1");
    tzset();
    const zone_state &held = local_zone();
    std::thread([] {
        for (int i = 0; i < 20; ++i) {
            tz_guard::set(i % 2 == 0 ? "BBB-2" : "CCC-3");
            tzset();
        }
    }).join();
    EXPECT_EQ(local_text(&held, 0), "1970-01-01 01:00:00 AAA dst=0 3600 Thu 0");
    EXPECT_EQ(local_text(&local_zone(), 0), "1970-01-01 03:00:00 CCC dst=0 10800 Thu 0");
}

TEST(ProcessThreads, ThreadsThatEndLetGo) {
    CHECK_IN_FRESH_PROCESS({
        const time_t zero = 0;
        std::vector<const zone_state *> seen;
        for (int i = 0; i < 50; ++i) {
            tz_guard::set(i % 2 == 0 ? "AAA-1" : "BBB-2");
            std::thread([&] {
                struct tm tm;
                tzset();
                localtime_r(&zero, &tm);
                seen.push_back(&local_zone());
            }).join();
        }
        std::sort(seen.begin(), seen.end());
        seen.erase(std::unique(seen.begin(), seen.end()), seen.end());
        EXPECT_LE(seen.size(), 3U) << "else each thread would cost a record";
    });
}

TEST(ProcessThreads, ManyHoldersGetARecordEach) {
    CHECK_IN_FRESH_PROCESS({
        constexpr int count = 8;
        std::atomic<int> held{0};
        std::atomic<bool> end{false};
        std::vector<std::thread> holders;
        for (int i = 0; i < count; ++i) {
            const std::string name = "AAA-" + std::to_string(i + 1);
            tz_guard::set(name.c_str());
            tzset();
            holders.emplace_back([&held, &end, i] {
                const zone_state &zone = local_zone();
                ++held;
                while (!end)
                    std::this_thread::yield();
                EXPECT_EQ(zone.types[0].utc_offset, 3600 * (i + 1));
            });
            while (held <= i)
                std::this_thread::yield();
        }
        end = true;
        for (auto &holder : holders)
            holder.join();
    });
}

TEST(ProcessThreads, TheFirstLoadIsDoneOnce) {
    CHECK_IN_FRESH_PROCESS({
        tz_guard::set("AAA-5");
        std::atomic<bool> start{false};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&start] {
                while (!start)
                    std::this_thread::yield();
                const time_t zero = 0;
                struct tm tm;
                EXPECT_EQ(to_text(localtime_r(&zero, &tm)),
                          "1970-01-01 05:00:00 AAA dst=0 18000 Thu 0");
                EXPECT_EQ(to_text(gmtime_r(&zero, &tm)), "1970-01-01 00:00:00 GMT dst=0 0 Thu 0");
                EXPECT_STREQ(localtime_rz(nullptr, &zero, &tm)->tm_zone, "GMT");
            });
        start = true;
        for (auto &thread : threads)
            thread.join();
    });
}

TEST(ProcessThreads, UtcIsNamelessOrNamedWhileItIsLoaded) {
    CHECK_IN_FRESH_PROCESS({
        std::atomic<bool> loaded{false};
        std::thread reader([&loaded] {
            const time_t zero = 0;
            struct tm tm;
            do {
                const std::string name = localtime_rz(nullptr, &zero, &tm)->tm_zone;
                EXPECT_TRUE(name.empty() || name == "GMT") << name;
            } while (!loaded);
        });
        const time_t zero = 0;
        struct tm tm;
        gmtime_r(&zero, &tm);
        loaded = true;
        reader.join();
    });
}

} // namespace
