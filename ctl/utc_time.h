// SPDX-License-Identifier: GPL-2.0-or-later
//
// Seconds since 1970, written and read as people and programs do: ISO 8601, in UTC.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

constexpr std::int64_t seconds_in_a_day = 86400;
constexpr std::int64_t seconds_in_a_week = 7 * seconds_in_a_day;

/// "2026-11-23T08:00:00Z".  What lies outside the years 0 to 9999 is "@" and the number.
[[nodiscard]] std::string format_utc(std::int64_t time);

/// Reads "2026-11-23", "2026-11-23 08:00" or "2026-11-23T08:00:00", each with or without
/// a "Z" after the time of day.  Null for anything else.
[[nodiscard]] std::optional<std::int64_t> parse_utc(std::string_view text) noexcept;
