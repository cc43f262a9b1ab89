// SPDX-License-Identifier: GPL-2.0-or-later
//
// What to ask a zone.
#pragma once

#include <cstdint>
#include <ctime>
#include <vector>

#include "differential/odd_dice.h"
#include "models/plain_zone.h"

/// Around transitions and leap seconds, 400 years from them, the ends of time
/// and of what a tm_year can hold, and anywhere.
std::vector<std::int64_t> odd_instants(dice &dice, const plain::zone &zone);

/// Readings of such times, here and elsewhere, disarranged, with flags and
/// offsets that may or may not fit.
std::vector<std::tm> odd_readings(dice &dice, const plain::zone &zone,
                                  const std::vector<std::int64_t> &times, int count);
