// SPDX-License-Identifier: GPL-2.0-or-later
//
// From local time back to a time.
#pragma once

#include <cstdint>
#include <ctime>

#include "tz/zone_state.h"

/// Finds the time that reads like `tm` in a zone, and normalises `tm`.
///
/// tm_isdst decides between two times that read alike, and moves a time that
/// does not exist; tm_gmtoff is a hint.  Returns false, with `tm` as it was
/// but for a tm_isdst above 1, when there is none.
[[nodiscard]] bool find_time(const zone_state &zone, std::tm &tm, std::int64_t &time) noexcept;
