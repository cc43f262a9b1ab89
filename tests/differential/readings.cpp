// SPDX-License-Identifier: GPL-2.0-or-later
#include "differential/readings.h"

#include <set>

#include "common/broken_down.h"

namespace {

/// Seconds from 1970 to the fields as if they were UT; a second 60 counts as 59.
std::int64_t as_ut(const struct tm &fields) {
    // Days by eras of 400 years that begin on 1 March.
    const std::int64_t month = fields.tm_mon;
    const std::int64_t year = 1900LL + fields.tm_year - (month < 2);
    const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
    const std::int64_t year_of_era = year - era * 400;
    const std::int64_t day_of_year =
        (153 * (month + (month > 1 ? -2 : 10)) + 2) / 5 + fields.tm_mday - 1;
    const std::int64_t days = era * 146097 + year_of_era * 365 + year_of_era / 4 -
                              year_of_era / 100 + day_of_year - 719468;
    const int second = fields.tm_sec == 60 ? 59 : fields.tm_sec;
    return days * 86400 + fields.tm_hour * 3600 + fields.tm_min * 60 + second;
}

} // namespace

std::vector<reading> readings(const zone_state &zone, const struct tm &fields) {
    const std::int64_t ut = as_ut(fields);
    std::set<std::int64_t> offsets;
    for (int i = 0; i < zone.type_count; ++i)
        offsets.insert(zone.types[i].utc_offset);
    if (zone.type_count == 0)
        offsets.insert(0);
    std::set<std::int64_t> corrections = {0};
    for (int i = 0; i < zone.leap_count; ++i)
        corrections.insert(zone.leaps[i].correction);

    std::set<std::int64_t> candidates;
    for (const std::int64_t offset : offsets)
        for (const std::int64_t correction : corrections)
            for (const int second : {0, 1})
                candidates.insert(ut - offset + correction + second);

    std::vector<reading> found;
    for (const std::int64_t when : candidates) {
        const time_t time = when;
        struct tm tm;
        if (localtime_rz(&zone, &time, &tm) && same_fields(tm, fields))
            found.push_back({when, tm.tm_gmtoff, tm.tm_isdst});
    }
    return found;
}
