// SPDX-License-Identifier: GPL-2.0-or-later
//
// Broken-down times: the same or not, and as text.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

/// Every 400 years the calendar repeats, weekdays included.
inline constexpr std::int64_t cycle_seconds = 12622780800;

inline bool same_fields(const struct tm &a, const struct tm &b) {
    return a.tm_year == b.tm_year && a.tm_mon == b.tm_mon && a.tm_mday == b.tm_mday &&
           a.tm_hour == b.tm_hour && a.tm_min == b.tm_min && a.tm_sec == b.tm_sec;
}

/// Whether two conversions say the same throughout; null is a failed one.
inline bool same_answer(const struct tm *a, const struct tm *b) {
    if (a == nullptr || b == nullptr)
        return a == b;
    return same_fields(*a, *b) && a->tm_wday == b->tm_wday && a->tm_yday == b->tm_yday &&
           a->tm_isdst == b->tm_isdst && a->tm_gmtoff == b->tm_gmtoff &&
           std::strcmp(a->tm_zone, b->tm_zone) == 0;
}

/// "2021-03-14 03:00:00 EDT dst=1 -14400 Sun 72", or "null".
inline std::string to_text(const struct tm *tm) {
    static const char *const days[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    if (tm == nullptr)
        return "null";
    const long long year = 1900LL + tm->tm_year;
    char text[160];
    std::snprintf(text, sizeof text, "%lld-%02d-%02d %02d:%02d:%02d %s dst=%d %ld %s %d", year,
                  tm->tm_mon + 1, tm->tm_mday, tm->tm_hour, tm->tm_min, tm->tm_sec,
                  tm->tm_zone ? tm->tm_zone : "-", tm->tm_isdst, tm->tm_gmtoff,
                  tm->tm_wday >= 0 && tm->tm_wday < 7 ? days[tm->tm_wday] : "?", tm->tm_yday);
    return text;
}

/// A broken-down time with a civil year and month; tm_gmtoff 0.
inline struct tm civil(int year, int month, int day, int hour = 0, int minute = 0, int second = 0,
                       int is_dst = -1) {
    struct tm tm = {};
    tm.tm_year = year - 1900;
    tm.tm_mon = month - 1;
    tm.tm_mday = day;
    tm.tm_hour = hour;
    tm.tm_min = minute;
    tm.tm_sec = second;
    tm.tm_isdst = is_dst;
    return tm;
}
