// SPDX-License-Identifier: GPL-2.0-or-later
//
// One loaded zone: plain data, no pointers, one block of memory.
#pragma once

#include <cstdint>

#include "tz/zone_index.h"

inline constexpr int ZONE_MAX_TIMES = 2000; ///< transitions kept
inline constexpr int ZONE_MAX_TYPES = 256;  ///< local-time types
inline constexpr int ZONE_MAX_CHARS = 50;   ///< abbreviation characters in a file
inline constexpr int ZONE_MAX_LEAPS = 50;   ///< leap-second records

/// Room for two names of up to 255 characters with their terminators, which
/// only a TZ string can have.
inline constexpr int ZONE_ABBREVIATIONS_SIZE = 512;

/// One kind of local time.
struct zone_type {
    std::int64_t utc_offset; ///< seconds east of UTC
    bool is_dst;
    int abbr_index; ///< where in zone_state::abbreviations its name begins
    bool is_std;    ///< the file gave its transitions in standard time
    bool is_ut;     ///< the file gave its transitions in UT
};

struct leap_record {
    std::int64_t transition; ///< seconds since 1970-01-01 00:00:00 UTC
    std::int64_t correction; ///< total correction from then on, seconds
};

/// What a zone file or a TZ string says.  Times are seconds since 1970-01-01
/// 00:00:00 UTC, leap seconds counted where the zone has leap records.
struct zone_data {
    int leap_count;
    int transition_count;
    int type_count;
    int char_count;
    bool go_back;  ///< times before the first transition repeat those 400 years later
    bool go_ahead; ///< times after the last transition repeat those 400 years earlier
    std::int64_t transition_times[ZONE_MAX_TIMES];  ///< nearly always increasing
    unsigned char transition_types[ZONE_MAX_TIMES]; ///< type in force from each on
    zone_type types[ZONE_MAX_TYPES];
    char abbreviations[ZONE_ABBREVIATIONS_SIZE]; ///< separated by NULs
    leap_record leaps[ZONE_MAX_LEAPS];
    int default_type; ///< before the first transition, or when there is none
};

/// A zone ready for use.
struct zone_state : zone_data {
    rule_transitions rules; ///< set by whoever fills the record

    /// Finds transitions quickly.  Derived from the above by make_ready(), which whoever
    /// fills a record calls last, and by the first look-up.
    mutable zone_index index;
};

/// The type in force after `passed` transitions (0: before the first).
inline const zone_type &type_after(const zone_data &zone, int passed) {
    return zone.types[passed == 0 ? zone.default_type : zone.transition_types[passed - 1]];
}

inline const char *type_abbreviation(const zone_data &zone, const zone_type &type) {
    return zone.abbreviations + type.abbr_index;
}
