// SPDX-License-Identifier: GPL-2.0-or-later
//
// What lies beyond a zone file's table: the rule string in its footer goes on after
// it, it may repeat, and something is in force before it.  Pure.
#pragma once

#include "tz/zone_state.h"

/// A zone whose transitions no rule string brought.
inline rule_transitions no_rules(const zone_data &zone) {
    return {.from = zone.transition_count, .per_cycle = 0};
}

/// Appends a footer's zone to a file's.  What does not fit changes nothing.
///
/// footer  as build_zone() makes it; scratch afterwards
/// rules   of which kind its transitions are
///
/// Returns which of the record's transitions the footer brought.
[[nodiscard]] rule_transitions extend_zone(zone_data &footer, const rule_transitions &rules,
                                           zone_data &zone);

/// Finds out whether a table repeats, and what is in force before it.  False for a
/// zone without any type.
[[nodiscard]] bool complete_zone(zone_data &zone, const rule_transitions &rules);
