// SPDX-License-Identifier: GPL-2.0-or-later
//
// Finding the transition in force at a time without searching them all.
//
// The span of a zone's transitions is cut into slots of equal length, short
// enough that a slot of a zone with two changes a year hardly ever holds more
// than one.  For each slot the index holds how many transitions lie at or
// before its start; a look-up then compares with the next one only.
//
// A table that repeats every 400 years is indexed for as long as it takes to
// repeat; later times are moved back by whole cycles.
#pragma once

#include <cstdint>

inline constexpr int zone_index_slots = 4096;

/// Slots end before this time, so that years within them fit any tm_year.
inline constexpr std::int64_t latest_indexed_time = std::int64_t{1} << 46;

/// The transitions at the end of a table that a rule string brought.  Made by a
/// pair of rules, what one cycle of 400 years holds, the next ones hold again.
struct rule_transitions {
    int from;      ///< the first of them, or the number of all when there are none
    int per_cycle; ///< their number in 400 years; 0: they come from the rules file
};

/// A year's second change can come after the next year's first, but no rule reaches
/// further: so many places about where order would have it, a transition is found.
inline constexpr int rule_disorder = 4;

enum class index_progress : std::uint32_t { not_begun, begun, done };

/// Built when it is first asked for, by whichever thread that is; others do without it
/// until it is there.  So what changes then and any look-up reads at once (`begin`, `span`,
/// `repeats_after`) is read and written as atomic: `span`, written last, says that there
/// are slots.
struct zone_index {
    std::int64_t begin;          ///< start of the first slot
    std::uint64_t span;          ///< the slots serve times begin .. begin + span - 1;
                                 ///< 0 when there are none, as with leap seconds
    std::int64_t lowest_offset;  ///< of all types; there from the start, as the next two are
    std::int64_t highest_offset; ///< of all types
    std::int64_t last;           ///< the last transition; 0 when there is none
    std::int64_t repeats_after;  ///< what is later than this, was 400 years before; the
                                 ///< end of time for a zone that does not repeat, and
                                 ///< for any before this is known
    int shift;                   ///< a slot is 2^shift seconds long
    bool regular;                ///< the transitions increase, and every repetition is of
                                 ///< times that the table has and whose years fit
    index_progress progress;     ///< `regular` counts when it is done
    std::uint16_t passed[zone_index_slots + 4]; ///< transitions up to a slot's start
};
