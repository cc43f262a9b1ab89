// SPDX-License-Identifier: GPL-2.0-or-later
#include "tz/tzif.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include <endian.h>

#include "tz/calendar.h"
#include "tz/extend_zone.h"

namespace {

constexpr std::size_t header_size = 44;
constexpr std::size_t type_size = 6;
constexpr std::int64_t shortest_leap_interval = 28 * seconds_per_day - 1;

/// A big-endian two's complement number of 4 or 8 bytes.
std::int64_t read_number(const unsigned char *bytes, std::size_t width) {
    if (width == 4) {
        std::uint32_t value = 0;
        std::memcpy(&value, bytes, sizeof value);
        return static_cast<std::int32_t>(be32toh(value));
    }
    std::uint64_t value = 0;
    std::memcpy(&value, bytes, sizeof value);
    return static_cast<std::int64_t>(be64toh(value));
}

/// Takes the parts of a data block one after another; its size was checked.
class block_reader {
  public:
    explicit block_reader(const unsigned char *bytes) : next_(bytes) {}
    const unsigned char *take(std::size_t size) {
        const unsigned char *taken = next_;
        next_ += size;
        return taken;
    }
    std::int64_t take_number(std::size_t width) { return read_number(take(width), width); }

  private:
    const unsigned char *next_;
};

/// A header's counts; as unsigned numbers, so that negative ones are too large.
struct block_counts {
    std::uint64_t ut_indicators;
    std::uint64_t std_indicators;
    std::uint64_t leaps;
    std::uint64_t transitions;
    std::uint64_t types;
    std::uint64_t chars;
};

block_counts read_counts(const unsigned char *header) {
    const auto count = [&](std::size_t position) {
        return static_cast<std::uint64_t>(read_number(header + position, 4));
    };
    return {count(20), count(24), count(28), count(32), count(36), count(40)};
}

bool are_acceptable(const block_counts &counts) {
    return counts.leaps < ZONE_MAX_LEAPS && counts.types < ZONE_MAX_TYPES &&
           counts.transitions < ZONE_MAX_TIMES && counts.chars < ZONE_MAX_CHARS &&
           (counts.std_indicators == 0 || counts.std_indicators == counts.types) &&
           (counts.ut_indicators == 0 || counts.ut_indicators == counts.types);
}

/// width: bytes of a time
std::size_t block_size(const block_counts &counts, std::size_t width) {
    return header_size + counts.transitions * (width + 1) + counts.types * type_size +
           counts.chars + counts.leaps * (width + 4) + counts.std_indicators + counts.ut_indicators;
}

bool read_transitions(block_reader &reader, std::size_t count, std::size_t width,
                      zone_state &state) {
    const unsigned char *from = reader.take(count * width);
    const unsigned char *types = reader.take(count);
    std::int64_t *const times = state.transition_times;
    int kept = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::int64_t time = read_number(from + i * width, width);
        if (kept > 0 && time <= times[kept - 1]) {
            if (time < times[kept - 1])
                return false;
            --kept; // of two at the same time the later one counts
        }
        times[kept] = time;
        state.transition_types[kept] = types[i];
        ++kept;
    }
    state.transition_count = kept;
    return std::all_of(state.transition_types, state.transition_types + kept,
                       [&](unsigned char type) { return type < state.type_count; });
}

bool read_types(block_reader &reader, zone_state &state) {
    for (int i = 0; i < state.type_count; ++i) {
        const unsigned char *bytes = reader.take(type_size);
        if (bytes[4] > 1 || bytes[5] >= state.char_count)
            return false;
        state.types[i] = {read_number(bytes, 4), bytes[4] != 0, bytes[5], false, false};
    }
    return true;
}

void read_abbreviations(block_reader &reader, zone_state &state) {
    const auto count = static_cast<std::size_t>(state.char_count);
    std::memcpy(state.abbreviations, reader.take(count), count);
    state.abbreviations[count] = '\0';
}

bool read_leaps(block_reader &reader, std::size_t width, zone_state &state) {
    leap_record previous{0, 0};
    for (int i = 0; i < state.leap_count; ++i) {
        const std::int64_t time = reader.take_number(width);
        const std::int64_t correction = reader.take_number(4);
        const std::int64_t change = correction - previous.correction;
        if (time < 0 || time - previous.transition < shortest_leap_interval ||
            (change != 1 && change != -1))
            return false;
        previous = state.leaps[i] = {time, correction};
    }
    return true;
}

bool read_indicators(block_reader &reader, std::uint64_t count, bool zone_type::*indicator,
                     zone_state &state) {
    const unsigned char *bytes = reader.take(count);
    for (std::uint64_t i = 0; i < count; ++i) {
        if (bytes[i] > 1)
            return false;
        state.types[i].*indicator = bytes[i] != 0;
    }
    return true;
}

/// Reads one data block with its header.  Returns its size; 0 when it is not
/// acceptable.
std::size_t read_block(const unsigned char *bytes, std::size_t length, std::size_t width,
                       zone_state &state) {
    if (length < header_size)
        return 0;
    const block_counts counts = read_counts(bytes);
    if (!are_acceptable(counts) || block_size(counts, width) > length)
        return 0;
    state.leap_count = static_cast<int>(counts.leaps);
    state.type_count = static_cast<int>(counts.types);
    state.char_count = static_cast<int>(counts.chars);

    block_reader reader(bytes + header_size);
    if (!read_transitions(reader, counts.transitions, width, state) || !read_types(reader, state))
        return 0;
    read_abbreviations(reader, state);
    if (!read_leaps(reader, width, state) ||
        !read_indicators(reader, counts.std_indicators, &zone_type::is_std, state) ||
        !read_indicators(reader, counts.ut_indicators, &zone_type::is_ut, state))
        return 0;
    return block_size(counts, width);
}

bool are_equivalent(const zone_state &state, int a, int b) {
    const zone_type &x = state.types[state.transition_types[a]];
    const zone_type &y = state.types[state.transition_types[b]];
    return x.utc_offset == y.utc_offset && x.is_dst == y.is_dst && x.is_std == y.is_std &&
           x.is_ut == y.is_ut &&
           std::strcmp(type_abbreviation(state, x), type_abbreviation(state, y)) == 0;
}

/// Finds the transition at a time; -1 when there is none.
int find_transition(const zone_state &state, std::int64_t time) {
    const std::int64_t *const times = state.transition_times;
    const auto near =
        static_cast<int>(std::lower_bound(times, times + state.transition_count, time) - times);
    // Rule times of many days can put neighbours out of order.
    constexpr int reach = 4;
    for (int i = std::max(near - reach, 0); i < std::min(near + reach, state.transition_count); ++i)
        if (times[i] == time)
            return i;
    return -1;
}

/// Whether the table repeats: whether what its first (last) transition brings
/// comes again (came before) exactly 400 years away.
void find_repeats(zone_state &state) {
    state.go_back = state.go_ahead = false;
    if (state.transition_count < 2)
        return;
    const int last = state.transition_count - 1;
    std::int64_t time = 0;
    if (!__builtin_add_overflow(state.transition_times[0], seconds_per_400_years, &time)) {
        const int later = find_transition(state, time);
        state.go_back = later > 0 && are_equivalent(state, 0, later);
    }
    if (!__builtin_sub_overflow(state.transition_times[last], seconds_per_400_years, &time)) {
        const int earlier = find_transition(state, time);
        state.go_ahead = earlier >= 0 && are_equivalent(state, earlier, last);
    }
}

/// The type before the first transition: what the file means by its order of
/// types, and failing that any standard time.
int find_default_type(const zone_state &state) {
    const int count = state.transition_count;
    if (std::memchr(state.transition_types, 0, static_cast<std::size_t>(count)) == nullptr)
        return 0;
    if (state.types[state.transition_types[0]].is_dst)
        for (int i = state.transition_types[0] - 1; i >= 0; --i)
            if (!state.types[i].is_dst)
                return i;
    for (int i = 0; i < state.type_count; ++i)
        if (!state.types[i].is_dst)
            return i;
    return 0;
}

} // namespace

int decode_zone(zone_work_area &area, std::size_t length, zone_state &state, bool extend) {
    const unsigned char *const bytes = area.file;
    std::size_t used = read_block(bytes, length, 4, state);
    if (used == 0)
        return EINVAL;
    state.index.rules_from = state.transition_count;
    const unsigned char version = bytes[4];
    if (version != 0) {
        const std::size_t second = read_block(bytes + used, length - used, 8, state);
        if (second == 0)
            return EINVAL;
        used += second;
        state.index.rules_from = state.transition_count;
        if (extend)
            extend_zone(area, used, length - used, state);
    }
    if (state.type_count == 0)
        return EINVAL;
    find_repeats(state);
    state.default_type = find_default_type(state);
    return 0;
}
