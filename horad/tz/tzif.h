// SPDX-License-Identifier: GPL-2.0-or-later
//
// Compiled zone files (TZif, RFC 8536, versions 1 to 3) from bytes.
#pragma once

#include <cstddef>

#include "tz/zone_state.h"

/// Most of a zone file that is read, bytes.
inline constexpr std::size_t zone_file_limit = 59064;

/// What loading a zone needs besides the record itself, about 83 kB.  It lies on
/// the stack: loading takes nothing from the heap.
struct zone_work_area {
    unsigned char file[zone_file_limit];
    zone_data footer; ///< the zone of the rule string behind the table
};

/// Reads a zone file's first bytes into area.file, and their number into length.
/// Returns 0 or an errno value.  (Defined with the rest of finding files.)
int read_zone_file(const char *name, zone_work_area &area, std::size_t &length);

/// Fills a record from the first `length` bytes of area.file.
///
/// rules   set to which of the transitions the footer brought
/// extend  use the footer's rule string to go on after the table
///
/// Returns 0, or EINVAL with the record partly written.  The area is scratch
/// afterwards.
int decode_zone(zone_work_area &area, std::size_t length, zone_data &zone, rule_transitions &rules,
                bool extend);
