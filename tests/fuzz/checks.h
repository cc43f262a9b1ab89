// SPDX-License-Identifier: GPL-2.0-or-later
//
// What must hold for every zone, however it came to be.  A violation ends the
// program, which is how a fuzzer learns of it.
#pragma once

#include <cstdint>
#include <ctime>

#include "tz/zone_state.h"

/// Ends the program with a message unless `holds`.
void require(bool holds, const char *what);

/// Counts, indexes and texts of a loaded record.
void check_record(const zone_state &zone);

/// Transitions in order, as those of a file without its footer are.
void check_order(const zone_state &zone);

/// Abbreviations as they are after the scrub.
void check_abbreviations(const zone_state &zone);

/// Conversions both ways around the transitions, at the ends of the range and
/// at times that follow from `seed`.
void check_conversions(const zone_state &zone, std::uint64_t seed);

/// mktime_z on any fields, against the search that defines its answer where
/// that can be had in reasonable time.
void check_inverse(const zone_state &zone, const struct tm &fields);
