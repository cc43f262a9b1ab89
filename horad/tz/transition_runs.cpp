// SPDX-License-Identifier: GPL-2.0-or-later
#include "tz/transition_runs.h"

#include <algorithm>

namespace {

void copy_times(const std::int64_t *__restrict times, int count, std::int64_t later,
                std::int64_t *__restrict to) {
#pragma GCC unroll 4
    for (int i = 0; i < count; ++i)
        to[i] = times[i] + later;
}

void copy_types(const unsigned char *__restrict types, int count, unsigned char first,
                unsigned char *__restrict to) {
    for (int i = 0; i < count; ++i)
        to[i] = static_cast<unsigned char>(types[i] + first);
}

} // namespace

void copy_run(const transition_run &run, std::int64_t later, int first_type, zone_data &to_zone,
              int to) noexcept {
    copy_times(run.zone.transition_times + run.first, run.count, later,
               to_zone.transition_times + to);
    copy_types(run.zone.transition_types + run.first, run.count,
               static_cast<unsigned char>(first_type), to_zone.transition_types + to);
}

bool have_types_below(int limit, const zone_data &zone) noexcept {
    unsigned char highest = 0;
    for (int i = 0; i < zone.transition_count; ++i)
        highest = std::max(highest, zone.transition_types[i]);
    return zone.transition_count == 0 || highest < limit;
}
