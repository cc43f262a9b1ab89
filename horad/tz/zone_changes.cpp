// SPDX-License-Identifier: GPL-2.0-or-later
#include "tz/zone_changes.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <limits>

#include "tz/calendar.h"
#include "tz/convert.h"
#include "tz/steady.h"

namespace {

constexpr std::int64_t step = seconds_per_day / 2;

/// From the fields, so that what a caller would see is what is compared.
std::int64_t clock_of(const std::tm &local) {
    const std::int64_t days =
        days_from_date(std::int64_t{local.tm_year} + 1900, 0, 1) + local.tm_yday;
    return ((days * 24 + local.tm_hour) * 60 + local.tm_min) * 60 + local.tm_sec;
}

bool follows(const clock_reading &later, const clock_reading &earlier) {
    if (!later.is_valid || !earlier.is_valid)
        return later.is_valid == earlier.is_valid;
    return later.clock - earlier.clock == later.time - earlier.time &&
           later.is_dst == earlier.is_dst &&
           std::strcmp(later.abbreviation, earlier.abbreviation) == 0;
}

/// A step on, but not beyond the end.
std::int64_t next_time(std::int64_t time, std::int64_t end) {
    constexpr std::int64_t last_start = std::numeric_limits<std::int64_t>::max() - step;
    return time < last_start && time + step < end ? time + step : end;
}

/// The first reading, to the second, that does not follow from an earlier one.
///
/// later  one that does not follow
clock_reading find_change(const zone_state &zone, clock_reading earlier, clock_reading later) {
    while (later.time - earlier.time >= 2) {
        const clock_reading between =
            read_clock(zone, earlier.time + (later.time - earlier.time) / 2);
        if (follows(between, earlier))
            earlier = between;
        else
            later = between;
    }
    return later;
}

} // namespace

clock_reading read_clock(const zone_state &zone, std::int64_t time) noexcept {
    std::tm local{};
    if (to_local(zone, time, local) == nullptr)
        return {.time = time};
    return {
        .time = time,
        .is_valid = true,
        .is_dst = local.tm_isdst != 0,
        .clock = clock_of(local),
        .abbreviation = local.tm_zone,
    };
}

/// Takes the steps that lead to times at which the clock still runs on evenly all
/// at once: a walk over millennia would be millions of readings.
void change_search::skip_steady_steps() noexcept {
    const std::int64_t until = std::min(steady_until(zone_, last_.time), end_);
    const auto steps = static_cast<std::int64_t>(
        (static_cast<std::uint64_t>(until) - static_cast<std::uint64_t>(last_.time)) / step);
    if (steps > 0)
        last_ = read_clock(zone_, last_.time + steps * step);
}

std::optional<std::int64_t> change_search::next() noexcept {
    while (last_.time < end_) {
        skip_steady_steps();
        const clock_reading later = read_clock(zone_, next_time(last_.time, end_));
        if (follows(later, last_)) {
            last_ = later;
            continue;
        }
        last_ = find_change(zone_, last_, later);
        return last_.time;
    }
    return std::nullopt;
}
