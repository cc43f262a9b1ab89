// SPDX-License-Identifier: GPL-2.0-or-later
//
// The span of years that a zone dump is asked for.
#pragma once

#include <cstdint>
#include <optional>

/// Seconds since 1970-01-01 00:00:00 UTC.
struct time_span {
    std::int64_t begin; ///< the first second of a year, in UTC
    std::int64_t end;   ///< the same
};

/// A year's first second in UTC; the nearest end of time for one beyond.
[[nodiscard]] std::int64_t start_of_year(std::int64_t year) noexcept;

/// What a dump covers unless it is told otherwise: the years -500 to 2500.
[[nodiscard]] time_span default_span() noexcept;

/// Reads "HIGH", which begins at -500, or "LOW,HIGH".  Nothing for any other text.
[[nodiscard]] std::optional<time_span> parse_span(const char *text) noexcept;
