// SPDX-License-Identifier: GPL-2.0-or-later
#include "tz/extend_zone.h"

#include <algorithm>
#include <cstring>

#include "tz/calendar.h"
#include "tz/transition_runs.h"

namespace {

/// Finds a place for an abbreviation: at any position from which the store
/// reads like it (the end of a longer name will do), else after the others.
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

/// The transitions that a footer brings, by number.  Of rules the footer's zone holds
/// one cycle, and they go on until a table is full.
struct footer_transitions {
    const zone_data &footer;
    int cycle;
    int count;

    footer_transitions(const zone_data &of, const rule_transitions &rules)
        : footer(of), cycle(of.transition_count),
          count(rules.per_cycle > 0 ? ZONE_MAX_TIMES : of.transition_count) {}

    [[nodiscard]] std::int64_t time(int i) const {
        return footer.transition_times[i % cycle] + i / cycle * seconds_per_400_years;
    }

    /// Near the first that is later than a time, and not after it.
    [[nodiscard]] int before_later(std::int64_t time) const {
        const std::int64_t *const times = footer.transition_times;
        // Whatever leap seconds will do to them.
        const std::int64_t earliest = add_saturated(time, -ZONE_MAX_LEAPS);
        if (count == cycle || earliest < times[0])
            return 0;
        // The distance may be longer than a signed number can tell.
        const auto cycles = static_cast<std::int64_t>(
            (static_cast<std::uint64_t>(earliest) - static_cast<std::uint64_t>(times[0])) /
            seconds_per_400_years);
        const std::int64_t *const near =
            std::upper_bound(times, times + cycle, move_by_cycles(earliest, -cycles));
        const std::int64_t first = cycles * cycle + (near - times) - rule_disorder;
        return static_cast<int>(std::clamp<std::int64_t>(first, 0, count));
    }
};

/// The first of them later than the file's last, in the order of the table, whatever
/// follows.
int find_later(const footer_transitions &added, const zone_data &zone) {
    if (zone.transition_count == 0)
        return 0;
    const std::int64_t last = zone.transition_times[zone.transition_count - 1];
    const auto is_later = [&](int i) {
        const std::int64_t time = added.time(i);
        return add_saturated(time, leap_correction(zone, time)) > last;
    };
    int first = added.before_later(last);
    while (first < added.count && !is_later(first))
        ++first;
    return first;
}

/// Appends them from `first` on.
void append_transitions(const footer_transitions &added, int first, zone_data &zone) {
    const int first_type = zone.type_count;
    int to = zone.transition_count;
    const int end = std::min(to + added.count - first, ZONE_MAX_TIMES);
    // A cycle at a time.
    while (to < end) {
        const int from = first % added.cycle;
        const int part = std::min(added.cycle - from, end - to);
        copy_run({added.footer, from, part}, first / added.cycle * seconds_per_400_years,
                 first_type, zone, to);
        to += part;
        first += part;
    }
    zone.transition_count = to;
}

/// Rules are given without leap seconds, the file's transitions with them.
void count_leap_seconds(int first, zone_data &zone) {
    if (zone.leap_count == 0)
        return;
    for (int i = first; i < zone.transition_count; ++i) {
        std::int64_t &time = zone.transition_times[i];
        time = add_saturated(time, leap_correction(zone, time));
    }
}

bool are_equivalent(const zone_data &zone, int a, int b) {
    const zone_type &x = zone.types[zone.transition_types[a]];
    const zone_type &y = zone.types[zone.transition_types[b]];
    return x.utc_offset == y.utc_offset && x.is_dst == y.is_dst && x.is_std == y.is_std &&
           x.is_ut == y.is_ut &&
           std::strcmp(type_abbreviation(zone, x), type_abbreviation(zone, y)) == 0;
}

/// Whether a transition at `time` is equivalent to that at `end`, one of the
/// table's two.  Of several at that time any will do.
bool recurs(const zone_data &zone, bool any_order, int end, std::int64_t time) {
    const std::int64_t *const times = zone.transition_times;
    int first = 0;
    int stop = zone.transition_count;
    if (!any_order) {
        const auto near = static_cast<int>(std::lower_bound(times, times + stop, time) - times);
        first = std::max(near - rule_disorder, 0);
        stop = std::min(near + rule_disorder, stop);
    }
    for (int i = first; i < stop; ++i)
        if (times[i] == time && are_equivalent(zone, i, end))
            return true;
    return false;
}

/// Whether the table repeats: whether what its first (last) transition brings
/// comes again (came before) exactly 400 years away.
void find_repeats(zone_data &zone, const rule_transitions &rules) {
    zone.go_back = zone.go_ahead = false;
    if (zone.transition_count < 2)
        return;
    const bool any_order = rules.from < zone.transition_count && rules.per_cycle == 0;
    const int last = zone.transition_count - 1;
    std::int64_t time = 0;
    zone.go_back =
        !__builtin_add_overflow(zone.transition_times[0], seconds_per_400_years, &time) &&
        recurs(zone, any_order, 0, time);
    zone.go_ahead =
        !__builtin_sub_overflow(zone.transition_times[last], seconds_per_400_years, &time) &&
        recurs(zone, any_order, last, time);
}

/// The type before the first transition: what the file means by its order of
/// types, and failing that any standard time.
int find_default_type(const zone_data &zone) {
    const int count = zone.transition_count;
    if (std::memchr(zone.transition_types, 0, static_cast<std::size_t>(count)) == nullptr)
        return 0;
    if (zone.types[zone.transition_types[0]].is_dst)
        for (int i = zone.transition_types[0] - 1; i >= 0; --i)
            if (!zone.types[i].is_dst)
                return i;
    for (int i = 0; i < zone.type_count; ++i)
        if (!zone.types[i].is_dst)
            return i;
    return 0;
}

} // namespace

rule_transitions extend_zone(zone_data &footer, const rule_transitions &rules, zone_data &zone) {
    constexpr int most_types = ZONE_MAX_TYPES - 2; // a rule string brings two
    if (zone.type_count > most_types || !merge_abbreviations(footer, zone))
        return no_rules(zone);
    drop_repeats_at_end(zone);
    const int from = zone.transition_count;
    if (footer.transition_count > 0) {
        const footer_transitions added(footer, rules);
        append_transitions(added, find_later(added, zone), zone);
        count_leap_seconds(from, zone);
    }
    for (int i = 0; i < footer.type_count; ++i)
        zone.types[zone.type_count++] = footer.types[i];
    return {.from = from, .per_cycle = rules.per_cycle};
}

bool complete_zone(zone_data &zone, const rule_transitions &rules) {
    if (zone.type_count == 0)
        return false;
    find_repeats(zone, rules);
    zone.default_type = find_default_type(zone);
    return true;
}
