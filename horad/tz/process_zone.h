// SPDX-License-Identifier: GPL-2.0-or-later
//
// The process's own zone, as TZ and /etc/localtime have it, and UTC.
#pragma once

#include <ctime>

#include "tz/zone_state.h"

/// The local zone as it was loaded last.
const zone_state &local_zone();

/// Loads the local zone anew if TZ has changed, and sets tzname, timezone and
/// daylight when it did.  Not to be called on several threads at once.
void refresh_local_zone();

/// The same, but for a zone that was loaded already.
void require_local_zone();

/// Makes the next refresh load the zone again although TZ is still unset: the
/// file behind it was replaced.
void forget_default_zone();

/// UTC.  Loaded on first use.
const zone_state &utc_zone();

/// UTC, loaded or not: before its first use it has no name.
const zone_state &utc_zone_as_it_is();

/// Tells tzname and timezone of the kind of time that a conversion found.
void publish_kind(const std::tm &local);
