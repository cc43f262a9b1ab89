// SPDX-License-Identifier: GPL-2.0-or-later
//
// How long does a zone's clock run on without a change?
#pragma once

#include <cstdint>

#include "tz/zone_state.h"

/// A time up to which local time runs on evenly, in one type of local time; or up
/// to which there is none, where there is none at `time`.
///
/// Not always the last such time: the clock may well run on evenly beyond, and
/// the result may be `time` itself.
[[nodiscard]] std::int64_t steady_until(const zone_state &zone, std::int64_t time) noexcept;
