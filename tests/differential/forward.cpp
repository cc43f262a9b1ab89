// SPDX-License-Identifier: GPL-2.0-or-later
#include <climits>

#include "common/broken_down.h"
#include "differential/c_library.h"
#include "differential/known_differences.h"
#include "differential/parts.h"
#include "differential/zone_files.h"

namespace {

/// How many leap seconds a zone counts at a moment after all of them; before it, none.
std::int64_t leap_seconds_at(const zone_state &zone, std::int64_t when) {
    if (zone.leap_count == 0)
        return 0;
    const leap_record &last = zone.leaps[zone.leap_count - 1];
    return when > last.transition ? last.correction : 0;
}

/// The C library's answer for the moment that a zone without leap seconds calls the
/// same, with the date of the one asked for.  It has taken the leap seconds off twice.
const struct tm *unshifted_answer(std::int64_t when, std::int64_t leap_seconds, struct tm &result) {
    const time_t shifted = when - leap_seconds;
    if (!the_c_library().localtime_r(&shifted, &result))
        return nullptr;
    if (leap_seconds == 0)
        return &result;
    struct tm fields = result;
    fields.tm_isdst = 0;
    const time_t reading = mktime_z(nullptr, &fields) + leap_seconds;
    if (!gmtime_r(&reading, &fields))
        return nullptr;
    fields.tm_isdst = result.tm_isdst;
    fields.tm_gmtoff = result.tm_gmtoff;
    fields.tm_zone = result.tm_zone;
    result = fields;
    return &result;
}

/// The C library's answer for the same moment some 400-year cycles nearer to
/// the present, moved to the year asked for.  After every zone's own changes
/// and within some hundred years of 1970 it can be trusted.
const struct tm *folded_answer(const zone_state &zone, std::int64_t when, struct tm &result) {
    const std::int64_t leap_seconds = leap_seconds_at(zone, when);
    if (when <= c_library_year_limit && when >= first_second && leap_seconds > 0)
        return unshifted_answer(when, leap_seconds, result);
    const std::int64_t near = when > 0 ? 32503680000 : cycle_seconds;
    const std::int64_t cycles = (when - near) / cycle_seconds;
    if (!unshifted_answer(when - cycles * cycle_seconds, leap_seconds, result))
        return nullptr;
    const std::int64_t year = result.tm_year + 400 * cycles;
    if (year < INT_MIN || year > INT_MAX)
        return nullptr;
    result.tm_year = static_cast<int>(year);
    return &result;
}

/// Why the C library may be wrong about a moment; null: it is not.
const char *excuse(const std::string &name, const zone_state &zone, std::int64_t when,
                   const struct tm *theirs) {
    const bool is_rule = name.find(',') != std::string::npos;
    if (!theirs && (when < first_second || when > last_second))
        return ut_year_of_the_c_library;
    if (zone.go_ahead && when > c_library_year_limit)
        return far_years_of_the_c_library;
    if (zone.go_ahead && leap_seconds_at(zone, when) > 0)
        return early_footers_of_the_c_library;
    return is_rule && when < 0 ? early_rules_of_the_c_library : nullptr;
}

void compare_one(test_run &run, const std::string &name, const zone_state &zone,
                 std::int64_t when) {
    const time_t time = when;
    struct tm ours;
    struct tm theirs;
    struct tm local;
    const struct tm *const answer = localtime_rz(&zone, &time, &ours);
    const struct tm *expected = the_c_library().localtime_r(&time, &theirs);
    ++run.compared;
    if (!same_answer(localtime_r(&time, &local), answer))
        run.fail(name + " " + std::to_string(when) + ": localtime_r and localtime_rz differ");
    if (same_answer(answer, expected))
        return;
    if (const char *why = excuse(name, zone, when, expected)) {
        ++run.explained[why];
        expected = folded_answer(zone, when, theirs);
        if (same_answer(answer, expected))
            return;
    }
    run.fail(name + " " + std::to_string(when) + ": " + to_text(answer) + ", the C library " +
             to_text(expected));
}

} // namespace

void compare_forward(test_run &run, const std::string &name, const zone_state &zone) {
    set_tz(name);
    for (const std::int64_t when : instants(run, zone, run.amount(50, 3000)))
        compare_one(run, name, zone, when);
}

void compare_utc(test_run &run) {
    const owned_zone utc(tzalloc(""));
    for (const std::int64_t when : instants(run, *utc, run.amount(20000, 1000000))) {
        const time_t time = when;
        struct tm ours;
        struct tm theirs;
        struct tm object;
        const struct tm *const answer = gmtime_r(&time, &ours);
        ++run.compared;
        if (!same_answer(answer, the_c_library().gmtime_r(&time, &theirs)))
            run.fail("gmtime_r " + std::to_string(when) + ": " + to_text(answer));
        if (!same_answer(answer, localtime_rz(utc.get(), &time, &object)))
            run.fail("gmtime_r " + std::to_string(when) + " differs from the zone object \"\"");
        if (answer && mktime_z(nullptr, &ours) != time)
            run.fail("mktime_z of gmtime_r " + std::to_string(when));
    }
}
