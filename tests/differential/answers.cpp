// SPDX-License-Identifier: GPL-2.0-or-later
#include <cstdio>
#include <iostream>
#include <sstream>

#include "differential/parts.h"

namespace {

void write_local(const zone_state &zone, std::int64_t when) {
    const time_t time = when;
    struct tm tm;
    if (!localtime_rz(&zone, &time, &tm)) {
        std::puts("null");
        return;
    }
    std::printf("%lld %d %d %d %d %d %ld %s\n", 1900LL + tm.tm_year, tm.tm_mon + 1, tm.tm_mday,
                tm.tm_hour, tm.tm_min, tm.tm_sec, tm.tm_gmtoff, tm.tm_zone);
}

void write_inverse(const zone_state &zone, std::istream &fields) {
    struct tm tm = {};
    fields >> tm.tm_year >> tm.tm_mon >> tm.tm_mday >> tm.tm_hour >> tm.tm_min >> tm.tm_sec;
    tm.tm_year -= 1900;
    tm.tm_mon -= 1;
    tm.tm_isdst = -1;
    tm.tm_wday = -1; // filled in by a success
    const auto when = static_cast<long long>(mktime_z(&zone, &tm));
    if (tm.tm_wday == -1)
        std::puts("none");
    else
        std::printf("%lld\n", when);
}

} // namespace

/// Lines: "zone NAME"; "local SECONDS"; "time YEAR MONTH DAY HOUR MINUTE SECOND".
/// One line of answer to each but "zone".
void answer() {
    owned_zone zone;
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string word;
        words >> word;
        if (word == "zone") {
            words >> word;
            zone.reset(tzalloc(word.c_str()));
        } else if (!zone) {
            std::puts("no zone");
        } else if (word == "local") {
            std::int64_t when = 0;
            words >> when;
            write_local(*zone, when);
        } else {
            write_inverse(*zone, words);
        }
    }
}
