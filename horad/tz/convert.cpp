// SPDX-License-Identifier: GPL-2.0-or-later
//
// Conversions are cut into a straight path for what is nearly always asked (a
// time within the zone's table, no leap seconds, a year of up to six digits)
// and functions for the rest, which the straight path only ever ends with.
#include "tz/convert.h"

#include <cerrno>
#include <limits>

#include "tz/build_index.h"
#include "tz/calendar.h"
#include "tz/transitions.h"

namespace {

struct leap_effect {
    std::int64_t correction; ///< leap seconds up to the time
    bool is_leap_second;     ///< the time itself is one
};

leap_effect leap_effect_at(const zone_state &zone, std::int64_t time) {
    for (int i = zone.leap_count - 1; i >= 0; --i) {
        const leap_record &leap = zone.leaps[i];
        if (time < leap.transition)
            continue;
        const std::int64_t before = i == 0 ? 0 : zone.leaps[i - 1].correction;
        return {leap.correction, time == leap.transition && before < leap.correction};
    }
    return {0, false};
}

/// Fills in a date and a time of day, but not the year.
///
/// day     counted from 1 March of a year divisible by 400, below 2^30
/// second  of that day
///
/// Returns the year, counted from that year.
[[gnu::always_inline]] inline std::int64_t fill_fields(std::uint32_t day, std::uint32_t second,
                                                       std::tm &result) {
    const calendar_date date = date_from_cycle_day(day);
    result.tm_mon = date.month;
    result.tm_mday = date.day;
    result.tm_yday = date.day_of_year;
    result.tm_wday = weekday_from_cycle_day(day);
    const std::uint32_t minutes = second / 60;
    result.tm_hour = static_cast<int>(minutes / 60);
    result.tm_min = static_cast<int>(minutes % 60);
    result.tm_sec = static_cast<int>(second % 60);
    return date.year;
}

bool set_year(std::int64_t years_since_1900, std::tm &result) {
    if (years_since_1900 < std::numeric_limits<int>::min() ||
        years_since_1900 > std::numeric_limits<int>::max())
        return false;
    result.tm_year = static_cast<int>(years_since_1900);
    return true;
}

void set_type(const zone_state &zone, const zone_type &type, std::tm &result) {
    result.tm_isdst = type.is_dst;
    result.tm_zone = type_abbreviation(zone, type);
}

/// Makes the times that the straight path serves positive.
constexpr std::uint64_t common_bias =
    (days_to_march_of_year_0 + bias_cycles * std::uint64_t{days_per_400_years}) * seconds_per_day;

/// Local time of a type, for any time and zone.
std::tm *to_time_of_type(const zone_state &zone, const zone_type &type, std::int64_t time,
                         std::tm &result) {
    if (!split_time(zone, time, type.utc_offset, result))
        return nullptr;
    set_type(zone, type, result);
    return &result;
}

/// The same for a time from 1833 to latest_indexed_time, of a zone without leap
/// seconds.
///
/// years  to be added to the year
[[gnu::always_inline]] inline std::tm *to_common_time_of_type(const zone_state &zone,
                                                              const zone_type &type,
                                                              std::int64_t time, int years,
                                                              std::tm &result) {
    const std::uint64_t moved = static_cast<std::uint64_t>(time) +
                                static_cast<std::uint64_t>(type.utc_offset) + common_bias;
    const auto day = static_cast<std::uint32_t>(moved / seconds_per_day);
    const auto second = static_cast<std::uint32_t>(moved % seconds_per_day);
    const std::int64_t year = fill_fields(day, second, result);
    result.tm_year = static_cast<int>(year) + years - static_cast<int>(bias_years) - 1900;
    result.tm_gmtoff = type.utc_offset;
    set_type(zone, type, result);
    return &result;
}

/// Moves a time by whole cycles into the table, and its year back.  In a table
/// that is out of order the moved time may lie before its first transition still.
std::tm *to_folded_time(const zone_state &zone, std::int64_t time, std::int64_t cycles,
                        std::tm &result) {
    const std::int64_t moved = move_by_cycles(time, cycles);
    if (moved < zone.transition_times[0] || moved > zone.index.last ||
        to_local(zone, moved, result) == nullptr ||
        !set_year(result.tm_year - cycles * 400, result))
        return nullptr;
    return &result;
}

/// Local time of what the straight path does not serve.
[[gnu::noinline]] std::tm *to_uncommon_local(const zone_state &zone, std::int64_t time,
                                             std::tm &result) {
    const std::int64_t repeats_after = order_of(zone).repeats_after;
    if (time > repeats_after)
        return to_folded_time(zone, time, -cycles_back(time, repeats_after), result);
    if (zone.go_back && zone.transition_count > 0 && time < zone.transition_times[0])
        return to_folded_time(zone, time, cycles_back(zone.transition_times[0], time), result);
    const zone_type &type = type_after(zone, transitions_passed(zone, time));
    // Mostly after the last change.
    if (zone.leap_count == 0 && time >= 0 && time < latest_indexed_time)
        return to_common_time_of_type(zone, type, time, 0, result);
    return to_time_of_type(zone, type, time, result);
}

/// The straight path, for a position within the index's span.
///
/// moved, years  the time moved back by so many years
[[gnu::always_inline]] inline std::tm *to_local_in_span(const zone_state &zone, std::int64_t time,
                                                        std::int64_t moved, int years,
                                                        std::uint64_t position, std::tm &result) {
    const std::uint16_t *slot = index_slot(zone, position);
    if (is_crowded(slot)) [[unlikely]]
        return to_uncommon_local(zone, time, result);
    const int passed = transitions_passed_in_slot(zone, moved, slot);
    return to_common_time_of_type(zone, zone.types[zone.transition_types[passed - 1]], moved, years,
                                  result);
}

/// Where a zone repeats: the same, some cycles earlier.
[[gnu::noinline]] std::tm *to_repeated_local(const zone_state &zone, std::int64_t time,
                                             std::int64_t repeats_after, std::tm &result) {
    const std::int64_t cycles = cycles_back(time, repeats_after);
    const std::int64_t moved = move_by_cycles(time, -cycles);
    const std::uint64_t span = index_span(zone);
    const std::uint64_t position = index_position(zone, moved);
    if (time >= latest_indexed_time || position >= span) [[unlikely]]
        return to_uncommon_local(zone, time, result);
    return to_local_in_span(zone, time, moved, static_cast<int>(cycles) * 400, position, result);
}

} // namespace

bool split_time(const zone_state &zone, std::int64_t time, std::int64_t offset,
                std::tm &result) noexcept {
    const leap_effect leap = leap_effect_at(zone, time);
    const std::int64_t shift = offset - leap.correction;

    // Days and seconds of the day apart, so that nothing overflows.
    std::int64_t days = floor_divide(time, seconds_per_day) + floor_divide(shift, seconds_per_day);
    std::int64_t second =
        floor_remainder(time, seconds_per_day) + floor_remainder(shift, seconds_per_day);
    if (second >= seconds_per_day) {
        second -= seconds_per_day;
        ++days;
    }
    days += days_to_march_of_year_0;
    const std::int64_t cycles = floor_divide(days, days_per_400_years);
    const std::int64_t day = floor_remainder(days, days_per_400_years);

    std::tm split{};
    const std::int64_t year =
        fill_fields(static_cast<std::uint32_t>(day), static_cast<std::uint32_t>(second), split);
    if (!set_year(year + cycles * 400 - 1900, split)) {
        errno = EOVERFLOW;
        return false;
    }
    split.tm_sec += leap.is_leap_second;
    split.tm_gmtoff = offset;
    result = split;
    return true;
}

std::tm *to_local(const zone_state &zone, std::int64_t time, std::tm &result) noexcept {
    const std::uint64_t span = index_span(zone);
    const std::uint64_t position = index_position(zone, time);
    if (position >= span) [[unlikely]] {
        const std::int64_t repeats_after = repetition_limit(zone);
        return time > repeats_after ? to_repeated_local(zone, time, repeats_after, result)
                                    : to_uncommon_local(zone, time, result);
    }
    return to_local_in_span(zone, time, time, 0, position, result);
}
