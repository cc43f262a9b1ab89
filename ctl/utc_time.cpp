// SPDX-License-Identifier: GPL-2.0-or-later
#include "utc_time.h"

#include <chrono>
#include <cstdio>

namespace {

using std::chrono::sys_days;
using std::chrono::year_month_day;

constexpr std::int64_t days_since_1970(int year, unsigned month, unsigned day) {
    return sys_days{std::chrono::year{year} / std::chrono::month{month} / std::chrono::day{day}}
        .time_since_epoch()
        .count();
}
constexpr std::int64_t lowest = days_since_1970(0, 1, 1) * seconds_in_a_day;
constexpr std::int64_t highest = days_since_1970(9999, 12, 31) * seconds_in_a_day + 86399;

/// Takes a number of exactly `digits` digits off the front of the text.
std::optional<unsigned> take_number(std::string_view &text, std::size_t digits) noexcept {
    if (text.size() < digits)
        return std::nullopt;
    unsigned number = 0;
    for (const char c : text.substr(0, digits)) {
        if (c < '0' || c > '9')
            return std::nullopt;
        number = number * 10 + static_cast<unsigned>(c - '0');
    }
    text.remove_prefix(digits);
    return number;
}

bool take_one_of(std::string_view &text, std::string_view wanted) noexcept {
    if (text.empty() || wanted.find(text.front()) == std::string_view::npos)
        return false;
    text.remove_prefix(1);
    return true;
}

/// The seconds since midnight in "08:00" or "08:00:00", with or without "Z".
std::optional<unsigned> parse_time_of_day(std::string_view text) noexcept {
    const auto hour = take_number(text, 2);
    if (!hour || *hour > 23 || !take_one_of(text, ":"))
        return std::nullopt;
    const auto minute = take_number(text, 2);
    if (!minute || *minute > 59)
        return std::nullopt;
    unsigned second = 0;
    if (take_one_of(text, ":")) {
        const auto given = take_number(text, 2);
        if (!given || *given > 59)
            return std::nullopt;
        second = *given;
    }
    take_one_of(text, "Zz");
    if (!text.empty())
        return std::nullopt;
    return (*hour * 60 + *minute) * 60 + second;
}

} // namespace

std::string format_utc(std::int64_t time) {
    if (time < lowest || time > highest)
        return "@" + std::to_string(time);
    const std::chrono::sys_seconds instant{std::chrono::seconds{time}};
    const auto midnight = std::chrono::floor<std::chrono::days>(instant);
    const year_month_day date{midnight};
    const std::chrono::hh_mm_ss clock{instant - midnight};
    char text[sizeof "2026-11-23T08:00:00Z" + 32];
    std::snprintf(
        text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", int{date.year()},
        unsigned{date.month()}, unsigned{date.day()}, static_cast<int>(clock.hours().count()),
        static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count()));
    return text;
}

std::optional<std::int64_t> parse_utc(std::string_view text) noexcept {
    const auto year = take_number(text, 4);
    if (!year || !take_one_of(text, "-"))
        return std::nullopt;
    const auto month = take_number(text, 2);
    if (!month || !take_one_of(text, "-"))
        return std::nullopt;
    const auto day = take_number(text, 2);
    if (!day)
        return std::nullopt;
    const year_month_day date{std::chrono::year{static_cast<int>(*year)},
                              std::chrono::month{*month}, std::chrono::day{*day}};
    if (!date.ok())
        return std::nullopt;
    const std::int64_t midnight = sys_days{date}.time_since_epoch().count() * seconds_in_a_day;
    if (text.empty())
        return midnight;
    if (!take_one_of(text, "T t"))
        return std::nullopt;
    const auto seconds = parse_time_of_day(text);
    if (!seconds)
        return std::nullopt;
    return midnight + *seconds;
}
