// SPDX-License-Identifier: GPL-2.0-or-later
//
// When rules of a TZ string apply, by the standard library's calendar: a second
// opinion for the tests.
#pragma once

#include <chrono>
#include <cstdint>

#include "tz/tz_string.h"

/// Seconds from 1970 to the start of a year.
inline std::int64_t year_start(int year) {
    using namespace std::chrono;
    return sys_seconds(sys_days(year_month_day(std::chrono::year(year) / 1 / 1)))
        .time_since_epoch()
        .count();
}

/// The day on which a rule applies.
inline std::chrono::sys_days rule_day(int year, const zone_rule &rule) {
    using namespace std::chrono;
    const sys_days first{std::chrono::year(year) / 1 / 1};
    switch (rule.kind) {
    case zone_rule_kind::julian_day: {
        // Counted in a year that has no 29 February, then carried over.
        const year_month_day day{sys_days(std::chrono::year(2001) / 1 / 1) + days(rule.day - 1)};
        return std::chrono::year(year) / day.month() / day.day();
    }
    case zone_rule_kind::day_of_year:
        return first + days(rule.day);
    case zone_rule_kind::month_week_weekday:
        break;
    }
    const auto month =
        std::chrono::year(year) / std::chrono::month(static_cast<unsigned>(rule.month));
    const weekday wanted(static_cast<unsigned>(rule.day));
    if (rule.week == 5)
        return month / wanted[last];
    return month / wanted[static_cast<unsigned>(rule.week)];
}

/// Seconds from 1970 to a rule's moment in a year.
inline std::int64_t rule_moment(int year, const zone_rule &rule, std::int64_t offset) {
    const std::chrono::sys_seconds midnight(rule_day(year, rule));
    return midnight.time_since_epoch().count() + rule.time + offset;
}
