// SPDX-License-Identifier: GPL-2.0-or-later
//
// TZ strings taken apart, plainly.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace plain {

/// When in a year a change takes place.
struct rule {
    char kind = 'n'; ///< 'J': Jn, 'n': n, 'M': Mm.w.d
    int day = 0;     ///< of the year, or for Mm.w.d of the week (0 = Sunday)
    int week = 0;
    int month = 0;            ///< 1 = January
    std::int64_t time = 7200; ///< seconds after midnight
};

/// What a TZ string says.  Offsets are seconds west of UT, as POSIX has them.
struct tz_text {
    std::string standard_name;
    std::int64_t standard_offset = 0;
    std::string daylight_name; ///< empty: no daylight-saving time
    std::int64_t daylight_offset = 0;
    bool has_rules = false;
    rule start;
    rule end;
};

/// Takes a TZ string apart.
///
/// last_ditch  the text begins with "GMT", which stands for UT
///
/// Returns nothing for a malformed one.
std::optional<tz_text> scan_tz_string(const std::string &text, bool last_ditch);

} // namespace plain
