// SPDX-License-Identifier: GPL-2.0-or-later
#include "models/plain_rules.h"

#include <utility>

#include "models/plain_load.h"
#include "models/plain_scan.h"

namespace plain {
namespace {

/// The day of the week on which a month begins, 0 = Sunday.
int first_weekday(std::int64_t year, int month) {
    // Zeller's congruence; January and February belong to the year before.
    const std::int64_t m = month <= 2 ? month + 12 : month;
    const std::int64_t y = month <= 2 ? year - 1 : year;
    const std::int64_t from_saturday =
        (1 + 13 * (m + 1) / 5 + y % 100 + y % 100 / 4 + y / 100 / 4 + 5 * (y / 100)) % 7;
    return static_cast<int>((from_saturday + 6) % 7);
}

/// Seconds from the start of a year to a rule's moment, both in UT.
///
/// offset  seconds west of UT, in force before the change
std::int64_t rule_to_seconds(std::int64_t year, const rule &rule, std::int64_t offset) {
    std::int64_t days = 0;
    if (rule.kind == 'J') {
        days = rule.day - 1;
        if (is_leap(year) && rule.day >= 60)
            ++days;
    } else if (rule.kind == 'n') {
        days = rule.day;
    } else {
        int day = rule.day - first_weekday(year, rule.month);
        if (day < 0)
            day += 7;
        for (int week = 1; week < rule.week; ++week) {
            if (day + 7 >= month_days(year, rule.month - 1))
                break;
            day += 7;
        }
        days = day;
        for (int month = 0; month < rule.month - 1; ++month)
            days += month_days(year, month);
    }
    return days * day_seconds + rule.time + offset;
}

void add_change(zone &zone, std::int64_t year_start, std::int64_t seconds, std::size_t type) {
    const wide time = wide{year_start} + seconds;
    if (fits(time))
        zone.transitions.push_back({static_cast<std::int64_t>(time), type});
}

void use_rules(const tz_text &said, zone &zone) {
    std::int64_t year = 1970;
    wide year_start = 0;
    do {
        --year;
        year_start -= year_days(year) * day_seconds;
    } while (year > 1770);

    const std::int64_t start_year = year;
    std::int64_t limit = start_year + 401;
    for (; year < limit; ++year) {
        const std::int64_t length = year_days(year) * day_seconds;
        std::int64_t start = rule_to_seconds(year, said.start, said.standard_offset);
        std::int64_t end = rule_to_seconds(year, said.end, said.daylight_offset);
        const bool reversed = end < start;
        if (reversed)
            std::swap(start, end);
        const bool changes =
            start < end && end - start < length + (said.standard_offset - said.daylight_offset);
        if (reversed || changes) {
            if (zone.transitions.size() > most_transitions - 2)
                break;
            add_change(zone, static_cast<std::int64_t>(year_start), start, reversed ? 0 : 1);
            add_change(zone, static_cast<std::int64_t>(year_start), end, reversed ? 1 : 0);
            limit = year + 401;
        }
        year_start += length;
        if (!fits(year_start))
            break;
    }
    if (zone.transitions.empty()) {
        zone.types = {zone.types[1]};
    } else if (year - start_year > 400) {
        zone.go_back = true;
        zone.go_ahead = true;
    }
}

/// Moves the transitions of the rules file to a string's own offset.  Daylight-
/// saving time does not count: all of them move as standard time does.
void rebase(const tz_text &said, zone &zone) {
    std::int64_t their_offset = 0;
    for (const auto &change : zone.transitions) {
        if (!zone.types[change.type].dst) {
            their_offset = -zone.types[change.type].offset;
            break;
        }
    }
    for (auto &change : zone.transitions) {
        const local_type &theirs = zone.types[change.type];
        if (!theirs.ut_indicator)
            change.time = add_within_time(change.time, said.standard_offset - their_offset);
        if (!theirs.dst)
            their_offset = -theirs.offset;
        change.type = theirs.dst ? 1 : 0;
    }
}

} // namespace

bool parse_tz_string(const std::string &text, const std::optional<bytes> &rules_file, zone &made,
                     bool last_ditch) {
    auto said = scan_tz_string(text, last_ditch);
    if (!said)
        return false;

    made = {};
    const bool loaded = rules_file.has_value() && load(*rules_file, std::nullopt, made, false) == 0;
    if (!loaded)
        made.leaps.clear();
    if (!said->daylight_name.empty() && !said->has_rules && !loaded)
        said = scan_tz_string(text + ",M3.2.0,M11.1.0", last_ditch);

    local_type standard;
    standard.offset = -said->standard_offset;
    local_type daylight;
    daylight.offset = -said->daylight_offset;
    daylight.dst = true;
    daylight.abbreviation = said->standard_name.size() + 1;

    const zone theirs = made;
    made.types = {standard};
    made.default_type = 0;
    made.abbreviations = said->standard_name + '\0';
    if (said->daylight_name.empty()) {
        made.transitions.clear();
        return true;
    }
    made.abbreviations += said->daylight_name + '\0';
    if (said->has_rules) {
        made.types.push_back(daylight);
        made.transitions.clear();
        use_rules(*said, made);
    } else {
        zone rules = theirs;
        rebase(*said, rules);
        made.transitions = rules.transitions;
        made.types.push_back(daylight);
    }
    return true;
}

} // namespace plain
