// SPDX-License-Identifier: GPL-2.0-or-later
//
// The proleptic Gregorian calendar in closed form: no loops, no tables of years.
#pragma once

#include <cstdint>
#include <limits>

inline constexpr std::int64_t seconds_per_day = 86400;
inline constexpr int days_per_400_years = 146097;
inline constexpr std::int64_t seconds_per_400_years = days_per_400_years * seconds_per_day;

constexpr bool is_leap_year(std::int64_t year) noexcept {
    // A year divisible by 4 and 25 is one by 100; by 16 and 25, one by 400.
    return (year & 3) == 0 && (year % 25 != 0 || (year & 15) == 0);
}

/// month: 0..11
constexpr int month_length(std::int64_t year, int month) noexcept {
    if (month == 1)
        return is_leap_year(year) ? 29 : 28;
    // 31 days in odd months up to July, in even ones from August on.
    return 30 + ((month + 1 + (month >= 7)) & 1);
}

/// Days of a year before a month, 0..11.
constexpr int days_before_month(bool leap, int month) noexcept {
    // Months of 30 and 31 days take turns from March on.
    return month < 2 ? 31 * month : 59 + leap + (153 * (month - 2) + 2) / 5;
}

constexpr std::int64_t floor_divide(std::int64_t value, std::int64_t divisor) noexcept {
    return value / divisor - (value % divisor < 0);
}

constexpr std::int64_t floor_remainder(std::int64_t value, std::int64_t divisor) noexcept {
    const std::int64_t remainder = value % divisor;
    return remainder < 0 ? remainder + divisor : remainder;
}

/// The sum, or the first or last number of all where it does not fit.
constexpr std::int64_t add_saturated(std::int64_t a, std::int64_t b) noexcept {
    std::int64_t sum = 0;
    if (!__builtin_add_overflow(a, b, &sum))
        return sum;
    return b < 0 ? std::numeric_limits<std::int64_t>::min()
                 : std::numeric_limits<std::int64_t>::max();
}

/// Whole cycles of 400 years that it takes to get from a time back to an earlier one,
/// or beyond that.
constexpr std::int64_t cycles_back(std::int64_t from, std::int64_t to) noexcept {
    // The distance may be longer than a signed number can tell.
    const std::uint64_t distance =
        static_cast<std::uint64_t>(from) - static_cast<std::uint64_t>(to);
    return static_cast<std::int64_t>((distance - 1) / seconds_per_400_years) + 1;
}

/// A time moved by whole cycles.  The cycles alone may be longer than all time;
/// the result has to fit.
constexpr std::int64_t move_by_cycles(std::int64_t time, std::int64_t cycles) noexcept {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(time) +
                                     static_cast<std::uint64_t>(cycles) *
                                         static_cast<std::uint64_t>(seconds_per_400_years));
}

/// Days from 1970-01-01 to a date.
///
/// month  0..11
/// day    1..31; any other number counts on from the month's first day
constexpr std::int64_t days_from_date(std::int64_t year, int month, std::int64_t day) noexcept {
    // Years are counted from 1 March, so that a leap day is a year's last.
    const std::int64_t march_year = month < 2 ? year - 1 : year;
    const int march_month = month < 2 ? month + 10 : month - 2;
    const std::int64_t cycle = floor_divide(march_year, 400);
    const std::int64_t year_of_cycle = march_year - cycle * 400;
    const std::int64_t day_of_year = (153 * march_month + 2) / 5 + day - 1;
    const std::int64_t day_of_cycle =
        year_of_cycle * 365 + year_of_cycle / 4 - year_of_cycle / 100 + day_of_year;
    return cycle * days_per_400_years + day_of_cycle - 719468;
}

struct calendar_date {
    std::int64_t year;
    int month;       ///< 0..11
    int day;         ///< 1..31
    int day_of_year; ///< 0..365
};

/// Days of the calendar are also counted from 1 March of a year divisible by
/// 400, which is then called the year 0: leap days end such years, and numbers
/// are positive.  Conversions move 1970 into the year 82 * 400 + 1970.
inline constexpr int bias_cycles = 82;
inline constexpr std::uint32_t bias_years = bias_cycles * 400;

/// Cycle day of a date.  year: 1..2.9 million; month: 0..11; day: 1..31.
constexpr std::uint32_t cycle_day_from_date(std::uint32_t year, std::uint32_t month,
                                            std::uint32_t day) noexcept {
    const std::uint32_t in_march_year = month < 2;
    const std::uint32_t march_year = year - in_march_year;
    const std::uint32_t march_month = month - 2 + 12 * in_march_year;
    const std::uint32_t century = march_year / 100;
    return 1461 * march_year / 4 - century + century / 4 + (153 * march_month + 2) / 5 + day - 1;
}

/// Date of a day of a year that begins on 1 March.
///
/// quarter_days  4 * days + 3, from 1 March of the year `first_year`; fewer
///               than 200 years, each fourth of which is a leap year
constexpr calendar_date date_from_quarter_days(std::uint32_t first_year, std::uint32_t quarter_days,
                                               bool first_is_leap) noexcept {
    // Divisions by 1461 quarter days a year, and by 153/5 days a month, are
    // multiplications by fractions of 2^32 and 2^16, exact over their range.
    const std::uint64_t scaled_year = std::uint64_t{2939745} * quarter_days;
    const auto year = static_cast<std::uint32_t>(scaled_year >> 32);
    const std::uint32_t march_day = static_cast<std::uint32_t>(scaled_year) / 2939745 / 4;
    const std::uint32_t scaled_month = 2141 * march_day + 197913;
    const std::uint32_t month = scaled_month >> 16; // 3 = March .. 14 = February
    const std::uint32_t day = (scaled_month & 0xFFFF) / 2141;

    const std::uint32_t next_year = march_day >= 306; // January or February
    const std::uint32_t leap = year == 0 ? first_is_leap : (year & 3) == 0;
    return {
        .year = std::int64_t{first_year + year + next_year},
        .month = static_cast<int>(month - 1 - 12 * next_year),
        .day = static_cast<int>(day + 1),
        .day_of_year = static_cast<int>(next_year != 0 ? march_day - 306 : march_day + 59 + leap),
    };
}

/// Date of a cycle day below 2^30.
constexpr calendar_date date_from_cycle_day(std::uint32_t days) noexcept {
    // From 1901 to 2099 every fourth year is a leap year: no centuries to find.
    constexpr std::uint32_t plain_year = bias_years + 1900;
    constexpr std::uint32_t plain_start = cycle_day_from_date(plain_year, 2, 1);
    constexpr std::uint32_t plain_first = cycle_day_from_date(plain_year + 1, 2, 1);
    constexpr std::uint32_t plain_last = cycle_day_from_date(plain_year + 200, 1, 28);
    if (days - plain_first <= plain_last - plain_first) {
        const std::uint32_t quarter_days = 4 * (days - plain_start) + 3;
        // Not in 1900, which the compiler cannot know: it need not ask whether
        // that was a leap year, and conversions take a fifth less time.
        if (quarter_days < 4 * 365)
            __builtin_unreachable(); // not run by any test: tells the compiler what cannot be
        constexpr bool is_1900_leap = false;
        return date_from_quarter_days(plain_year, quarter_days, is_1900_leap);
    }

    const std::uint32_t quarter_days = 4 * days + 3;
    const std::uint32_t century = quarter_days / days_per_400_years;
    return date_from_quarter_days(100 * century, quarter_days % days_per_400_years | 3,
                                  century % 4 == 0);
}

/// Weekday, 0 = Sunday, of such a day.  The fraction of 2^32 by which it is
/// multiplied is exact for days below 2^30.
constexpr int weekday_from_cycle_day(std::uint32_t days) noexcept {
    constexpr std::uint32_t seventh = 613566757; // 2^32 / 7, rounded up
    // 1 March of a year divisible by 400 is a Wednesday.
    return static_cast<int>(static_cast<std::uint64_t>((days + 3) * seventh) * 7 >> 32);
}

/// Days since 1970-01-01 of 1 March of the year 0, negated.
inline constexpr std::int64_t days_to_march_of_year_0 = 719468;

/// 0 = Sunday
constexpr int weekday_from_days(std::int64_t days) noexcept {
    const auto weekday = static_cast<int>((days + 4) % 7);
    return weekday < 0 ? weekday + 7 : weekday;
}
