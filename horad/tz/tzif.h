// SPDX-License-Identifier: GPL-2.0-or-later
//
// Compiled zone files (TZif, RFC 8536, versions 1 to 3) from bytes: pure.
#pragma once

#include <span>

#include "tz/zone_state.h"

/// Fills a record with a file's table.  What lies beyond the table is for
/// complete_zone() to say.
///
/// footer  set to what follows the table: a rule string between two newlines, or
///         nothing
///
/// Returns false, with the record partly written, when a count is larger than the record
/// or the bytes hold, times go back, a type or an abbreviation is not among those of the
/// file, a leap second is before 1970, too close to the one before or no step of one
/// second, a flag or an indicator is neither 0 nor 1, or there are not as many indicators
/// as types.
[[nodiscard]] bool decode_tzif(std::span<unsigned char> file, zone_data &zone,
                               std::span<unsigned char> &footer) noexcept;
