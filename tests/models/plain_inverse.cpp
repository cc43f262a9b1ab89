// SPDX-License-Identifier: GPL-2.0-or-later
#include "models/plain_inverse.h"

#include <algorithm>

#include "models/plain_convert.h"

namespace plain {
namespace {

bool fits_int(std::int64_t value) {
    return std::numeric_limits<int>::min() <= value && value <= std::numeric_limits<int>::max();
}

/// Carries a field into the next higher one, which is counted in an int.
bool carry(int &higher, int &field, int base) {
    int units = field / base;
    int rest = field % base;
    if (rest < 0) {
        rest += base;
        --units;
    }
    field = rest;
    return !__builtin_add_overflow(higher, units, &higher);
}

enum class seconds { left, normalised };

/// Fields in their ranges; seconds may be left as they were.
bool normalise(std::tm &tm, seconds wish) {
    if (wish == seconds::normalised && !carry(tm.tm_min, tm.tm_sec, 60))
        return false;
    if (!carry(tm.tm_hour, tm.tm_min, 60) || !carry(tm.tm_mday, tm.tm_hour, 24))
        return false;
    int years = 0;
    carry(years, tm.tm_mon, 12);
    std::int64_t year = std::int64_t{tm.tm_year} + years + 1900;
    // From a day in one year to the same day in the next there is a 29 February in
    // the first when the month comes before March, in the second otherwise.
    while (tm.tm_mday < 1) {
        --year;
        tm.tm_mday += year_days(tm.tm_mon > 1 ? year + 1 : year);
    }
    while (tm.tm_mday > 366) {
        tm.tm_mday -= year_days(tm.tm_mon > 1 ? year + 1 : year);
        ++year;
    }
    while (tm.tm_mday > month_days(year, tm.tm_mon)) {
        tm.tm_mday -= month_days(year, tm.tm_mon);
        if (++tm.tm_mon > 11) {
            tm.tm_mon = 0;
            ++year;
        }
    }
    if (!fits_int(year - 1900))
        return false;
    tm.tm_year = static_cast<int>(year - 1900);
    return true;
}

/// -1, 0 or 1: how a reading lies to another one.
int compare(const std::tm &a, const std::tm &b) {
    const int left[] = {a.tm_year, a.tm_mon, a.tm_mday, a.tm_hour, a.tm_min, a.tm_sec};
    const int right[] = {b.tm_year, b.tm_mon, b.tm_mday, b.tm_hour, b.tm_min, b.tm_sec};
    for (std::size_t i = 0; i < std::size(left); ++i) {
        if (left[i] != right[i])
            return left[i] < right[i] ? -1 : 1;
    }
    return 0;
}

/// Converts a time moved by some seconds; whether it reads like `wanted`.
bool reads_like(const zone &zone, wide time, const std::tm &wanted, std::tm &reading) {
    return fits(time) &&
           to_local(zone, static_cast<std::int64_t>(time), reading) == answer::converted &&
           compare(reading, wanted) == 0;
}

/// The first time met on the way whose reading is `wanted`.
std::optional<std::int64_t> search(const zone &zone, const std::tm &wanted, std::tm &reading) {
    std::int64_t low = earliest;
    std::int64_t high = latest;
    for (;;) {
        std::int64_t time = std::clamp(low / 2 + high / 2, low, high);
        int direction = time > 0 ? 1 : -1;
        if (to_local(zone, time, reading) == answer::converted)
            direction = compare(reading, wanted);
        if (direction == 0)
            return time;
        if (time == low) {
            if (time == latest)
                return std::nullopt;
            low = ++time;
        } else if (time == high) {
            if (time == earliest)
                return std::nullopt;
            high = --time;
        }
        if (low > high)
            return std::nullopt;
        if (direction > 0)
            high = time;
        else
            low = time;
    }
}

/// Among times that read alike, the one with the offset that the caller gave.
void prefer_given_offset(const zone &zone, const std::tm &wanted, std::int64_t &time,
                         std::tm &reading) {
    const std::int64_t given = wanted.tm_gmtoff;
    if (reading.tm_gmtoff == given || given < -day_seconds || given > day_seconds)
        return;
    std::tm other{};
    const wide moved = wide{time} + reading.tm_gmtoff - given;
    if (reads_like(zone, moved, wanted, other) && other.tm_isdst == reading.tm_isdst &&
        other.tm_gmtoff == given) {
        time = static_cast<std::int64_t>(moved);
        reading = other;
    }
}

/// Among times that read alike, one with the DST flag that the caller gave.
bool find_given_flag(const zone &zone, const std::tm &wanted, std::int64_t &time) {
    const bool dst = wanted.tm_isdst != 0;
    for (std::size_t same = zone.types.size(); same-- > 0;) {
        if (zone.types[same].dst != dst)
            continue;
        for (std::size_t other = zone.types.size(); other-- > 0;) {
            if (zone.types[other].dst == dst)
                continue;
            const wide moved = wide{time} + zone.types[other].offset - zone.types[same].offset;
            std::tm reading{};
            if (reads_like(zone, moved, wanted, reading) && reading.tm_isdst == wanted.tm_isdst) {
                time = static_cast<std::int64_t>(moved);
                return true;
            }
        }
    }
    return false;
}

/// One pass of the search.
std::optional<std::int64_t> pass(const zone &zone, std::tm &tm, seconds wish) {
    std::tm wanted = tm;
    if (!normalise(wanted, wish))
        return std::nullopt;
    int aside = 0;
    if (wanted.tm_sec < 0 || wanted.tm_sec > 59) {
        const bool early = std::int64_t{wanted.tm_year} + 1900 < 1970;
        if (__builtin_sub_overflow(wanted.tm_sec, early ? 59 : 0, &aside))
            return std::nullopt;
        wanted.tm_sec = early ? 59 : 0;
    }
    std::tm reading{};
    auto time = search(zone, wanted, reading);
    if (!time)
        return std::nullopt;
    prefer_given_offset(zone, wanted, *time, reading);
    if (wanted.tm_isdst >= 0 && reading.tm_isdst != wanted.tm_isdst) {
        if (zone.stands_for_null || !find_given_flag(zone, wanted, *time))
            return std::nullopt;
    }
    const wide found = wide{*time} + aside;
    if (!fits(found) ||
        to_local(zone, static_cast<std::int64_t>(found), reading) != answer::converted)
        return std::nullopt;
    tm = reading;
    return static_cast<std::int64_t>(found);
}

std::optional<std::int64_t> both_passes(const zone &zone, std::tm &tm) {
    const auto found = pass(zone, tm, seconds::left);
    return found ? found : pass(zone, tm, seconds::normalised);
}

/// The types of a zone's transitions, latest first, each once.
std::vector<local_type> used_types(const zone &zone) {
    std::vector<bool> seen(zone.types.size());
    std::vector<local_type> used;
    for (std::size_t i = zone.transitions.size(); i-- > 0;) {
        const std::size_t type = zone.transitions[i].type;
        if (!seen[type])
            used.push_back(zone.types[type]);
        seen[type] = true;
    }
    return used;
}

/// Takes the fields for those of a time of another type, with seconds added.
std::optional<std::int64_t> try_other_types(const zone &zone, std::tm &tm) {
    const auto used = used_types(zone);
    const bool dst = tm.tm_isdst != 0;
    for (const auto &same : used) {
        if (same.dst != dst)
            continue;
        for (const auto &other : used) {
            if (other.dst == dst)
                continue;
            const std::int64_t seconds = tm.tm_sec + (other.offset - same.offset);
            if (!fits_int(seconds))
                continue;
            std::tm moved = tm;
            moved.tm_sec = static_cast<int>(seconds);
            moved.tm_isdst = dst ? 0 : 1;
            if (const auto found = both_passes(zone, moved)) {
                tm = moved;
                return found;
            }
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<std::int64_t> find_time(const zone &zone, std::tm &tm) {
    std::tm wanted = tm;
    wanted.tm_isdst = std::min(wanted.tm_isdst, 1);
    auto found = both_passes(zone, wanted);
    if (!found && wanted.tm_isdst >= 0 && !zone.stands_for_null)
        found = try_other_types(zone, wanted);
    if (found)
        tm = wanted;
    return found;
}

} // namespace plain
