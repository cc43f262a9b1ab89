// SPDX-License-Identifier: GPL-2.0-or-later
//
// The engine's closed-form calendar against one that counts days.
#pragma once

#include "models/plain_calendar.h"
#include "tz/calendar.h"

/// 1 March of a year divisible by 400 begins a cycle of the calendar.
inline constexpr plain_date first_cycle_day{0, 2, 1, 60, 3};

/// Whether every closed form is right about a day.
///
/// date       of the day; its year counted like the cycle day's
/// cycle_day  below 2^30
constexpr bool is_right_about(const plain_date &date, std::uint32_t cycle_day) {
    const calendar_date found = date_from_cycle_day(cycle_day);
    if (found.year != date.year || found.month != date.month || found.day != date.day ||
        found.day_of_year != date.day_of_year || weekday_from_cycle_day(cycle_day) != date.weekday)
        return false;
    const std::int64_t days = std::int64_t{cycle_day} - days_to_march_of_year_0;
    const bool leap = plain_leap_year(date.year);
    return days_from_date(date.year, date.month, date.day) == days &&
           weekday_from_days(days) == date.weekday && is_leap_year(date.year) == leap &&
           month_length(date.year, date.month) == plain_month_length(date.year, date.month) &&
           days_before_month(leap, date.month) + date.day - 1 == date.day_of_year &&
           (date.year == 0 || date.year > 2'900'000 ||
            cycle_day_from_date(static_cast<std::uint32_t>(date.year),
                                static_cast<std::uint32_t>(date.month),
                                static_cast<std::uint32_t>(date.day)) == cycle_day);
}
