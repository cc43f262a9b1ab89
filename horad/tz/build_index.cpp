// SPDX-License-Identifier: GPL-2.0-or-later
#include "tz/build_index.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <limits>

#include "tz/calendar.h"

namespace {

/// Slots start no earlier than this (1833): a few zones begin with a transition
/// at the beginning of time, which would make every slot centuries long.
constexpr std::int64_t earliest_slot = -(std::int64_t{1} << 32);

constexpr std::int64_t end_of_time = std::numeric_limits<std::int64_t>::max();

/// Whether the transitions from `first` to `last` increase.  Those of a file's
/// table do.  Rules with times of many days can make others, and so can the
/// rules file when its transitions are moved.
bool increase(const std::int64_t *times, int first, int last) {
    for (int i = first + 1; i <= last; ++i)
        if (times[i - 1] >= times[i])
            return false;
    return true;
}

/// What the slots serve.  Published last: with it the index is in use.
struct slot_range {
    std::int64_t begin = 0;
    std::uint64_t span = 0;
};

/// first, last  the transitions at the start and the end of the slots
///
/// Returns false when the transitions between them do not increase.
bool fill_slots(const zone_state &zone, int first, int last, slot_range &slots) {
    zone_index &index = zone.index;
    const std::int64_t *const times = zone.transition_times;
    if (times[last] <= times[first])
        return false;
    const std::int64_t begin = times[first];
    const std::uint64_t span =
        static_cast<std::uint64_t>(times[last]) - static_cast<std::uint64_t>(begin);
    int shift = 0;
    while ((span >> shift) >= zone_index_slots)
        ++shift;
    slots = {begin, span};
    index.shift = shift;

    // Few transitions lie more than four slots apart: each one marks so many
    // slots after it, and what it marked too far the next ones mark again.
    constexpr std::uint64_t four_times = 0x0001'0001'0001'0001;
    const auto mark_four = [&](std::size_t slot, int passed) {
        const std::uint64_t marks = static_cast<std::uint64_t>(passed) * four_times;
        std::memcpy(index.passed + slot, &marks, sizeof marks);
    };
    std::size_t marked = 0;
    std::uint64_t passed_position = 0;
    mark_four(marked, first + 1);
    for (int i = first + 1; i <= last; ++i) {
        const std::uint64_t position =
            static_cast<std::uint64_t>(times[i]) - static_cast<std::uint64_t>(begin);
        if (position <= passed_position || position > span)
            return false;
        passed_position = position;
        const auto next = static_cast<std::size_t>((position - 1) >> shift) + 1;
        if (next > marked + 4)
            std::fill(index.passed + marked + 4, index.passed + next,
                      static_cast<std::uint16_t>(i));
        marked = next;
        mark_four(marked, i + 1);
    }
    return true;
}

bool follows_rules(const zone_state &zone) {
    return zone.rules.per_cycle > 0 && zone.rules.from < zone.transition_count;
}

/// The end of the table, for one that repeats what is in it.
std::int64_t end_of_table(const zone_state &zone) {
    return zone.go_ahead ? zone.index.last : end_of_time;
}

/// After what a zone repeats: a cycle of its rules, or the table.
std::int64_t find_repetition(const zone_state &zone) {
    const std::int64_t end = end_of_table(zone);
    if (!zone.go_ahead || zone.leap_count > 0 || !follows_rules(zone))
        return end;
    const std::int64_t first = zone.transition_times[zone.rules.from];
    return std::min(add_saturated(first, seconds_per_400_years - 1), end);
}

/// The last transition to have a slot.
int find_last_indexed(const zone_state &zone, std::int64_t repeats_after) {
    const std::int64_t *const end = zone.transition_times + zone.transition_count;
    const std::int64_t latest = std::min(latest_indexed_time - 1, repeats_after);
    const std::int64_t *const later = std::upper_bound(zone.transition_times, end, latest);
    return static_cast<int>(std::min(later, end - 1) - zone.transition_times);
}

/// The last transition whose place is not known from those before: what follows
/// the first cycle of rules is in its order.
int find_last_to_check(const zone_state &zone) {
    const int last = zone.transition_count - 1;
    if (zone.leap_count > 0 || !follows_rules(zone))
        return last;
    return std::min(zone.rules.from + zone.rules.per_cycle, last);
}

/// Whether any time beyond the table can be moved into it and converted there.
/// Moving the rules file's transitions can make a table that begins less than a
/// cycle before its end, and files may repeat what is millions of years away.
bool has_plain_repetitions(const zone_state &zone) {
    if (!zone.go_back && !zone.go_ahead)
        return true;
    const std::int64_t first = zone.transition_times[0];
    const std::int64_t last = zone.index.last;
    constexpr std::int64_t limit = latest_indexed_time;
    return (!zone.go_ahead || (last >= seconds_per_400_years - limit && last <= limit &&
                               first <= last - seconds_per_400_years)) &&
           (!zone.go_back || (first <= limit - seconds_per_400_years && first >= -limit &&
                              first + seconds_per_400_years <= last));
}

void build_index(const zone_state &zone) {
    const std::int64_t *const times = zone.transition_times;
    const int count = zone.transition_count;
    std::int64_t repeats_after = find_repetition(zone);

    int first = 0;
    while (first < count - 1 && times[first] < earliest_slot)
        ++first;
    const int last = count > 0 ? find_last_indexed(zone, repeats_after) : 0;
    const bool has_slots =
        zone.leap_count == 0 && first < last && times[last] <= latest_indexed_time;
    slot_range slots;
    bool regular = false;
    if (has_slots)
        regular = increase(times, 0, first) && fill_slots(zone, first, last, slots) &&
                  increase(times, last, find_last_to_check(zone));
    else
        regular = increase(times, 0, count - 1);
    if (!regular || !has_plain_repetitions(zone)) {
        regular = false;
        slots = {};
        repeats_after = end_of_table(zone);
    }

    zone_index &index = zone.index;
    index.regular = regular;
    std::atomic_ref(index.repeats_after).store(repeats_after, std::memory_order_relaxed);
    std::atomic_ref(index.begin).store(slots.begin, std::memory_order_relaxed);
    std::atomic_ref(index.span).store(slots.span, std::memory_order_release);
}

} // namespace

void make_ready(zone_state &zone) noexcept {
    zone_index &index = zone.index;
    index.lowest_offset = index.highest_offset = zone.types[0].utc_offset;
    for (int i = 1; i < zone.type_count; ++i) {
        index.lowest_offset = std::min(index.lowest_offset, zone.types[i].utc_offset);
        index.highest_offset = std::max(index.highest_offset, zone.types[i].utc_offset);
    }
    const int count = zone.transition_count;
    index.last = count > 0 ? zone.transition_times[count - 1] : 0;
    index.begin = 0;
    index.span = 0;
    index.repeats_after = end_of_time;
    index.progress = index_progress::not_begun;
}

table_order build_order(const zone_state &zone) noexcept {
    const std::atomic_ref progress(zone.index.progress);
    auto found = index_progress::not_begun;
    if (progress.compare_exchange_strong(found, index_progress::begun, std::memory_order_acquire)) {
        build_index(zone);
        progress.store(index_progress::done, std::memory_order_release);
        return order_of(zone);
    }
    // Another thread is at it, or was just now: plain searches find the same.
    return {.regular = false, .repeats_after = end_of_table(zone)};
}
