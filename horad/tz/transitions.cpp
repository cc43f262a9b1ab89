// SPDX-License-Identifier: GPL-2.0-or-later
#include "tz/transitions.h"

#include <algorithm>

#include "tz/build_index.h"

namespace {

/// Written out, since it must also end for unordered transitions, of which the
/// first one alone decides what lies before the table.
int search_all(const zone_state &zone, std::int64_t time) {
    if (zone.transition_count == 0 || time < zone.transition_times[0])
        return 0;
    int low = 0;
    int high = zone.transition_count;
    while (low < high) {
        const int middle = (low + high) / 2;
        if (time < zone.transition_times[middle])
            high = middle;
        else
            low = middle + 1;
    }
    return low;
}

} // namespace

int transitions_passed(const zone_state &zone, std::int64_t time) {
    const std::uint64_t span = index_span(zone);
    const std::uint64_t position = index_position(zone, time);
    if (position >= span)
        return order_of(zone).regular && time >= zone.index.last ? zone.transition_count
                                                                 : search_all(zone, time);
    const std::uint16_t *slot = index_slot(zone, position);
    if (!is_crowded(slot))
        return transitions_passed_in_slot(zone, time, slot);
    const std::int64_t *const times = zone.transition_times;
    return static_cast<int>(std::upper_bound(times + slot[0], times + slot[1], time) - times);
}
