// SPDX-License-Identifier: GPL-2.0-or-later
//
// The parts of a run.
#pragma once

#include <string>

#include "differential/run.h"

/// localtime_rz, localtime_r and gmtime_r against the C library.
void compare_forward(test_run &run, const std::string &name, const zone_state &zone);
void compare_utc(test_run &run);

/// mktime and mktime_z against the C library and against the conversions that
/// they invert.
void compare_inverse(test_run &run, const std::string &name, const zone_state &zone);

/// mktime_z against the search that defines its answer.
void compare_search(test_run &run, const std::string &name, const zone_state &zone);
void compare_search_in_odd_zones(test_run &run);

/// What holds in every zone: order, repetition.
void check_properties(test_run &run, const std::string &name, const zone_state &zone);

/// Zones in which this engine and the C library must disagree.
void check_known_differences(test_run &run);

/// Differences met while comparing, by their names; each must occur.
void check_explained(test_run &run);

/// Reads zones and times from standard input, writes conversions.
void answer();
