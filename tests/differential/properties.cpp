// SPDX-License-Identifier: GPL-2.0-or-later
#include "common/broken_down.h"
#include "differential/parts.h"
#include "differential/zone_files.h"

namespace {

/// The time that UT fields would have, from local fields and their offset: the
/// moment again where there are no leap seconds.
std::int64_t ut_of(const struct tm &tm) {
    struct tm fields = tm;
    fields.tm_isdst = 0;
    return mktime_z(nullptr, &fields) - tm.tm_gmtoff;
}

void local_time_is_ut_and_offset(test_run &run, const std::string &name, const zone_state &zone,
                                 std::int64_t when) {
    const time_t time = when;
    struct tm tm;
    ++run.compared;
    if (localtime_rz(&zone, &time, &tm) && ut_of(tm) != when)
        run.fail(name + " " + std::to_string(when) + ": " + to_text(&tm) + " is another moment");
}

/// From second to second the clock goes one on, except that a leap second and
/// the next minute's start are one moment of UT.
void clock_goes_on(test_run &run, const std::string &name, const zone_state &zone,
                   std::int64_t when) {
    if (when == INT64_MAX)
        return;
    const time_t before = when;
    const time_t after = when + 1;
    struct tm first;
    struct tm second;
    if (!localtime_rz(&zone, &before, &first) || !localtime_rz(&zone, &after, &second))
        return;
    ++run.compared;
    if (ut_of(second) - ut_of(first) != (first.tm_sec == 60 ? 0 : 1))
        run.fail(name + " " + std::to_string(when) + ": " + to_text(&first) + " then " +
                 to_text(&second));
}

void years_repeat(test_run &run, const std::string &name, const zone_state &zone,
                  std::int64_t when) {
    const std::int64_t cycles = run.between(1, 3000000);
    const time_t time = when;
    const time_t later = when + cycles * cycle_seconds;
    struct tm near;
    struct tm far;
    ++run.compared;
    if (!localtime_rz(&zone, &time, &near) || !localtime_rz(&zone, &later, &far)) {
        run.fail(name + " " + std::to_string(when) + ": can't be converted");
        return;
    }
    if (far.tm_year - near.tm_year != 400 * cycles)
        run.fail(name + ": " + to_text(&near) + " repeats as " + to_text(&far));
    far.tm_year = near.tm_year;
    if (!same_answer(&near, &far))
        run.fail(name + ": " + to_text(&near) + " repeats as " + to_text(&far));
}

} // namespace

void check_properties(test_run &run, const std::string &name, const zone_state &zone) {
    for (const std::int64_t when : some_instants(run, zone, run.amount(40, 400))) {
        if (zone.leap_count == 0)
            local_time_is_ut_and_offset(run, name, zone, when);
        clock_goes_on(run, name, zone, when);
    }
    if (zone.go_ahead && zone.transition_count > 0) {
        // From the last 400 years of the table on the years repeat.
        const std::int64_t last = zone.transition_times[zone.transition_count - 1];
        for (int i = 0; i < run.amount(50, 400); ++i)
            years_repeat(run, name, zone, last - run.between(0, cycle_seconds - 1));
    }
}
