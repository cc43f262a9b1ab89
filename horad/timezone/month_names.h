// SPDX-License-Identifier: GPL-2.0-or-later
//
// Months as a dump writes and reads them.
#pragma once

#include <array>

inline constexpr std::array month_names{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                        "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
