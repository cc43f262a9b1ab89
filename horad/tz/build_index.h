// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <atomic>

#include "tz/zone_state.h"

/// Makes a record that is otherwise complete ready for use.  Its index is built at its
/// first look-up.
void make_ready(zone_state &zone) noexcept;

/// How far a zone's table can be relied on.
struct table_order {
    bool regular;               ///< see zone_index
    std::int64_t repeats_after; ///< see zone_index
};

/// Builds the index, or does without it while another thread does.
table_order build_order(const zone_state &zone) noexcept;

/// Builds the index if there is none yet.  While another thread does, nothing is taken
/// for granted: the same is found, only slower.  So it stays for the child of a fork() in
/// the middle of that.  Safe on any thread.
inline table_order order_of(const zone_state &zone) noexcept {
    zone_index &index = zone.index;
    const std::atomic_ref progress(index.progress);
    if (progress.load(std::memory_order_acquire) == index_progress::done) [[likely]]
        return {index.regular,
                std::atomic_ref(index.repeats_after).load(std::memory_order_relaxed)};
    return build_order(zone);
}
