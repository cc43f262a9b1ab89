// SPDX-License-Identifier: GPL-2.0-or-later
#include "models/plain_convert.h"

namespace plain {
namespace {

wide floor_divide(wide value, wide by) {
    const wide quotient = value / by;
    return value % by < 0 ? quotient - 1 : quotient;
}

bool fits_int(wide value) {
    return std::numeric_limits<int>::min() <= value && value <= std::numeric_limits<int>::max();
}

answer split_time(std::int64_t time, std::int64_t offset, const zone &zone, std::tm &result) {
    std::int64_t correction = 0;
    bool leap_now = false;
    for (std::size_t i = 0; i < zone.leaps.size(); ++i) {
        if (zone.leaps[i].time <= time) {
            const std::int64_t before = i == 0 ? 0 : zone.leaps[i - 1].correction;
            correction = zone.leaps[i].correction;
            leap_now = zone.leaps[i].time == time && before < correction;
        }
    }

    const wide local = wide{time} + offset - correction;
    const wide days = floor_divide(local, day_seconds);
    const auto second_of_day = static_cast<int>(local - days * day_seconds);

    // Whole cycles of 400 years first, then year by year.
    constexpr int cycle_days = 146097;
    const wide cycles = floor_divide(days, cycle_days);
    wide year = 1970 + cycles * 400;
    auto day = static_cast<int>(days - cycles * cycle_days);
    int in_cycle = 1970;
    while (day >= year_days(in_cycle)) {
        day -= year_days(in_cycle);
        ++in_cycle;
        ++year;
    }
    if (!fits_int(year - 1900))
        return answer::year_too_far;

    result.tm_year = static_cast<int>(year - 1900);
    result.tm_yday = day;
    result.tm_mon = 0;
    while (day >= month_days(in_cycle, result.tm_mon)) {
        day -= month_days(in_cycle, result.tm_mon);
        ++result.tm_mon;
    }
    result.tm_mday = day + 1;
    result.tm_hour = second_of_day / 3600;
    result.tm_min = second_of_day / 60 % 60;
    result.tm_sec = second_of_day % 60 + leap_now;
    // 1 January 1970 was a Thursday.
    const wide weekday = days + 4;
    result.tm_wday = static_cast<int>(weekday - floor_divide(weekday, 7) * 7);
    result.tm_gmtoff = offset;
    return answer::converted;
}

const local_type &type_at(const zone &zone, std::int64_t time) {
    const auto &transitions = zone.transitions;
    if (transitions.empty() || time < transitions.front().time)
        return zone.types[zone.default_type];
    std::size_t low = 0;
    std::size_t high = transitions.size();
    while (low < high) {
        const std::size_t middle = (low + high) / 2;
        if (time < transitions[middle].time)
            high = middle;
        else
            low = middle + 1;
    }
    return zone.types[transitions[low - 1].type];
}

/// sign  -1: the time lies before the table, 1: after it
answer fold(const zone &zone, std::int64_t time, int sign, std::tm &result) {
    const std::int64_t first = zone.transitions.front().time;
    const std::int64_t last = zone.transitions.back().time;
    const wide distance = sign < 0 ? wide{first} - time : wide{time} - last;
    const wide cycles = (distance - 1) / cycle + 1;
    const wide folded = time - sign * cycles * cycle;
    if (folded < first || folded > last)
        return answer::folded_away;
    const answer found = to_local(zone, static_cast<std::int64_t>(folded), result);
    if (found != answer::converted)
        return found;
    const wide year = result.tm_year + sign * cycles * 400;
    if (!fits_int(year))
        return answer::folded_away;
    result.tm_year = static_cast<int>(year);
    return answer::converted;
}

} // namespace

answer to_local(const zone &zone, std::int64_t time, std::tm &result) {
    if (zone.stands_for_null) {
        result.tm_isdst = 0;
        result.tm_zone = zone.abbreviations.c_str();
        return split_time(time, 0, zone, result);
    }
    if (!zone.transitions.empty()) {
        if (zone.go_back && time < zone.transitions.front().time)
            return fold(zone, time, -1, result);
        if (zone.go_ahead && time > zone.transitions.back().time)
            return fold(zone, time, 1, result);
    }
    const local_type &type = type_at(zone, time);
    result.tm_isdst = type.dst ? 1 : 0;
    result.tm_zone = abbreviation(zone, type);
    return split_time(time, type.offset, zone, result);
}

} // namespace plain
