// SPDX-License-Identifier: GPL-2.0-or-later
//
// The years that rules are worked out for.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "tz/calendar.h"

/// Rules begin 200 years before 1970.
inline constexpr int first_rule_year = 1770;

/// Years are of fourteen kinds: by the weekday of 1 January, and 7 more for leap years.
inline constexpr std::size_t year_kinds = 14;

constexpr std::size_t kind_of_year(bool leap, int first_weekday) noexcept {
    return static_cast<std::size_t>(first_weekday) + (leap ? 7 : 0);
}

/// A year of the 400 that rules are worked out for.
struct rule_year {
    std::int32_t start; ///< days since 1970-01-01
    std::uint8_t kind;  ///< see kind_of_year()
    std::uint8_t alike; ///< so many years, this being the first, are like those 28 before
};

inline constexpr int days_per_28_years = 28 * 365 + 7;

consteval std::array<rule_year, 400> list_rule_years() noexcept {
    std::array<rule_year, 400> years{};
    for (std::size_t i = 0; i < years.size(); ++i) {
        const std::int64_t year = first_rule_year + static_cast<std::int64_t>(i);
        const std::int64_t start = days_from_date(year, 0, 1);
        years[i].start = static_cast<std::int32_t>(start);
        years[i].kind =
            static_cast<std::uint8_t>(kind_of_year(is_leap_year(year), weekday_from_days(start)));
    }
    // From the end, so that each year knows what follows.  Where a leap day in between is
    // left out, 28 years later it is another weekday, and so another kind of year.
    for (std::size_t i = years.size() - 1; i >= 28; --i)
        if (years[i].kind == years[i - 28].kind) {
            const int following = i + 1 < years.size() ? years[i + 1].alike : 0;
            years[i].alike = static_cast<std::uint8_t>(std::min(following + 1, 28));
        }
    return years;
}
inline constexpr std::array<rule_year, 400> rule_years = list_rule_years();
