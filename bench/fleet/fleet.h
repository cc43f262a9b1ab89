// SPDX-License-Identifier: GPL-2.0-or-later
//
// Many devices and their two servers, in simulated time: each device is a
// poll_schedule, the daemon's own.  docs/fleet.md tells what comes of it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

/// Seconds since the start: from the first to before the second.
struct span_of_time {
    std::int64_t begin = 0;
    std::int64_t end = 0;

    [[nodiscard]] bool holds(std::int64_t second) const noexcept {
        return begin <= second && second < end;
    }
};

/// What is simulated.
struct fleet_plan {
    std::uint32_t devices = 1;
    std::int64_t seconds = 0; ///< how long
    /// Each device starts at a random time within the one, and another within the other:
    /// booting does not take the same time everywhere, and a start may be put off.
    double boot_seconds = 0;
    double spread_seconds = 0;
    double crystal_ppm = 0; ///< devices' clocks are wrong by up to this, either way
    bool has_secondary = true;
    std::array<span_of_time, 2> down{}; ///< when each server is silent
    /// Requests a second that each server answers; 0: all.
    double limit = 0;
    /// Those above the limit get a reply without a transmit time, rather than none.
    bool refuses = false;
    std::uint64_t seed = 1;
};

/// What happened, second by second.
struct fleet_record {
    std::array<std::vector<std::uint32_t>, 2> requests; ///< that reached each server's network
    /// Devices that asked in vain and have not had an answer since, at the second's end.
    std::vector<std::uint32_t> waiting;
};

[[nodiscard]] fleet_record run_fleet(const fleet_plan &plan);
