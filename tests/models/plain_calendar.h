// SPDX-License-Identifier: GPL-2.0-or-later
//
// The Gregorian calendar as it is taught, one day after another.
#pragma once

#include <cstdint>

constexpr bool plain_leap_year(std::int64_t year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

constexpr int plain_month_length(std::int64_t year, int month) {
    constexpr int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 1 && plain_leap_year(year) ? 29 : lengths[month];
}

struct plain_date {
    std::int64_t year;
    int month;       ///< 0..11
    int day;         ///< 1..31
    int day_of_year; ///< 0..365
    int weekday;     ///< 0 = Sunday

    constexpr void go_on() {
        weekday = weekday == 6 ? 0 : weekday + 1;
        ++day;
        ++day_of_year;
        if (day <= plain_month_length(year, month))
            return;
        day = 1;
        if (++month < 12)
            return;
        month = 0;
        day_of_year = 0;
        ++year;
    }
};
