// SPDX-License-Identifier: GPL-2.0-or-later
#include "models/plain_zone.h"

#include <algorithm>

namespace plain {

std::int64_t add_within_time(std::int64_t time, std::int64_t seconds) {
    return static_cast<std::int64_t>(
        std::clamp(wide{time} + seconds, wide{earliest}, wide{latest}));
}

const char *abbreviation(const zone &zone, const local_type &type) {
    return zone.abbreviations.c_str() + type.abbreviation;
}

bool is_leap(std::int64_t year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

int year_days(std::int64_t year) { return is_leap(year) ? 366 : 365; }

int month_days(std::int64_t year, int month) {
    switch (month) {
    case 1:
        return is_leap(year) ? 29 : 28;
    case 3:
    case 5:
    case 8:
    case 10:
        return 30;
    default:
        return 31;
    }
}

} // namespace plain
