// SPDX-License-Identifier: GPL-2.0-or-later
//
// From a time to local time.  Nothing here touches process-wide state.
#pragma once

#include <cstdint>
#include <ctime>

#include "tz/zone_state.h"

/// Splits a time into calendar fields.
///
/// zone    whose leap seconds count; the other fields of it are not used
/// offset  seconds east of UTC, added to the time
///
/// Sets all of `result` but tm_isdst and tm_zone.  Returns false with errno
/// EOVERFLOW, and `result` as it was, when the year does not fit tm_year.
[[nodiscard]] bool split_time(const zone_state &zone, std::int64_t time, std::int64_t offset,
                              std::tm &result) noexcept;

/// Local time in a zone.
///
/// Returns the address of `result`; null, with `result` undefined, when the
/// year does not fit tm_year (errno is EOVERFLOW, or unchanged for a time that
/// was folded into the zone's table).
[[nodiscard]] std::tm *to_local(const zone_state &zone, std::int64_t time,
                                std::tm &result) noexcept;
