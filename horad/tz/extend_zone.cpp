// SPDX-License-Identifier: GPL-2.0-or-later
#include "tz/extend_zone.h"

#include <algorithm>
#include <cstring>

#include "tz/calendar.h"
#include "tz/tz_string.h"

namespace {

/// Makes area.footer of the footer's rule string, and sets where in it the
/// transitions of rules are.
bool parse_footer(zone_work_area &area, std::size_t start, std::size_t length,
                  rule_transitions &rules) {
    unsigned char *const footer = area.file + start;
    if (length <= 2 || footer[0] != '\n' || footer[length - 1] != '\n')
        return false;
    footer[length - 1] = '\0';

    tz_description description;
    if (!scan_tz_string(reinterpret_cast<const char *>(footer + 1), description, false))
        return false;
    // The rules file may take the zone file's place: that is decoded already.
    bool rules_loaded = false;
    if (needs_rules_file(description)) {
        std::size_t rules_length = 0;
        rules_loaded = read_zone_file("posixrules", area, rules_length) == 0 &&
                       decode_zone(area, rules_length, area.footer, rules, false) == 0;
    }
    rules = build_zone(description, rules_loaded, area.footer);
    return true;
}

/// Finds a place for an abbreviation: at any position from which the store
/// reads like it (the end of a longer name will do), else behind the others.
/// Returns -1 when there is none.
int place_abbreviation(const char *name, char *store, int &count) {
    for (int i = 0; i < count; ++i)
        if (std::strcmp(store + i, name) == 0)
            return i;
    const auto length = static_cast<int>(std::strlen(name));
    if (count + length >= ZONE_MAX_CHARS)
        return -1;
    const int place = count;
    std::memcpy(store + place, name, static_cast<std::size_t>(length) + 1);
    count += length + 1;
    return place;
}

/// Gives the footer's types their names in the file's store.  All or nothing.
bool merge_abbreviations(zone_data &footer, zone_data &zone) {
    char store[ZONE_MAX_CHARS];
    int count = zone.char_count;
    std::memcpy(store, zone.abbreviations, static_cast<std::size_t>(count) + 1);
    for (int i = 0; i < footer.type_count; ++i) {
        zone_type &type = footer.types[i];
        type.abbr_index = place_abbreviation(type_abbreviation(footer, type), store, count);
        if (type.abbr_index < 0)
            return false;
    }
    std::memcpy(zone.abbreviations, store, static_cast<std::size_t>(count));
    zone.char_count = count;
    return true;
}

std::int64_t leap_correction(const zone_data &zone, std::int64_t time) {
    for (int i = zone.leap_count - 1; i >= 0; --i)
        if (time >= zone.leaps[i].transition)
            return zone.leaps[i].correction;
    return 0;
}

void drop_repeats_at_end(zone_data &zone) {
    int &count = zone.transition_count;
    while (count > 1 && zone.transition_types[count - 1] == zone.transition_types[count - 2])
        --count;
}

/// Where in the footer's transitions those later than the file's last begin: the
/// first in the order of the table, whatever follows.
int find_later(const zone_data &footer, bool of_rules, const zone_data &zone) {
    if (zone.transition_count == 0)
        return 0;
    const std::int64_t last = zone.transition_times[zone.transition_count - 1];
    const std::int64_t *const times = footer.transition_times;
    const int count = footer.transition_count;
    int first = 0;
    if (of_rules) {
        first = static_cast<int>(std::upper_bound(times, times + count, last) - times);
        first = std::max(first - rule_disorder, 0);
    }
    while (first < count && times[first] <= last)
        ++first;
    return first;
}

/// Appends the footer's transitions from `first` on.
void append_transitions(const zone_data &footer, int first, zone_data &zone) {
    const int count = zone.transition_count;
    const int added = std::min(footer.transition_count - first, ZONE_MAX_TIMES - count);
    std::copy_n(footer.transition_times + first, added, zone.transition_times + count);
    const int first_type = zone.type_count;
    for (int i = 0; i < added; ++i)
        zone.transition_types[count + i] =
            static_cast<unsigned char>(first_type + footer.transition_types[first + i]);
    zone.transition_count = count + added;
}

/// Rules are given without leap seconds, the file's transitions with them.
void count_leap_seconds(const zone_data &zone, zone_data &footer) {
    if (zone.leap_count == 0)
        return;
    for (int i = 0; i < footer.transition_count; ++i)
        footer.transition_times[i] = add_saturated(
            footer.transition_times[i], leap_correction(zone, footer.transition_times[i]));
}

} // namespace

rule_transitions extend_zone(zone_work_area &area, std::size_t start, std::size_t length,
                             zone_data &zone) {
    constexpr int most_types = ZONE_MAX_TYPES - 2; // a rule string brings two
    zone_data &footer = area.footer;
    rule_transitions rules{};
    if (zone.type_count > most_types || !parse_footer(area, start, length, rules) ||
        !merge_abbreviations(footer, zone))
        return {.from = zone.transition_count, .per_cycle = 0};
    drop_repeats_at_end(zone);
    count_leap_seconds(zone, footer);
    const int from = zone.transition_count;
    append_transitions(footer, find_later(footer, rules.per_cycle > 0, zone), zone);
    for (int i = 0; i < footer.type_count; ++i)
        zone.types[zone.type_count++] = footer.types[i];
    return {.from = from, .per_cycle = rules.per_cycle};
}
