// SPDX-License-Identifier: GPL-2.0-or-later
//
// The environment's TZ.
#pragma once

/// TZ's value as getenv() finds it, null when it is unset.  Remembers for this thread
/// where it was.
const char *find_tz() noexcept;

/// The same, but looks first where this thread found it last, since a search through the
/// whole environment takes longer than a conversion.  What the C library's functions do to
/// the environment (setenv() and its like) is noticed, and so is another `environ`; a
/// program that writes another TZ into the middle of the array by hand has to call
/// find_tz() first.
const char *recall_tz() noexcept;
