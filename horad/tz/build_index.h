// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "tz/zone_state.h"

/// Builds the index of a record that is otherwise complete.
void build_index(zone_state &zone);
