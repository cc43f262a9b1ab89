// SPDX-License-Identifier: GPL-2.0-or-later
#include "tz/steady.h"

#include <algorithm>
#include <limits>

#include "tz/build_index.h"
#include "tz/calendar.h"
#include "tz/transitions.h"

namespace {

using limits = std::numeric_limits<std::int64_t>;

/// More than an offset and a leap-second correction can be together.
constexpr std::int64_t largest_shift = std::int64_t{1} << 33;

/// The range of tm_year begins and ends here, give or take the shift.
// not run by any test: only the compiler computes it
constexpr std::int64_t first_second_of(std::int64_t years_since_1900) {
    // not run by any test: the same
    return days_from_date(years_since_1900 + 1900, 0, 1) * seconds_per_day;
}
constexpr std::int64_t first_time = first_second_of(std::numeric_limits<int>::min());
constexpr std::int64_t end_of_times =
    first_second_of(std::int64_t{std::numeric_limits<int>::max()} + 1);

std::int64_t steady_in_table(const zone_state &zone, std::int64_t time) {
    const std::int64_t *const times = zone.transition_times;
    const int passed = transitions_passed(zone, time);
    std::int64_t until = end_of_times; // and not the end of time: it may be moved
    if (passed < zone.transition_count)
        until = times[passed] - 1;
    for (int i = 0; i < zone.leap_count; ++i) {
        if (zone.leaps[i].transition == time) // a second that may read 60
            return time;
        if (zone.leaps[i].transition > time)
            until = std::min(until, zone.leaps[i].transition - 1);
    }
    return until;
}

/// The same for a time that is converted as one some cycles later or earlier.
std::int64_t steady_when_moved(const zone_state &zone, std::int64_t time, std::int64_t cycles) {
    return move_by_cycles(steady_in_table(zone, move_by_cycles(time, cycles)), -cycles);
}

/// Where years fit.
///
/// after  what is later was 400 years before
std::int64_t steady_within_years(const zone_state &zone, std::int64_t after, std::int64_t time) {
    if (time > after) {
        const std::int64_t cycles = cycles_back(time, after);
        return std::min(steady_when_moved(zone, time, -cycles), move_by_cycles(after, cycles));
    }
    if (zone.go_back && zone.transition_count > 0 && time < zone.transition_times[0]) {
        const std::int64_t first = zone.transition_times[0];
        return std::min(steady_when_moved(zone, time, cycles_back(first, time)), first - 1);
    }
    return std::min(steady_in_table(zone, time), after);
}

} // namespace

std::int64_t steady_until(const zone_state &zone, std::int64_t time) noexcept {
    constexpr std::int64_t surely_in = first_time + largest_shift;
    constexpr std::int64_t surely_still_in = end_of_times - largest_shift;
    if (time < first_time - largest_shift)
        return first_time - largest_shift;
    if (time > end_of_times + largest_shift)
        return limits::max();
    if (time < surely_in || time >= surely_still_in)
        return time;
    const table_order order = order_of(zone);
    if (!order.regular)
        return time;
    return std::min(steady_within_years(zone, order.repeats_after, time), surely_still_in);
}
