// SPDX-License-Identifier: GPL-2.0-or-later
#include "timezone/dump_span.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "tz/calendar.h"

namespace {

constexpr std::int64_t default_low = -500;
constexpr std::int64_t default_high = 2500;

/// Reads a year at the start of a text and moves on after it.  Years out of
/// range are as far away as can be.
std::optional<std::int64_t> read_year(const char *&text) {
    char *end = nullptr;
    const std::int64_t year = std::strtoll(text, &end, 10);
    if (end == text)
        return std::nullopt;
    text = end;
    return year;
}

time_span span_of(std::int64_t low, std::int64_t high) {
    return {start_of_year(low), start_of_year(high)};
}

} // namespace

std::int64_t start_of_year(std::int64_t year) noexcept {
    using limits = std::numeric_limits<std::int64_t>;
    constexpr std::int64_t beyond_time = 300'000'000'000; // years; days are far from overflow
    const std::int64_t days = days_from_date(std::clamp(year, -beyond_time, beyond_time), 0, 1);
    std::int64_t seconds = 0;
    if (__builtin_mul_overflow(days, seconds_per_day, &seconds))
        return year < 0 ? limits::min() : limits::max();
    return seconds;
}

time_span default_span() noexcept { return span_of(default_low, default_high); }

std::optional<time_span> parse_span(const char *text) noexcept {
    const auto first = read_year(text);
    if (!first)
        return std::nullopt;
    if (*text == '\0')
        return span_of(default_low, *first);
    if (*text != ',')
        return std::nullopt;
    ++text;
    const auto second = read_year(text);
    if (!second || *text != '\0')
        return std::nullopt;
    return span_of(*first, *second);
}
