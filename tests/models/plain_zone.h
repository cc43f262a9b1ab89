// SPDX-License-Identifier: GPL-2.0-or-later
//
// The time-zone engine once more: plain and slow.
//
// The files of this folder state every rule of zone files, TZ strings and
// conversions once, one step after the other, each loop walked to its end.  No
// index, no closed forms, no room saved.  What the engine answers must be what
// this model answers, however odd the zone.
//
//     plain_zone      the record, and the calendar that all of them count by
//     plain_load      zone files: finding and reading them, footers, names
//     plain_scan      TZ strings taken apart
//     plain_rules     TZ strings made into zones
//     plain_convert   from a time to local time
//     plain_inverse   from local time to a time
//
// Decided here, where more than one reading of odd data is possible:
//
// - A null zone is UTC in both directions: offset 0, no types to choose from.
//   Leap seconds of the file "GMT" count, since it is that record which splits
//   the time.  Its abbreviation is the text that its store begins with, as the
//   file has it.
// - Table look-up on a table that is not in order: the first transition is
//   looked at on its own, then the middle of all, (low + high) / 2, with low = 0
//   and high = the number of transitions in the beginning.
// - A leap second reads one more than the second before it: 60 where it follows
//   a minute's last second, as all real ones do.
// - The inverse search goes on from the time that it probed, not from the one
//   after it, as long as there are others: where several times read alike, it
//   depends on this which of them is met first.
// - A time folded by whole cycles that does not lie within the table has no
//   local time; errno stays as it is.
// - Nothing wraps around at the ends of time.  What would be moved beyond them, by
//   a footer's leap seconds or to a TZ string's own offset, stays at the end; the
//   inverse search makes no try there.
// - The year is counted beyond an int while a broken-down time is normalised;
//   all other fields are not.
// - Seconds kept aside are an int as the field is: a pass fails where they are not.
// - A footer ends at a NUL, as any text does; version 0 has no footer.
#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <vector>

namespace plain {

inline constexpr std::int64_t cycle = 12622780800; ///< 400 years, in seconds
inline constexpr std::int64_t day_seconds = 86400;
inline constexpr std::int64_t earliest = std::numeric_limits<std::int64_t>::min();
inline constexpr std::int64_t latest = std::numeric_limits<std::int64_t>::max();

// What a record has room for.
inline constexpr std::size_t most_transitions = 2000;
inline constexpr std::size_t most_types = 256;
inline constexpr std::size_t most_file_characters = 50;
inline constexpr std::size_t most_leaps = 50;
inline constexpr std::size_t most_name_characters = 512;

/// Wide enough for every sum and difference of two times.
__extension__ typedef __int128 wide;

inline bool fits(wide value) { return earliest <= value && value <= latest; }

/// A sum that stays at the ends of time.
std::int64_t add_within_time(std::int64_t time, std::int64_t seconds);

struct local_type {
    std::int64_t offset = 0; ///< seconds east of UTC
    bool dst = false;
    std::size_t abbreviation = 0; ///< where in the store it begins
    bool standard_indicator = false;
    bool ut_indicator = false;
};

struct transition {
    std::int64_t time;
    std::size_t type;
};

struct leap_second {
    std::int64_t time;
    std::int64_t correction; ///< in force from then on, seconds
};

/// One zone.  `abbreviations` may hold NULs; an abbreviation ends at the next one
/// or where the store ends.
struct zone {
    std::vector<transition> transitions;
    std::vector<local_type> types;
    std::string abbreviations;
    std::vector<leap_second> leaps;
    bool go_back = false;
    bool go_ahead = false;
    std::size_t default_type = 0;
    bool stands_for_null = false; ///< the UTC zone, asked for by a null pointer
};

using bytes = std::vector<unsigned char>;

/// The abbreviation of a type; lives as long as the zone does not change.
const char *abbreviation(const zone &zone, const local_type &type);

bool is_leap(std::int64_t year);
int year_days(std::int64_t year);
/// month  0 = January
int month_days(std::int64_t year, int month);

} // namespace plain
