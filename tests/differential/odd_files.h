// SPDX-License-Identifier: GPL-2.0-or-later
//
// Zone files that no compiler writes, but that may lie on a device.
#pragma once

#include <vector>

#include "differential/odd_dice.h"

/// One in some of them is damaged.
std::vector<unsigned char> odd_zone_file(dice &dice);
