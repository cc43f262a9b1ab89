// SPDX-License-Identifier: GPL-2.0-or-later
//
// The search that defines what mktime_z answers, step by step and without any
// short cut: slow, and simple enough to be read.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>

#include "tz/zone_state.h"

/// The time, or nothing where mktime_z fails.  `tm` is normalised on success.
std::optional<std::int64_t> search_time(const zone_state &zone, struct tm &tm);
