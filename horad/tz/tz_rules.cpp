// SPDX-License-Identifier: GPL-2.0-or-later
//
// Making zones of TZ strings.
#include "tz/tz_string.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "tz/calendar.h"
#include "tz/rule_years.h"
#include "tz/transition_runs.h"

namespace {

/// Second Sunday of March to first Sunday of November, 02:00 each.
constexpr zone_rule default_start{zone_rule_kind::month_week_weekday, 0, 2, 3, 2 * 3600};
constexpr zone_rule default_end{zone_rule_kind::month_week_weekday, 0, 1, 11, 2 * 3600};

/// The day that a rule of a week's day says, for each weekday that 1 January can be.
/// Days are counted from there.
std::array<int, 7> days_of_weekday_rule(const zone_rule &rule, bool leap) {
    const int month = rule.month - 1;
    const int month_start = days_before_month(leap, month);
    // 2000 and 2001 stand for all leap and all other years.
    const int month_end = month_start + month_length(leap ? 2000 : 2001, month);
    std::array<int, 7> days;
    for (int first_weekday = 0; first_weekday < 7; ++first_weekday) {
        int day = month_start + (rule.day + 7 - (first_weekday + month_start) % 7) % 7;
        for (int week = 1; week < rule.week && day + 7 < month_end; ++week)
            day += 7;
        days[static_cast<std::size_t>(first_weekday)] = day;
    }
    return days;
}

/// The same for any rule.
std::array<int, 7> days_of_rule(const zone_rule &rule, bool leap) {
    if (rule.kind == zone_rule_kind::month_week_weekday)
        return days_of_weekday_rule(rule, leap);
    std::array<int, 7> days;
    days.fill(rule.kind == zone_rule_kind::day_of_year ? rule.day
                                                       : rule.day - 1 + (leap && rule.day >= 60));
    return days;
}

/// When a rule's change takes place in a year of each kind: seconds from its start, UTC.
using moments_by_kind = std::array<std::int64_t, year_kinds>;

/// offset  seconds west of UT in force before the change
moments_by_kind find_moments(const zone_rule &rule, std::int64_t offset) {
    moments_by_kind moments;
    std::size_t kind = 0;
    for (const bool leap : {false, true})
        for (const int day : days_of_rule(rule, leap))
            moments[kind++] = day * seconds_per_day + rule.time + offset;
    return moments;
}

zone_type make_type(std::int64_t offset_west, bool is_dst, int abbr_index) {
    return {-offset_west, is_dst, abbr_index, false, false};
}

/// What a pair of rules makes of a year of a kind: seconds from its start.
struct year_changes {
    std::int64_t first;
    std::int64_t second;
    unsigned char types[2]; ///< what they lead to: 1 is daylight-saving time
    int count;              ///< 2, or 0 when daylight-saving time lasts all year or not at all
};

/// start, end  of daylight-saving time
/// longest     less than this, it does not last all year
year_changes order_changes(std::int64_t start, std::int64_t end, std::int64_t longest) {
    if (end < start) // the southern hemisphere
        return {end, start, {0, 1}, 2};
    return {start, end, {1, 0}, start < end && end - start < longest ? 2 : 0};
}

/// Makes the changes of 400 years the zone's transitions.  Types 0 and 1 are standard
/// and daylight time.
void make_one_cycle(const tz_description &description, const zone_rule &start_rule,
                    const zone_rule &end_rule, zone_data &zone) {
    const moments_by_kind starts = find_moments(start_rule, description.standard_offset);
    const moments_by_kind ends = find_moments(end_rule, description.daylight_offset);
    std::array<year_changes, year_kinds> kinds;
    bool every_year = true;
    for (std::size_t kind = 0; kind < year_kinds; ++kind) {
        const std::int64_t longest = (kind < 7 ? 365 : 366) * seconds_per_day +
                                     description.standard_offset - description.daylight_offset;
        kinds[kind] = order_changes(starts[kind], ends[kind], longest);
        every_year &= kinds[kind].count > 0;
    }

    int &count = zone.transition_count = 0;
    for (std::size_t i = 0; i < rule_years.size();) {
        const rule_year &year = rule_years[i];
        if (every_year && year.alike > 0) {
            const int changes = 2 * year.alike;
            copy_run({zone, count - 2 * 28, changes}, days_per_28_years * seconds_per_day, 0, zone,
                     count);
            count += changes;
            i += year.alike;
            continue;
        }
        const year_changes &changes = kinds[year.kind];
        const std::int64_t start = year.start * seconds_per_day;
        // Also where there are none: the next year's take their place.
        zone.transition_times[count] = start + changes.first;
        zone.transition_times[count + 1] = start + changes.second;
        std::memcpy(zone.transition_types + count, changes.types, sizeof changes.types);
        count += changes.count;
        ++i;
    }
}

/// The same for a zone that may be without any.  Returns how many there are.
int make_rule_transitions(const tz_description &description, const zone_rule &start_rule,
                          const zone_rule &end_rule, zone_data &zone) {
    make_one_cycle(description, start_rule, end_rule, zone);
    if (zone.transition_count == 0) { // perpetual daylight-saving time
        zone.types[0] = zone.types[1];
        zone.type_count = 1;
    }
    return zone.transition_count;
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
    const bool leap = is_leap_year(year);
    const int first_weekday = weekday_from_days(days_from_date(year, 0, 1));
    return find_moments(rule, offset)[kind_of_year(leap, first_weekday)];
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
        per_cycle = make_rule_transitions(description, description.start, description.end, zone);
    else if (!rules_loaded)
        per_cycle = make_rule_transitions(description, default_start, default_end, zone);
    return {.from = 0, .per_cycle = per_cycle};
}

void repeat_rules(const rule_transitions &rules, zone_data &zone) {
    const int cycle = rules.per_cycle;
    if (cycle == 0)
        return;
    for (int done = cycle; done < ZONE_MAX_TIMES; done += cycle) {
        const int count = std::min(cycle, ZONE_MAX_TIMES - done);
        copy_run({zone, done - cycle, count}, seconds_per_400_years, 0, zone, done);
    }
    zone.transition_count = ZONE_MAX_TIMES;
    zone.go_back = zone.go_ahead = true;
}
