// SPDX-License-Identifier: GPL-2.0-or-later
//
// Proves the engine's closed-form calendar: while it is compiled for 400 years
// around the present, and when it runs for every day that the forms serve.
#include <cstdio>
#include <utility>

#include "differential/calendar.h"

#if !defined(__clang__) // which takes half a minute for it
namespace {

constexpr int days_of_year(std::int64_t year) { return plain_leap_year(year) ? 366 : 365; }

/// Days of some years, counted as conversions count them.
constexpr bool are_right(std::int64_t first_year, std::int64_t end_year) {
    // 1 January 1800 was a Wednesday.
    plain_date date{1800, 0, 1, 0, 3};
    std::int64_t days = 0;
    for (; date.year < first_year; ++date.year)
        days += days_of_year(date.year);
    date.weekday = static_cast<int>((date.weekday + days) % 7);
    constexpr std::uint32_t first_of_1800 = cycle_day_from_date(bias_years + 1800, 0, 1);
    auto cycle_day = first_of_1800 + static_cast<std::uint32_t>(days);
    date.year += bias_years;
    for (; date.year < bias_years + end_year; date.go_on(), ++cycle_day)
        if (!is_right_about(date, cycle_day))
            return false;
    return true;
}

/// Twenty years at a time: compilers count their steps.
template <int part>
constexpr bool part_is_right = are_right(1800 + 20 * part, 1800 + 20 * (part + 1));

template <int... parts> constexpr bool all_are_right(std::integer_sequence<int, parts...>) {
    return (part_is_right<parts> && ...);
}

static_assert(all_are_right(std::make_integer_sequence<int, 20>{}));

} // namespace
#endif

int main() {
    constexpr std::uint32_t end = std::uint32_t{1} << 30;
    plain_date date = first_cycle_day;
    for (std::uint32_t day = 0; day < end; ++day, date.go_on()) {
        if (!is_right_about(date, day)) {
            std::printf("wrong about cycle day %u\n", day);
            return 1;
        }
    }
    std::printf("calendar: right about %u days\n", end);
    return 0;
}
