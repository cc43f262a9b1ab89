// SPDX-License-Identifier: GPL-2.0-or-later
//
// TZ strings that nobody writes, but that a zone may be made of.
#pragma once

#include <string>

#include "differential/odd_dice.h"

/// One in some of them is malformed.
std::string odd_tz_string(dice &dice);
