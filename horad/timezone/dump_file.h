// SPDX-License-Identifier: GPL-2.0-or-later
//
// The lines of /tmp/dstconfig.
#pragma once

#include <cstdint>

#include "horad/tz.h"

inline constexpr char dump_path[] = "/tmp/dstconfig";

/// Takes the file away, so that the next line begins a new one.
void remove_dump() noexcept;

/// One zone's part of the file.
struct dumped_zone {
    const char *name;
    int name_width; ///< of the longest name of a run
    const_timezone_t zone;
};

/// Appends the line of an instant: in UTC and in local time.
///
/// utc  null when UTC could not be loaded: localtime_rz() then has a UTC of its own
///
/// Warns on standard error of the first unusual abbreviation since the last call
/// of warn_again().  A line that cannot be written is dropped with a message.
void append_instant(const dumped_zone &zone, const_timezone_t utc, std::int64_t time) noexcept;

/// Appends the plain line of an instant: local time only.  The same otherwise.
void append_local_time(const dumped_zone &zone, std::int64_t time) noexcept;

void warn_again() noexcept;
