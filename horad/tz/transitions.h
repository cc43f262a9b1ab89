// SPDX-License-Identifier: GPL-2.0-or-later
//
// How many of a zone's transitions lie at or before a time, and so which type
// is in force.  Inline where it is most of a conversion.
#pragma once

#include <atomic>
#include <cstdint>

#include "tz/zone_state.h"

/// How many seconds a zone's index serves; 0 before it is built.  What else the index
/// holds is to be read after this.
inline std::uint64_t index_span(const zone_state &zone) {
    return std::atomic_ref(zone.index.span).load(std::memory_order_acquire);
}

/// Seconds from the first slot of a zone's index, or a very large number for a
/// time before it.
inline std::uint64_t index_position(const zone_state &zone, std::int64_t time) {
    const std::int64_t begin = std::atomic_ref(zone.index.begin).load(std::memory_order_relaxed);
    return static_cast<std::uint64_t>(time) - static_cast<std::uint64_t>(begin);
}

/// zone_index::repeats_after; the end of time before the index is built.
inline std::int64_t repetition_limit(const zone_state &zone) {
    return std::atomic_ref(zone.index.repeats_after).load(std::memory_order_relaxed);
}

/// For a time at a position within the index's span: at least 1, less than
/// count.  Not for a slot with more than one transition.
inline int transitions_passed_in_slot(const zone_state &zone, std::int64_t time,
                                      const std::uint16_t *slot) {
    // Without a branch: which part of a slot a time falls into cannot be
    // predicted.  In an empty slot the next transition is still to come.
    return *slot + (zone.transition_times[*slot] <= time);
}

/// The slot of a position within the index's span.
inline const std::uint16_t *index_slot(const zone_state &zone, std::uint64_t position) {
    return zone.index.passed + (position >> zone.index.shift);
}

inline bool is_crowded(const std::uint16_t *slot) { return slot[1] - slot[0] > 1; }

/// For any time: 0..count.
int transitions_passed(const zone_state &zone, std::int64_t time);
