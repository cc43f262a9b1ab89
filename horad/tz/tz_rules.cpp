// SPDX-License-Identifier: GPL-2.0-or-later
//
// Making zones of TZ strings.
#include "tz/tz_string.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "tz/calendar.h"

namespace {

/// Second Sunday of March to first Sunday of November, 02:00 each.
constexpr zone_rule default_start{zone_rule_kind::month_week_weekday, 0, 2, 3, 2 * 3600};
constexpr zone_rule default_end{zone_rule_kind::month_week_weekday, 0, 1, 11, 2 * 3600};

/// Rules begin 200 years before 1970.
constexpr int first_rule_year = 1770;

/// When a rule says that its change takes place in a year of a kind.
///
/// leap           whether it is a leap year
/// first_weekday  weekday of 1 January, 0 = Sunday
std::int64_t rule_in_year(bool leap, int first_weekday, const zone_rule &rule,
                          std::int64_t offset) {
    // 2000 and 2001 stand for all leap and all other years.
    const int year = leap ? 2000 : 2001;
    std::int64_t days = 0;
    switch (rule.kind) {
    case zone_rule_kind::julian_day:
        days = rule.day - 1 + (leap && rule.day >= 60);
        break;
    case zone_rule_kind::day_of_year:
        days = rule.day;
        break;
    case zone_rule_kind::month_week_weekday: {
        const int month = rule.month - 1;
        const int month_start = days_before_month(leap, month);
        const int weekday = (first_weekday + month_start) % 7;
        int day = (rule.day - weekday + 7) % 7; // the first such weekday, 0 = the 1st
        for (int week = 1; week < rule.week && day + 7 < month_length(year, month); ++week)
            day += 7;
        days = month_start + day;
        break;
    }
    }
    return days * seconds_per_day + rule.time + offset;
}

zone_type make_type(std::int64_t offset_west, bool is_dst, int abbr_index) {
    return {-offset_west, is_dst, abbr_index, false, false};
}

/// What a pair of rules makes of a year of a kind: seconds from its start.
struct year_changes {
    std::int64_t first;
    std::int64_t second;
    bool to_daylight; ///< what the first change leads to; the second leads back
    bool exist;       ///< false: daylight-saving time lasts all year
};

year_changes find_changes(const tz_description &description, const zone_rule &start_rule,
                          const zone_rule &end_rule, bool leap, int first_weekday) {
    const std::int64_t standard = description.standard_offset;
    const std::int64_t daylight = description.daylight_offset;
    const std::int64_t start = rule_in_year(leap, first_weekday, start_rule, standard);
    const std::int64_t end = rule_in_year(leap, first_weekday, end_rule, daylight);
    if (end < start) // the southern hemisphere
        return {end, start, false, true};
    const std::int64_t longest = (leap ? 366 : 365) * seconds_per_day + (standard - daylight);
    return {start, end, true, start < end && end - start < longest};
}

/// Adds the changes of 400 years.  Types 0 and 1 are standard and daylight time.
void add_one_cycle(const tz_description &description, const zone_rule &start_rule,
                   const zone_rule &end_rule, zone_data &zone) {
    // Every year is of one of fourteen kinds.
    year_changes kinds[2][7];
    for (int leap = 0; leap < 2; ++leap)
        for (int weekday = 0; weekday < 7; ++weekday)
            kinds[leap][weekday] =
                find_changes(description, start_rule, end_rule, leap != 0, weekday);

    std::int64_t year_days = days_from_date(first_rule_year, 0, 1);
    int weekday = weekday_from_days(year_days);
    int count = 0;
    for (int year = first_rule_year; year < first_rule_year + 400; ++year) {
        const int leap = is_leap_year(year);
        const year_changes &changes = kinds[leap][weekday];
        if (changes.exist) {
            zone.transition_times[count] = year_days * seconds_per_day + changes.first;
            zone.transition_types[count] = changes.to_daylight;
            ++count;
            zone.transition_times[count] = year_days * seconds_per_day + changes.second;
            zone.transition_types[count] = !changes.to_daylight;
            ++count;
        }
        year_days += 365 + leap;
        weekday += 1 + leap;
        weekday -= weekday >= 7 ? 7 : 0;
    }
    zone.transition_count = count;
}

/// Fills the table with a pair of rules: what 400 years have brought, the next
/// ones bring again.  Returns how many transitions 400 years have.
int add_rule_transitions(const tz_description &description, const zone_rule &start_rule,
                         const zone_rule &end_rule, zone_data &zone) {
    add_one_cycle(description, start_rule, end_rule, zone);
    const int cycle = zone.transition_count;
    if (cycle == 0) { // perpetual daylight-saving time
        zone.types[0] = zone.types[1];
        zone.type_count = 1;
        return 0;
    }
    for (int i = cycle; i < ZONE_MAX_TIMES; ++i)
        zone.transition_times[i] = zone.transition_times[i - cycle] + seconds_per_400_years;
    for (int i = cycle; i < ZONE_MAX_TIMES; ++i)
        zone.transition_types[i] = zone.transition_types[i - cycle];
    zone.transition_count = ZONE_MAX_TIMES;
    zone.go_back = zone.go_ahead = true;
    return cycle;
}

/// Moves the rules file's transitions to another standard time.  They are never
/// moved by the daylight offset (deliberate): a change back to standard time is
/// taken to be given in standard time.
void rebase_rules_file(std::int64_t standard_offset, zone_data &zone) {
    const auto type_of = [&](int i) -> const zone_type & {
        return zone.types[zone.transition_types[i]];
    };
    // Seconds west of UT, like ours.
    std::int64_t their_offset = 0;
    for (int i = 0; i < zone.transition_count; ++i) {
        if (!type_of(i).is_dst) {
            their_offset = -type_of(i).utc_offset;
            break;
        }
    }
    for (int i = 0; i < zone.transition_count; ++i) {
        const zone_type &type = type_of(i);
        zone.transition_types[i] = type.is_dst;
        if (!type.is_ut)
            zone.transition_times[i] =
                add_saturated(zone.transition_times[i], standard_offset - their_offset);
        if (!type.is_dst)
            their_offset = -type.utc_offset;
    }
}

} // namespace

std::int64_t rule_to_seconds(int year, const zone_rule &rule, std::int64_t offset) {
    return rule_in_year(is_leap_year(year), weekday_from_days(days_from_date(year, 0, 1)), rule,
                        offset);
}

rule_transitions build_zone(const tz_description &description, bool rules_loaded, zone_data &zone) {
    if (needs_rules_file(description) && rules_loaded) {
        rebase_rules_file(description.standard_offset, zone);
    } else {
        zone.transition_count = 0;
        zone.go_back = zone.go_ahead = false;
    }

    const int daylight_name = description.standard_length + 1;
    zone.default_type = 0;
    zone.type_count = 1;
    zone.types[0] = make_type(description.standard_offset, false, 0);
    std::memcpy(zone.abbreviations, description.names, sizeof zone.abbreviations);
    zone.char_count = daylight_name;
    if (description.daylight_length == 0)
        return {};
    zone.char_count += description.daylight_length + 1;
    zone.type_count = 2;
    zone.types[1] = make_type(description.daylight_offset, true, daylight_name);
    int per_cycle = 0;
    if (description.has_rules)
        per_cycle = add_rule_transitions(description, description.start, description.end, zone);
    else if (!rules_loaded)
        per_cycle = add_rule_transitions(description, default_start, default_end, zone);
    return {.from = 0, .per_cycle = per_cycle};
}
