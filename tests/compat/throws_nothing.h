// SPDX-License-Identifier: GPL-2.0-or-later
//
// For the assertions that are made from the list of exported functions.
#pragma once

#include <ctime>

#include "horad/discipline.h"
#include "horad/state.h"
#include "horad/timezone.h"
#include "horad/tz.h"

/// Whether a function, by the type of its address, was declared to throw nothing.
template <class function> inline constexpr bool throws_nothing = false;
template <class result, class... arguments>
inline constexpr bool throws_nothing<result (*)(arguments...) noexcept> = true;
