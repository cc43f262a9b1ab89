// SPDX-License-Identifier: GPL-2.0-or-later
//
// The process's own zone, as TZ and /etc/localtime have it, and UTC.
//
// A zone is loaded aside and then published by one pointer, so that a reader sees
// all of one zone or all of another.  Each thread holds the record that it read
// last: neither that one nor the record before the current one is filled anew.
// Records are never given back, so that a tm_zone always points at memory.
#pragma once

#include <ctime>

#include "tz/zone_state.h"

/// The local zone as it was loaded last; loaded now if it never was, or if its TZ
/// is too long to be remembered.  Safe on any thread at any time.
///
/// Stays as it is until this thread asks for the zone again.
const zone_state &local_zone();

/// The same, but loads the zone anew if TZ has changed, and sets tzname, timezone
/// and daylight when it did.  Safe beside local_zone(); the three variables and TZ
/// itself are for one thread at a time.
///
/// tz  the value of TZ, null when it is unset
const zone_state &refresh_local_zone(const char *tz);

/// The same, but an unset TZ is taken for a changed one: the file that stands for it was
/// replaced.
const zone_state &reload_default_zone();

/// UTC.  Loaded on first use, by one thread while others wait.
const zone_state &utc_zone();

/// UTC, loaded or not: before its first use it has no name.  For split_time() only.
const zone_state &utc_zone_as_it_is();

/// Tells tzname and timezone of the kind of time that a conversion found.
void publish_kind(const std::tm &local);
