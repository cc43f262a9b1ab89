// SPDX-License-Identifier: GPL-2.0-or-later
#include "differential/search_reference.h"

#include <algorithm>
#include <climits>
#include <tuple>
#include <vector>

#include "common/broken_down.h"
#include "horad/tz.h"

namespace {

bool is_leap(std::int64_t year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int year_length(std::int64_t year) { return is_leap(year) ? 366 : 365; }

int month_length(std::int64_t year, int month) {
    static constexpr int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 1 && is_leap(year) ? 29 : lengths[month];
}

/// Brings `low` into 0..base-1 and the rest into `high`; false when that is no
/// int any more.
bool carry(std::int64_t &high, std::int64_t &low, int base) {
    std::int64_t over = low / base;
    if (low % base < 0)
        --over;
    low -= over * base;
    high += over;
    return high >= INT_MIN && high <= INT_MAX;
}

/// Whether a first or a second try is made: the second carries seconds out of range.
enum class attempt { first, second };

/// Normalised fields, tm_year included; false when something overflows.
bool normalise(struct tm &tm, attempt made) {
    std::int64_t second = tm.tm_sec;
    std::int64_t minute = tm.tm_min;
    std::int64_t hour = tm.tm_hour;
    std::int64_t day = tm.tm_mday;
    std::int64_t month = tm.tm_mon;
    std::int64_t year = tm.tm_year;
    if (made == attempt::second && !carry(minute, second, 60))
        return false;
    if (!carry(hour, minute, 60) || !carry(day, hour, 24))
        return false;
    std::int64_t over = month / 12;
    if (month % 12 < 0)
        --over;
    month -= over * 12;
    year += over + 1900;
    // The month decides which year's February lies in the way.
    while (day < 1) {
        --year;
        day += year_length(year + (month > 1));
    }
    while (day > 366) {
        day -= year_length(year + (month > 1));
        ++year;
    }
    while (day > month_length(year, static_cast<int>(month))) {
        day -= month_length(year, static_cast<int>(month));
        if (++month == 12) {
            month = 0;
            ++year;
        }
    }
    year -= 1900;
    if (year < INT_MIN || year > INT_MAX)
        return false;
    tm.tm_sec = static_cast<int>(second);
    tm.tm_min = static_cast<int>(minute);
    tm.tm_hour = static_cast<int>(hour);
    tm.tm_mday = static_cast<int>(day);
    tm.tm_mon = static_cast<int>(month);
    tm.tm_year = static_cast<int>(year);
    return true;
}

bool convert(const zone_state &zone, std::int64_t when, struct tm &tm) {
    const time_t time = when;
    return localtime_rz(&zone, &time, &tm) != nullptr;
}

/// How a probe compares with what is wanted; one that can't be converted is too
/// far from 0.
int compare_probe(const zone_state &zone, std::int64_t when, const struct tm &wanted,
                  struct tm &probe) {
    if (!convert(zone, when, probe))
        return when > 0 ? 1 : -1;
    const auto fields = [](const struct tm &tm) {
        return std::tie(tm.tm_year, tm.tm_mon, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec);
    };
    if (fields(probe) == fields(wanted))
        return 0;
    return fields(probe) > fields(wanted) ? 1 : -1;
}

std::optional<std::int64_t> narrow(const zone_state &zone, const struct tm &wanted,
                                   struct tm &probe) {
    std::int64_t low = INT64_MIN;
    std::int64_t high = INT64_MAX;
    for (;;) {
        std::int64_t middle = low / 2 + high / 2;
        middle = std::clamp(middle, low, high);
        const int order = compare_probe(zone, middle, wanted, probe);
        if (order == 0)
            return middle;
        if (low == high)
            return std::nullopt;
        if (middle == low) {
            ++middle;
            ++low;
        } else if (middle == high) {
            --middle;
            --high;
        }
        if (low > high)
            return std::nullopt;
        if (order > 0)
            high = middle;
        else
            low = middle;
    }
}

/// Moves a time by a difference of offsets; nothing when that is out of range.
std::optional<std::int64_t> moved(std::int64_t when, std::int64_t by) {
    std::int64_t result;
    if (__builtin_add_overflow(when, by, &result))
        return std::nullopt;
    return result;
}

/// Whether a time reads as wanted, with the flag given.
bool reads(const zone_state &zone, std::int64_t when, const struct tm &wanted, int is_dst,
           struct tm &tm) {
    return convert(zone, when, tm) && same_fields(tm, wanted) && tm.tm_isdst == is_dst;
}

/// The offset that was given may pick another time that reads the same.
void prefer_offset(const zone_state &zone, const struct tm &wanted, std::int64_t &when,
                   struct tm &found) {
    const long given = wanted.tm_gmtoff;
    if (found.tm_gmtoff == given || given < -86400 || given > 86400)
        return;
    const auto other = moved(when, found.tm_gmtoff - given);
    struct tm tm;
    if (other && reads(zone, *other, wanted, found.tm_isdst, tm) && tm.tm_gmtoff == given) {
        when = *other;
        found = tm;
    }
}

/// The flag that was given may pick another time that reads the same.
bool prefer_flag(const zone_state &zone, const struct tm &wanted, std::int64_t &when,
                 const struct tm &found) {
    if (wanted.tm_isdst < 0 || wanted.tm_isdst == found.tm_isdst)
        return true;
    for (int same = zone.type_count - 1; same >= 0; --same) {
        if (zone.types[same].is_dst != (wanted.tm_isdst != 0))
            continue;
        for (int other = zone.type_count - 1; other >= 0; --other) {
            if (zone.types[other].is_dst == (wanted.tm_isdst != 0))
                continue;
            const auto tried =
                moved(when, zone.types[other].utc_offset - zone.types[same].utc_offset);
            struct tm tm;
            if (tried && reads(zone, *tried, wanted, wanted.tm_isdst, tm)) {
                when = *tried;
                return true;
            }
        }
    }
    return false;
}

std::optional<std::int64_t> search_once(const zone_state &zone, struct tm &tm, attempt made) {
    struct tm wanted = tm;
    if (!normalise(wanted, made))
        return std::nullopt;
    std::int64_t kept_aside = 0;
    if (wanted.tm_sec < 0 || wanted.tm_sec > 59) {
        const int base = wanted.tm_year < 70 ? 59 : 0;
        kept_aside = std::int64_t{wanted.tm_sec} - base;
        // What is kept is a field, too; the second try does without.
        if (kept_aside < INT_MIN)
            return std::nullopt;
        wanted.tm_sec = base;
    }
    struct tm found;
    const auto first = narrow(zone, wanted, found);
    if (!first)
        return std::nullopt;
    std::int64_t when = *first;
    prefer_offset(zone, wanted, when, found);
    if (!prefer_flag(zone, wanted, when, found))
        return std::nullopt;
    const auto exact = moved(when, kept_aside);
    struct tm result;
    if (!exact || !convert(zone, *exact, result))
        return std::nullopt;
    tm = result;
    return exact;
}

std::optional<std::int64_t> search_twice(const zone_state &zone, struct tm &tm) {
    const auto when = search_once(zone, tm, attempt::first);
    return when ? when : search_once(zone, tm, attempt::second);
}

/// The types that transitions use, the latest first, each once.
std::vector<int> used_types(const zone_state &zone) {
    std::vector<int> used;
    for (int i = zone.transition_count - 1; i >= 0; --i) {
        const int type = zone.transition_types[i];
        if (std::find(used.begin(), used.end(), type) == used.end())
            used.push_back(type);
    }
    return used;
}

} // namespace

std::optional<std::int64_t> search_time(const zone_state &zone, struct tm &tm) {
    tm.tm_isdst = std::min(tm.tm_isdst, 1);
    if (const auto when = search_twice(zone, tm))
        return when;
    if (tm.tm_isdst < 0)
        return std::nullopt;
    const auto used = used_types(zone);
    for (const int same : used) {
        if (zone.types[same].is_dst != (tm.tm_isdst != 0))
            continue;
        for (const int other : used) {
            if (zone.types[other].is_dst == (tm.tm_isdst != 0))
                continue;
            struct tm tried = tm;
            const std::int64_t second =
                tm.tm_sec + zone.types[other].utc_offset - zone.types[same].utc_offset;
            if (second < INT_MIN || second > INT_MAX)
                continue;
            tried.tm_sec = static_cast<int>(second);
            tried.tm_isdst = !tm.tm_isdst;
            if (const auto when = search_twice(zone, tried)) {
                tm = tried;
                return when;
            }
        }
    }
    return std::nullopt;
}
