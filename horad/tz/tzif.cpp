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

bool read_transitions(block_reader &reader, std::size_t count, std::size_t width, zone_data &zone) {
    const unsigned char *from = reader.take(count * width);
    const unsigned char *types = reader.take(count);
    std::int64_t *const times = zone.transition_times;
    int kept = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::int64_t time = read_number(from + i * width, width);
        if (kept > 0 && time <= times[kept - 1]) {
            if (time < times[kept - 1])
                return false;
            --kept; // of two at the same time the later one counts
        }
        times[kept] = time;
        zone.transition_types[kept] = types[i];
        ++kept;
    }
    zone.transition_count = kept;
    return std::all_of(zone.transition_types, zone.transition_types + kept,
                       [&](unsigned char type) { return type < zone.type_count; });
}

bool read_types(block_reader &reader, zone_data &zone) {
    for (int i = 0; i < zone.type_count; ++i) {
        const unsigned char *bytes = reader.take(type_size);
        if (bytes[4] > 1 || bytes[5] >= zone.char_count)
            return false;
        zone.types[i] = {read_number(bytes, 4), bytes[4] != 0, bytes[5], false, false};
    }
    return true;
}

void read_abbreviations(block_reader &reader, zone_data &zone) {
    const auto count = static_cast<std::size_t>(zone.char_count);
    std::memcpy(zone.abbreviations, reader.take(count), count);
    zone.abbreviations[count] = '\0';
}

bool read_leaps(block_reader &reader, std::size_t width, zone_data &zone) {
    leap_record previous{0, 0};
    for (int i = 0; i < zone.leap_count; ++i) {
        const std::int64_t time = reader.take_number(width);
        const std::int64_t correction = reader.take_number(4);
        const std::int64_t change = correction - previous.correction;
        if (time < 0 || time - previous.transition < shortest_leap_interval ||
            (change != 1 && change != -1))
            return false;
        previous = zone.leaps[i] = {time, correction};
    }
    return true;
}

bool read_indicators(block_reader &reader, std::uint64_t count, bool zone_type::*indicator,
                     zone_data &zone) {
    const unsigned char *bytes = reader.take(count);
    for (std::uint64_t i = 0; i < count; ++i) {
        if (bytes[i] > 1)
            return false;
        zone.types[i].*indicator = bytes[i] != 0;
    }
    return true;
}

/// Reads one data block with its header.  Returns its size; 0 when it is not
/// acceptable.
std::size_t read_block(const unsigned char *bytes, std::size_t length, std::size_t width,
                       zone_data &zone) {
    if (length < header_size)
        return 0;
    const block_counts counts = read_counts(bytes);
    if (!are_acceptable(counts) || block_size(counts, width) > length)
        return 0;
    zone.leap_count = static_cast<int>(counts.leaps);
    zone.type_count = static_cast<int>(counts.types);
    zone.char_count = static_cast<int>(counts.chars);

    block_reader reader(bytes + header_size);
    if (!read_transitions(reader, counts.transitions, width, zone) || !read_types(reader, zone))
        return 0;
    read_abbreviations(reader, zone);
    if (!read_leaps(reader, width, zone) ||
        !read_indicators(reader, counts.std_indicators, &zone_type::is_std, zone) ||
        !read_indicators(reader, counts.ut_indicators, &zone_type::is_ut, zone))
        return 0;
    return block_size(counts, width);
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
    int behind = zone.transition_count;
    if (!any_order) {
        const auto near = static_cast<int>(std::lower_bound(times, times + behind, time) - times);
        first = std::max(near - rule_disorder, 0);
        behind = std::min(near + rule_disorder, behind);
    }
    for (int i = first; i < behind; ++i)
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

int decode_zone(zone_work_area &area, std::size_t length, zone_data &zone, rule_transitions &rules,
                bool extend) {
    const unsigned char *const bytes = area.file;
    std::size_t used = read_block(bytes, length, 4, zone);
    if (used == 0)
        return EINVAL;
    const unsigned char version = bytes[4];
    if (version != 0) {
        const std::size_t second = read_block(bytes + used, length - used, 8, zone);
        if (second == 0)
            return EINVAL;
        used += second;
    }
    rules = {.from = zone.transition_count, .per_cycle = 0};
    if (extend && version != 0)
        rules = extend_zone(area, used, length - used, zone);
    if (zone.type_count == 0)
        return EINVAL;
    find_repeats(zone, rules);
    zone.default_type = find_default_type(zone);
    return 0;
}
