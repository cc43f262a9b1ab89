// SPDX-License-Identifier: GPL-2.0-or-later
//
// Going on after a zone file's table with the rule string in its footer.
#pragma once

#include <cstddef>

#include "tz/tzif.h"

/// Extends a record by the footer at area.file[start], `length` bytes long.  A
/// footer that is missing, malformed or does not fit changes nothing.  The area
/// is scratch afterwards.
///
/// Returns which of the record's transitions the footer brought.
rule_transitions extend_zone(zone_work_area &area, std::size_t start, std::size_t length,
                             zone_data &zone);
