// SPDX-License-Identifier: GPL-2.0-or-later
//
// One run of the differential tests: how much of everything, what went wrong,
// which differences were met that have a reason.
#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "common/broken_down.h"
#include "common/owned_zone.h"

// The first and last second that a tm_year can hold, in UT.
inline constexpr std::int64_t first_second = -67768040609740800;
inline constexpr std::int64_t last_second = 67768036191676799;

struct test_run {
    bool full = false;
    std::size_t share = 1; ///< of zone files and odd zones one in so many, where they take too long
    std::uint64_t seed = 0;
    std::mt19937_64 random;

    long long compared = 0;
    int failures = 0;
    /// How often each difference with a reason was met, by its name.
    std::map<std::string, long long> explained;

    /// How many of something to do: fewer in a sampled run.
    int amount(int sampled, int whole) const { return full ? whole : sampled; }

    std::int64_t between(std::int64_t low, std::int64_t high) {
        return std::uniform_int_distribution<std::int64_t>(low, high)(random);
    }

    void fail(const std::string &message);
};

/// A TZ value's zone; failing to open one that must exist is a failure.
owned_zone open_zone(test_run &run, const std::string &name);

/// Sets TZ for the engine and for the C library.
void set_tz(const std::string &name);
