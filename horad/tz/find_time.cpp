// SPDX-License-Identifier: GPL-2.0-or-later
//
// What a local time means is defined by a search: a binary search over all
// times for one that reads like it, and then attempts with the offsets of other
// types.  Most local times are read by exactly one instant, away from any
// change of the zone; those are computed, since the search would find the same.
#include "tz/find_time.h"

#include <array>
#include <limits>
#include <optional>

#include "tz/build_index.h"
#include "tz/calendar.h"
#include "tz/convert.h"
#include "tz/transitions.h"

namespace {

constexpr std::int64_t earliest_time = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t latest_time = std::numeric_limits<std::int64_t>::max();

/// Carries whole bases from `units` to `tens`.  False when `tens` overflows.
bool carry(int &tens, int &units, int base) {
    const int carried = static_cast<int>(floor_divide(units, base));
    units = static_cast<int>(floor_remainder(units, base));
    return !__builtin_add_overflow(tens, carried, &tens);
}

/// What becomes of a tm_sec out of range while a time is looked for.
enum class odd_seconds { set_aside, carried };

/// Brings all fields into their ranges; tm_sec only where it is carried.
bool normalise(std::tm &tm, odd_seconds seconds) {
    if (seconds == odd_seconds::carried && !carry(tm.tm_min, tm.tm_sec, 60))
        return false;
    if (!carry(tm.tm_hour, tm.tm_min, 60) || !carry(tm.tm_mday, tm.tm_hour, 24))
        return false;
    if (tm.tm_mon >= 0 && tm.tm_mon < 12 && tm.tm_mday >= 1 && tm.tm_mday <= 28)
        return true;

    std::int64_t year = tm.tm_year + std::int64_t{1900} + floor_divide(tm.tm_mon, 12);
    int month = static_cast<int>(tm.tm_mon - floor_divide(tm.tm_mon, 12) * 12);
    const std::int64_t days = days_from_date(year, month, tm.tm_mday) + days_to_march_of_year_0;
    const std::int64_t cycles = floor_divide(days, days_per_400_years);
    const calendar_date date =
        date_from_cycle_day(static_cast<std::uint32_t>(days - cycles * days_per_400_years));
    year = date.year + cycles * 400 - 1900;
    if (year < std::numeric_limits<int>::min() || year > std::numeric_limits<int>::max())
        return false;
    tm.tm_year = static_cast<int>(year);
    tm.tm_mon = date.month;
    tm.tm_mday = date.day;
    return true;
}

/// Sets seconds out of range aside, so that the search works with seconds in range.
/// Before 1970 it works with the minute's last second, so that it never has to go
/// below the first of all times.
bool set_seconds_aside(std::tm &tm, int &aside) {
    aside = 0;
    if (tm.tm_sec >= 0 && tm.tm_sec < 60)
        return true;
    const bool before_1970 = tm.tm_year < 70;
    if (__builtin_sub_overflow(tm.tm_sec, before_1970 ? 59 : 0, &aside))
        return false;
    tm.tm_sec = before_1970 ? 59 : 0;
    return true;
}

int compare(const std::tm &a, const std::tm &b) {
    const auto order = [](int x, int y) { return (x > y) - (x < y); };
    if (a.tm_year != b.tm_year)
        return order(a.tm_year, b.tm_year);
    if (a.tm_mon != b.tm_mon)
        return order(a.tm_mon, b.tm_mon);
    if (a.tm_mday != b.tm_mday)
        return order(a.tm_mday, b.tm_mday);
    if (a.tm_hour != b.tm_hour)
        return order(a.tm_hour, b.tm_hour);
    if (a.tm_min != b.tm_min)
        return order(a.tm_min, b.tm_min);
    return order(a.tm_sec, b.tm_sec);
}

/// Seconds from 1970-01-01 00:00:00 to normalised fields, on their own clock.
std::int64_t local_seconds(const std::tm &tm) {
    const std::int64_t days =
        days_from_date(tm.tm_year + std::int64_t{1900}, tm.tm_mon, tm.tm_mday);
    return days * seconds_per_day + tm.tm_hour * 3600 + tm.tm_min * 60 + tm.tm_sec;
}

struct instant {
    std::int64_t time;
    const zone_type *type; ///< in force then
};

/// The one instant at a local time (seconds from 1970-01-01 00:00:00 on the local
/// clock), if all instants that come into question lie within one period of one
/// offset; otherwise nothing.
std::optional<instant> only_instant(const zone_state &zone, std::int64_t local) {
    std::int64_t earliest = local - zone.index.highest_offset;
    std::int64_t latest = local - zone.index.lowest_offset;
    std::int64_t folded = 0;
    const std::uint64_t span = index_span(zone);
    if (index_position(zone, earliest) >= span) [[unlikely]] {
        const table_order order = order_of(zone);
        if (zone.leap_count > 0 || !order.regular ||
            (zone.go_back && earliest <= zone.transition_times[0]))
            return std::nullopt;
        if (const std::int64_t after = order.repeats_after; latest > after) {
            // Into the cycle before, clear of both its ends.
            if (earliest <= after)
                return std::nullopt;
            folded = cycles_back(earliest, after) * seconds_per_400_years;
            local -= folded;
            earliest -= folded;
            latest -= folded;
            if (latest > after || earliest <= after - seconds_per_400_years + 1)
                return std::nullopt;
        }
    }
    const int passed = transitions_passed(zone, earliest);
    if (passed < zone.transition_count && zone.transition_times[passed] <= latest)
        return std::nullopt;
    const zone_type &type = type_after(zone, passed);
    return instant{local - type.utc_offset + folded, &type};
}

/// Binary search over all times for one that reads like `wanted`.
bool search_all_times(const zone_state &zone, const std::tm &wanted, std::int64_t &time) {
    std::int64_t low = earliest_time;
    std::int64_t high = latest_time;
    for (;;) {
        time = low / 2 + high / 2;
        if (time < low)
            time = low;
        else if (time > high)
            time = high;
        std::tm probe{};
        // A time beyond all years is taken for one too far from 0.
        const int order =
            to_local(zone, time, probe) != nullptr ? compare(probe, wanted) : (time > 0 ? 1 : -1);
        if (order == 0)
            return true;
        if (time == low) {
            if (time == latest_time)
                // not run by any test: the ends of time are in no year, so the search turns back
                // before it gets there; this keeps it in its range even if that changed
                return false;
            ++time;
            ++low;
        } else if (time == high) {
            if (time == earliest_time)
                return false; // not run by any test: the same at the other end
            --time;
            --high;
        }
        if (low > high)
            return false;
        if (order > 0)
            high = time;
        else
            low = time;
    }
}

/// Whether a time reads like the wanted fields; its other fields go to `found`.
bool reads_like(const zone_state &zone, std::int64_t time, const std::tm &wanted, std::tm &found) {
    return to_local(zone, time, found) != nullptr && compare(found, wanted) == 0;
}

/// A time that reads alike at the offset that the caller hinted at.
void prefer_hinted_offset(const zone_state &zone, const std::tm &wanted, std::tm &found,
                          std::int64_t &time) {
    if (found.tm_gmtoff == wanted.tm_gmtoff || wanted.tm_gmtoff < -seconds_per_day ||
        wanted.tm_gmtoff > seconds_per_day)
        return;
    std::int64_t other = 0;
    std::tm other_found{};
    if (!__builtin_add_overflow(time, found.tm_gmtoff - wanted.tm_gmtoff, &other) &&
        reads_like(zone, other, wanted, other_found) && other_found.tm_isdst == found.tm_isdst &&
        other_found.tm_gmtoff == wanted.tm_gmtoff) {
        time = other;
        found = other_found;
    }
}

/// Whether any time at all reads alike with the wanted kind of time in force:
/// a zone of many types has very many pairs to try in vain.
bool can_be_of_wanted_kind(const zone_state &zone, const std::tm &wanted, const std::tm &found,
                           std::int64_t time) {
    if (zone.leap_count > 0)
        return true;
    for (int i = 0; i < zone.type_count; ++i) {
        std::int64_t other = 0;
        std::tm other_found{};
        if (zone.types[i].is_dst == (wanted.tm_isdst != 0) &&
            !__builtin_add_overflow(time, found.tm_gmtoff - zone.types[i].utc_offset, &other) &&
            reads_like(zone, other, wanted, other_found) && other_found.tm_isdst == wanted.tm_isdst)
            return true;
    }
    return false;
}

/// A time that reads alike with the wanted kind of time in force.
bool find_wanted_kind(const zone_state &zone, const std::tm &wanted, std::int64_t &time) {
    const bool kind = wanted.tm_isdst != 0;
    for (int same = zone.type_count - 1; same >= 0; --same) {
        if (zone.types[same].is_dst != kind)
            continue;
        for (int other = zone.type_count - 1; other >= 0; --other) {
            if (zone.types[other].is_dst == kind)
                continue;
            std::int64_t moved = 0;
            std::tm found{};
            if (!__builtin_add_overflow(
                    time, zone.types[other].utc_offset - zone.types[same].utc_offset, &moved) &&
                reads_like(zone, moved, wanted, found) && found.tm_isdst == wanted.tm_isdst) {
                time = moved;
                return true;
            }
        }
    }
    return false;
}

/// The time that reads like normalised fields, of the wanted kind if any.
bool find_reading(const zone_state &zone, const std::tm &wanted, std::int64_t &time) {
    if (const auto only = only_instant(zone, local_seconds(wanted))) {
        // Nothing else reads alike: neither another offset nor another kind.
        time = only->time;
        return wanted.tm_isdst < 0 || only->type->is_dst == (wanted.tm_isdst != 0);
    }
    std::tm found{};
    if (!search_all_times(zone, wanted, time) || !reads_like(zone, time, wanted, found))
        return false;
    prefer_hinted_offset(zone, wanted, found, time);
    if (wanted.tm_isdst < 0 || found.tm_isdst == wanted.tm_isdst)
        return true;
    return can_be_of_wanted_kind(zone, wanted, found, time) && find_wanted_kind(zone, wanted, time);
}

/// One attempt with the fields as they are.
bool attempt(const zone_state &zone, odd_seconds seconds, std::tm &tm, std::int64_t &time) {
    std::tm wanted = tm;
    int aside = 0;
    std::int64_t found = 0;
    if (!normalise(wanted, seconds) || !set_seconds_aside(wanted, aside) ||
        !find_reading(zone, wanted, found) || __builtin_add_overflow(found, aside, &found))
        return false;
    std::tm result{};
    if (to_local(zone, found, result) == nullptr)
        return false;
    tm = result;
    time = found;
    return true;
}

bool attempt_both(const zone_state &zone, std::tm &tm, std::int64_t &time) {
    if (attempt(zone, odd_seconds::set_aside, tm, time))
        return true;
    // Seconds in range carry nothing: the second attempt would be the first.
    return (tm.tm_sec < 0 || tm.tm_sec >= 60) && attempt(zone, odd_seconds::carried, tm, time);
}

/// The types that a zone's transitions use, the latest first.
struct used_types {
    std::array<unsigned char, ZONE_MAX_TYPES> types;
    int count = 0;

    explicit used_types(const zone_state &zone) {
        std::array<bool, ZONE_MAX_TYPES> seen{};
        for (int i = zone.transition_count - 1; i >= 0; --i) {
            const unsigned char type = zone.transition_types[i];
            if (!seen[type])
                types[static_cast<std::size_t>(count++)] = type;
            seen[type] = true;
        }
    }
};

/// Takes the fields for the result of arithmetic on a time of the other kind,
/// and moves them by the difference of the two.
bool attempt_other_kind(const zone_state &zone, std::tm &tm, std::int64_t &time) {
    const used_types used(zone);
    const int seconds = tm.tm_sec;
    const int kind = tm.tm_isdst;
    for (int i = 0; i < used.count; ++i) {
        const zone_type &same = zone.types[used.types[static_cast<std::size_t>(i)]];
        if (same.is_dst != (kind != 0))
            continue;
        for (int j = 0; j < used.count; ++j) {
            const zone_type &other = zone.types[used.types[static_cast<std::size_t>(j)]];
            if (other.is_dst == (kind != 0) ||
                __builtin_add_overflow(seconds, other.utc_offset - same.utc_offset, &tm.tm_sec))
                continue;
            tm.tm_isdst = !kind;
            if (attempt_both(zone, tm, time))
                return true;
        }
    }
    tm.tm_sec = seconds;
    tm.tm_isdst = kind;
    return false;
}

/// What is nearly always asked: fields in range, one instant, of the wanted
/// kind.  False, with nothing changed, for everything else.
bool find_common_time(const zone_state &zone, std::tm &tm, std::int64_t &time) {
    constexpr std::uint32_t year_bias = 1900 + bias_years;
    constexpr std::uint32_t year_limit = 1U << 21;
    const auto field = [](int value) { return static_cast<std::uint32_t>(value); };
    const std::uint32_t year = field(tm.tm_year) + year_bias;
    if (year - 1 >= year_limit || field(tm.tm_mon) >= 12 ||
        (field(tm.tm_mday) - 1 >= 28 &&
         field(tm.tm_mday) - 1 >= field(month_length(year, tm.tm_mon))) ||
        field(tm.tm_hour) >= 24 || field(tm.tm_min) >= 60 || field(tm.tm_sec) >= 60)
        return false;
    const std::uint32_t day = cycle_day_from_date(year, field(tm.tm_mon), field(tm.tm_mday));
    const std::int64_t days = std::int64_t{day} - days_to_march_of_year_0 -
                              std::int64_t{bias_cycles} * days_per_400_years;
    const std::int64_t local =
        days * seconds_per_day + tm.tm_hour * 3600 + tm.tm_min * 60 + tm.tm_sec;
    const auto only = only_instant(zone, local);
    if (!only || (tm.tm_isdst >= 0 && only->type->is_dst != (tm.tm_isdst != 0)))
        return false;
    time = only->time;
    tm.tm_wday = weekday_from_cycle_day(day);
    tm.tm_yday = static_cast<int>(day - cycle_day_from_date(year, 0, 1));
    tm.tm_isdst = only->type->is_dst;
    tm.tm_gmtoff = only->type->utc_offset;
    tm.tm_zone = type_abbreviation(zone, *only->type);
    return true;
}

} // namespace

bool find_time(const zone_state &zone, std::tm &tm, std::int64_t &time) noexcept {
    if (find_common_time(zone, tm, time))
        return true;
    if (tm.tm_isdst > 1)
        tm.tm_isdst = 1;
    if (attempt_both(zone, tm, time))
        return true;
    return tm.tm_isdst >= 0 && attempt_other_kind(zone, tm, time);
}
