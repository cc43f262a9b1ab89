// SPDX-License-Identifier: GPL-2.0-or-later
//
// Zone objects that free themselves.
#pragma once

#include <memory>

#include "horad/tz.h"
#include "tz/zone_state.h"

struct zone_free {
    void operator()(zone_state *zone) const noexcept { tzfree(zone); }
};
using owned_zone = std::unique_ptr<zone_state, zone_free>;
