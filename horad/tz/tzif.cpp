// SPDX-License-Identifier: GPL-2.0-or-later
#include "tz/tzif.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include <endian.h>

#include "tz/calendar.h"
#include "tz/transition_runs.h"

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

/// Drops, of two transitions at the same time, the earlier one.  False when times go back.
bool drop_replaced(zone_data &zone) {
    std::int64_t *const times = zone.transition_times;
    int kept = 0;
    for (int i = 0; i < zone.transition_count; ++i) {
        if (kept > 0 && times[i] <= times[kept - 1]) {
            if (times[i] < times[kept - 1])
                return false;
            --kept;
        }
        times[kept] = times[i];
        zone.transition_types[kept] = zone.transition_types[i];
        ++kept;
    }
    zone.transition_count = kept;
    return true;
}

/// Returns whether they increase.
///
/// width  bytes of a time, for the compiler to know
template <std::size_t width>
bool read_times(const unsigned char *bytes, std::size_t count, std::int64_t *times) {
    if (count == 0)
        return true;
    std::int64_t last = times[0] = read_number(bytes, width);
    bool increase = true;
#pragma GCC unroll 4
    for (std::size_t i = 1; i < count; ++i) {
        const std::int64_t time = read_number(bytes + i * width, width);
        increase &= last < time;
        times[i] = last = time;
    }
    return increase;
}

bool read_transitions(block_reader &reader, std::size_t count, std::size_t width, zone_data &zone) {
    const unsigned char *bytes = reader.take(count * width);
    const bool increase = width == 4 ? read_times<4>(bytes, count, zone.transition_times)
                                     : read_times<8>(bytes, count, zone.transition_times);
    std::memcpy(zone.transition_types, reader.take(count), count);
    zone.transition_count = static_cast<int>(count);
    if (!increase && !drop_replaced(zone))
        return false;
    return have_types_below(zone.type_count, zone);
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

} // namespace

bool decode_tzif(std::span<unsigned char> file, zone_data &zone,
                 std::span<unsigned char> &footer) noexcept {
    constexpr std::size_t version_position = 4;
    footer = {};
    const std::size_t first = read_block(file.data(), file.size(), 4, zone);
    if (first == 0)
        return false;
    if (file[version_position] == 0)
        return true;
    const std::span<unsigned char> rest = file.subspan(first);
    const std::size_t second = read_block(rest.data(), rest.size(), 8, zone);
    if (second == 0)
        return false;
    footer = rest.subspan(second);
    return true;
}
