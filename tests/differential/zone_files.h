// SPDX-License-Identifier: GPL-2.0-or-later
//
// The zones of this machine, and the moments at which to look at them.
#pragma once

#include <string>
#include <vector>

#include "differential/run.h"

/// Names of all zone files under /usr/share/zoneinfo, sorted.
///
/// copies  also those with the same contents as one before
std::vector<std::string> zone_files(bool copies);

/// TZ strings with rules of every kind, some of them random.
std::vector<std::string> rule_strings(test_run &run);

/// The seconds around every transition and leap second of a zone, those around
/// the ends of what a tm_year can hold, and random ones near and far.
std::vector<std::int64_t> instants(test_run &run, const zone_state &zone, int random_count);

/// Of the transitions only `count` random ones, else as above.
std::vector<std::int64_t> some_instants(test_run &run, const zone_state &zone, int count);
