// SPDX-License-Identifier: GPL-2.0-or-later
//
// From local time to a time, plainly.
#pragma once

#include <ctime>
#include <optional>

#include "models/plain_zone.h"

namespace plain {

/// The time that reads like `tm` in a zone; nothing when there is none.  On
/// success `tm` holds its conversion, else it is as it was.
std::optional<std::int64_t> find_time(const zone &zone, std::tm &tm);

} // namespace plain
