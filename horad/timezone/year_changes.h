// SPDX-License-Identifier: GPL-2.0-or-later
//
// From a zone dump's first lines to a judgement: is it daylight-saving time?
// Nothing here reads a file or prints.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

/// Lines kept of a dump: those of the lowest instants, of two changes and of the
/// highest instants.
inline constexpr std::size_t kept_lines = 8;

/// A line with its line feed and the zero that ends it; a longer one goes on in the
/// next.
using dump_line = std::array<char, 256>;

/// Whether a dump shows a change in a year: its third line names the year, and
/// neither of those before does.
///
/// lines  the first lines of the dump
/// year   looked for as a text, anywhere in a line.  2036, and some years after
///        2200, are in the number of one of the lowest instants: no dump ever shows a
///        change in such a year, nor in one of more than four digits.
[[nodiscard]] bool shows_changes(std::span<const dump_line> lines, int year) noexcept;

/// What a line of a dump says: an instant in UTC and in local time.  Both are
/// read as local times of the process's own zone (on purpose: `now` is compared
/// with times as an operator's clock there shows them), in seconds since
/// 1970-01-01 00:00:00 UTC.  Whether that is daylight-saving time the conversion
/// decides; a time that the zone skips is read in its standard time.
struct change_times {
    std::int64_t utc;
    std::int64_t local;
};

/// The last second before and the first second after each of a year's first two
/// changes.
using year_changes = std::array<change_times, 4>;

/// Reads them from a dump's lines.  A line that is missing or not of the form
/// leaves the fields that it does not reach as the line before had them.
///
/// Refreshes the process's zone, as mktime() does.
[[nodiscard]] year_changes read_changes(std::span<const dump_line> lines) noexcept;

enum class hemisphere { northern, southern };

/// In the south the year begins in daylight-saving time: its first change sets
/// clocks back.
[[nodiscard]] hemisphere hemisphere_of(const year_changes &changes) noexcept;

/// Whether daylight-saving time is taken to be in force.  The bounds themselves are standard
/// time in both hemispheres.
[[nodiscard]] bool is_daylight_saving(const year_changes &changes, std::int64_t now) noexcept;
