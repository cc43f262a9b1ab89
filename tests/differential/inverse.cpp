// SPDX-License-Identifier: GPL-2.0-or-later
#include <algorithm>

#include "common/broken_down.h"
#include "differential/c_library.h"
#include "differential/known_differences.h"
#include "differential/parts.h"
#include "differential/readings.h"
#include "differential/zone_files.h"

namespace {

constexpr std::int64_t no_time = INT64_MIN;

/// mktime_z on a copy; no_time for a failure (-1 is a time, too).
std::int64_t invert(const zone_state &zone, struct tm tm) {
    tm.tm_wday = -1; // filled in by a success
    const std::int64_t when = mktime_z(&zone, &tm);
    return tm.tm_wday == -1 ? no_time : when;
}

std::string description(const std::string &name, const struct tm &tm) {
    return name + " mktime of " + to_text(&tm);
}

void expect(test_run &run, const std::string &name, const struct tm &tm, std::int64_t answer,
            std::int64_t expected, const char *rule) {
    ++run.compared;
    if (answer != expected)
        run.fail(description(name, tm) + ": " + std::to_string(answer) + ", not " +
                 std::to_string(expected) + " (" + rule + ")");
}

/// A moment's own fields must lead back to it, as far as they are unique.
void there_and_back(test_run &run, const std::string &name, const zone_state &zone,
                    std::int64_t when) {
    const time_t time = when;
    struct tm tm;
    if (!localtime_rz(&zone, &time, &tm))
        return;
    const auto found = readings(zone, tm);
    if (std::none_of(found.begin(), found.end(),
                     [when](const reading &one) { return one.when == when; }))
        run.fail(description(name, tm) + ": the moment itself is not among its readings");

    // The flag and the offset together always say which one is meant.
    expect(run, name, tm, invert(zone, tm), when, "flag and offset");

    struct tm unknown = tm;
    unknown.tm_isdst = -1;
    unknown.tm_gmtoff = 0;
    const std::int64_t any = invert(zone, unknown);
    if (found.size() == 1) {
        expect(run, name, unknown, any, when, "one reading");
    } else if (std::none_of(found.begin(), found.end(),
                            [any](const reading &one) { return one.when == any; })) {
        run.fail(description(name, unknown) + ": " + std::to_string(any) + " is no reading");
    }

    struct tm flagged = tm;
    flagged.tm_gmtoff = 0;
    const auto like = std::count_if(found.begin(), found.end(),
                                    [&](const reading &one) { return one.is_dst == tm.tm_isdst; });
    if (like == 1)
        expect(run, name, flagged, invert(zone, flagged), when, "the flag decides");

    // The process-wide function is the same one.
    struct tm local = tm;
    expect(run, name, tm, mktime(&local), when, "mktime");
    if (!same_answer(&local, &tm))
        run.fail(description(name, tm) + ": changed to " + to_text(&local));

    // Where the answer is beyond doubt the C library has the same.  It goes wrong
    // in years that are millions away, and knows no rules before 1970.
    const std::int64_t earliest = name.find(',') == std::string::npos ? -60000000000 : 86400;
    if (like == 1 && when > earliest && when < 250000000000) {
        struct tm theirs = tm;
        expect(run, name, tm, the_c_library().mktime(&theirs), when, "the C library");
    }
}

/// Fields that no moment has are refused unless a flag tells how to shift them.
void into_a_gap(test_run &run, const std::string &name, const zone_state &zone, std::int64_t when,
                std::int64_t distance) {
    const time_t before = when - 1;
    struct tm tm;
    if (!localtime_rz(&zone, &before, &tm) || tm.tm_sec == 60)
        return;
    // On the clock that shows the time before, `distance` seconds into the gap.
    const time_t shown = when + tm.tm_gmtoff + distance;
    struct tm fields;
    if (!gmtime_r(&shown, &fields))
        return;
    fields.tm_isdst = -1;
    fields.tm_gmtoff = 0;
    if (zone.leap_count > 0 || !readings(zone, fields).empty())
        return;
    ++run.explained[gap_without_a_flag];
    expect(run, name, fields, invert(zone, fields), no_time, "in a gap");
}

} // namespace

void compare_inverse(test_run &run, const std::string &name, const zone_state &zone) {
    set_tz(name);
    for (const std::int64_t when : some_instants(run, zone, run.amount(16, 300)))
        there_and_back(run, name, zone, when);
    for (int i = 0; i < zone.transition_count; i += run.amount(7, 1)) {
        const std::int64_t when = zone.transition_times[i];
        for (const std::int64_t distance : {std::int64_t{0}, run.between(0, 3600)})
            into_a_gap(run, name, zone, when, distance);
    }
}
