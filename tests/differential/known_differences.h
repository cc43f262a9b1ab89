// SPDX-License-Identifier: GPL-2.0-or-later
//
// Where this engine and the C library differ for a reason.
#pragma once

#include <climits>
#include <cstdint>

/// In years so far after 1970 that their first day is no int the C library's
/// rules overflow: it then changes to daylight time on other days.
inline constexpr char far_years_of_the_c_library[] = "C library, years beyond 5.8 million";
inline constexpr std::int64_t c_library_year_limit = (std::int64_t{INT_MAX} - 366) * 86400;

/// The C library knows the rules of a TZ string from 1970 on only.
inline constexpr char early_rules_of_the_c_library[] = "C library, rules before 1970";

/// The C library also wants the year in UT to fit tm_year.
inline constexpr char ut_year_of_the_c_library[] = "C library, year in UT out of range";

/// The C library lets a footer's changes come early in zones that count leap seconds, by
/// as many seconds.  Only files of newer tzdata have both.
inline constexpr char early_footers_of_the_c_library[] = "C library, footers beside leap seconds";

/// The C library answers for local times that do not exist, this engine only
/// when tm_isdst tells how to shift them.
inline constexpr char gap_without_a_flag[] = "local times in gaps";
