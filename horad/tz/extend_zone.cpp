// SPDX-License-Identifier: GPL-2.0-or-later
#include "tz/extend_zone.h"

#include <algorithm>
#include <cstring>

#include "tz/tz_string.h"

namespace {

/// Makes area.footer of the footer's rule string.
bool parse_footer(zone_work_area &area, std::size_t start, std::size_t length) {
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
                       decode_zone(area, rules_length, area.footer, false) == 0;
    }
    build_zone(description, rules_loaded, area.footer);
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
bool merge_abbreviations(zone_state &footer, zone_state &state) {
    char store[ZONE_MAX_CHARS];
    int count = state.char_count;
    std::memcpy(store, state.abbreviations, static_cast<std::size_t>(count) + 1);
    for (int i = 0; i < footer.type_count; ++i) {
        zone_type &type = footer.types[i];
        type.abbr_index = place_abbreviation(type_abbreviation(footer, type), store, count);
        if (type.abbr_index < 0)
            return false;
    }
    std::memcpy(state.abbreviations, store, static_cast<std::size_t>(count));
    state.char_count = count;
    return true;
}

std::int64_t leap_correction(const zone_state &state, std::int64_t time) {
    for (int i = state.leap_count - 1; i >= 0; --i)
        if (time >= state.leaps[i].transition)
            return state.leaps[i].correction;
    return 0;
}

void drop_repeats_at_end(zone_state &state) {
    int &count = state.transition_count;
    while (count > 1 && state.transition_types[count - 1] == state.transition_types[count - 2])
        --count;
}

/// Where in the footer's transitions those later than the file's last begin.
int find_later(const zone_state &footer, const zone_state &state) {
    if (state.transition_count == 0)
        return 0;
    const std::int64_t last = state.transition_times[state.transition_count - 1];
    const std::int64_t *const times = footer.transition_times;
    const int count = footer.transition_count;
    // Rule times of many days can put neighbours out of order: the first counts.
    constexpr int reach = 4;
    auto first = static_cast<int>(std::upper_bound(times, times + count, last) - times);
    first = std::max(first - reach, 0);
    while (first < count && times[first] <= last)
        ++first;
    return first;
}

void append_transitions(const zone_state &footer, zone_state &state) {
    const int first = find_later(footer, state);
    const int count = state.transition_count;
    const int added = std::min(footer.transition_count - first, ZONE_MAX_TIMES - count);
    std::copy_n(footer.transition_times + first, added, state.transition_times + count);
    const int first_type = state.type_count;
    for (int i = 0; i < added; ++i)
        state.transition_types[count + i] =
            static_cast<unsigned char>(first_type + footer.transition_types[first + i]);
    state.transition_count = count + added;
}

/// Rules are given without leap seconds, the file's transitions with them.
void count_leap_seconds(const zone_state &state, zone_state &footer) {
    if (state.leap_count == 0)
        return;
    for (int i = 0; i < footer.transition_count; ++i)
        footer.transition_times[i] += leap_correction(state, footer.transition_times[i]);
}

} // namespace

void extend_zone(zone_work_area &area, std::size_t start, std::size_t length, zone_state &state) {
    constexpr int most_types = ZONE_MAX_TYPES - 2; // a rule string brings two
    zone_state &footer = area.footer;
    if (state.type_count > most_types || !parse_footer(area, start, length) ||
        !merge_abbreviations(footer, state))
        return;
    drop_repeats_at_end(state);
    if (footer.index.rules_from == 0)
        state.index.rules_from = state.transition_count;
    count_leap_seconds(state, footer);
    append_transitions(footer, state);
    for (int i = 0; i < footer.type_count; ++i)
        state.types[state.type_count++] = footer.types[i];
}
