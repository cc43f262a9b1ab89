// SPDX-License-Identifier: GPL-2.0-or-later
//
// The environment's TZ.
#pragma once

/// TZ's value as getenv() finds it, null when it is unset.
const char *find_tz() noexcept;

/// The same, but when all of the environment's entries up to TZ are those that this thread
/// saw last, their texts are not read again: they take longer than a conversion.  Not
/// noticed is only that an entry before TZ had its text changed, in place, to be another TZ;
/// after find_tz() on this thread that is, too.
const char *recall_tz() noexcept;
