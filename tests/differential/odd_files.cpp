// SPDX-License-Identifier: GPL-2.0-or-later
#include "differential/odd_files.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <string>

#include "common/tzif_builder.h"
#include "differential/odd_strings.h"
#include "differential/run.h"
#include "models/plain_rules.h"

namespace {

constexpr std::int64_t earliest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t latest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t year_seconds = 31556952;

/// start + i * step, not beyond the ends of time.
std::int64_t later(std::int64_t start, std::int64_t i, std::int64_t step) {
    std::int64_t distance = 0;
    std::int64_t time = 0;
    if (__builtin_mul_overflow(i, step, &distance) ||
        __builtin_add_overflow(start, distance, &time))
        return latest;
    return time;
}

/// A moment near something that matters to somebody.
std::int64_t odd_moment(dice &dice) {
    switch (dice.small(0, 9)) {
    case 0:
        return earliest + dice.between(0, 5);
    case 1:
        return latest - dice.between(0, 5);
    case 2:
        return dice.any_magnitude();
    case 3:
        return dice.pick((const std::int64_t[]){first_second, last_second}) +
               dice.between(-200000, 200000);
    case 4:
        return dice.pick((const std::int64_t[]){-(std::int64_t{1} << 31), std::int64_t{1} << 31, 0,
                                                std::int64_t{1} << 46}) +
               dice.between(-3, 3);
    default:
        return dice.between(-200, 300) * year_seconds + dice.between(0, year_seconds);
    }
}

/// How many: few as a rule, all that there is room for now and then.
int odd_amount(dice &dice, int most) {
    switch (dice.small(0, 19)) {
    case 0:
        return most;
    case 1:
        return dice.small(0, most);
    case 2:
    case 3:
    case 4:
        return dice.small(0, std::min(most, 40));
    default:
        return dice.small(0, std::min(most, 5));
    }
}

std::vector<std::int64_t> odd_times(dice &dice) {
    std::vector<std::int64_t> times;
    const int parts = dice.once_in(3) ? dice.small(2, 3) : 1;
    for (int part = 0; part < parts; ++part) {
        const std::int64_t start = odd_moment(dice);
        const int count = odd_amount(dice, 1999);
        const std::int64_t step =
            dice.pick((const std::int64_t[]){1, 1, 2, 3600, 86400, year_seconds / 2, year_seconds,
                                             cycle_seconds / 3, cycle_seconds});
        for (int i = 0; i < count; ++i)
            times.push_back(later(start, i, step));
        // Exactly 400 years apart: what makes a table repeat.
        if (!times.empty() && dice.once_in(3)) {
            std::int64_t twin = 0;
            if (!__builtin_add_overflow(dice.once_in(2) ? times.front() : dice.pick(times),
                                        cycle_seconds, &twin))
                times.push_back(twin);
        }
    }
    std::sort(times.begin(), times.end());
    if (!dice.once_in(4))
        times.erase(std::unique(times.begin(), times.end()), times.end());
    if (!times.empty() && dice.once_in(6))
        times.insert(times.begin(), times.front());
    if (times.size() > 1998)
        times.resize(std::min(times.size(), dice.pick((const std::size_t[]){1998, 1999, 2000})));
    if (times.size() > 1 && dice.once_in(25))
        std::swap(dice.pick(times) == times.front() ? times.front() : times.back(),
                  times[times.size() / 2]);
    return times;
}

std::int32_t odd_offset(dice &dice) {
    switch (dice.small(0, 9)) {
    case 0:
        return dice.once_in(2) ? std::numeric_limits<std::int32_t>::min()
                               : std::numeric_limits<std::int32_t>::max();
    case 1:
        return static_cast<std::int32_t>(dice.any_magnitude() >> 32);
    case 2:
        return static_cast<std::int32_t>(dice.between(-86401, 86401));
    default:
        return static_cast<std::int32_t>(dice.between(-24, 28) * 1800);
    }
}

/// The offset, half an hour further east when so wished and there is such a one.
std::int32_t half_an_hour_on(std::int32_t offset, bool wished) {
    constexpr int half_an_hour = 1800;
    const bool room = offset <= std::numeric_limits<std::int32_t>::max() - half_an_hour;
    return wished && room ? offset + half_an_hour : offset;
}

std::string odd_abbreviations(dice &dice) {
    static const std::string chosen[] = {
        std::string("STD\0DST\0", 8),
        std::string("AAA\0BBB\0", 8),
        std::string("CCCBBB\0AAA\0", 11),
        std::string("AAA\0BBB", 7),
        std::string("AAA", 3),
        std::string("\0AAA\0", 5),
        std::string("E*T\0D/T\0<+3>\0", 13),
        std::string("Local time zone must be set--see zic manual page\0", 49),
        std::string("ABCDEFGHIJKLMNOPQRSTUVWXYZ\0abcdefghijklmnopqrs\0", 47),
        std::string("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvw", 49),
    };
    if (dice.once_in(2))
        return chosen[dice.once_in(2) ? 0 : 1];
    std::string text = dice.pick(chosen);
    // How much room is left decides whether a footer can be used.
    while (dice.once_in(2) && text.size() < 45)
        text += std::string("QRS\0", 4);
    if (dice.once_in(10))
        text.resize(dice.index(51));
    if (dice.once_in(20))
        text.resize(dice.once_in(2) ? 49 : 50, 'X');
    return text;
}

void add_leaps(dice &dice, tzif_block &block) {
    const int count = dice.once_in(10) ? dice.small(49, 50) : odd_amount(dice, 48);
    constexpr std::int64_t shortest = 2419199;
    std::int64_t time = 0;
    std::int32_t correction = 0;
    for (int i = 0; i < count; ++i) {
        time += shortest + (dice.once_in(4) ? 0 : dice.between(0, 50) * 1000000);
        // As the real ones: the last second of a day.
        if (dice.once_in(3))
            time = (time / 86400 + 1) * 86400 + correction;
        correction += dice.once_in(4) ? -1 : 1;
        block.leaps.push_back({time, correction});
    }
    if (count > 0 && dice.once_in(20))
        dice.once_in(2) ? block.leaps.back().correction += 1 : block.leaps.back().time -= shortest;
}

std::vector<unsigned char> odd_indicators(dice &dice, std::size_t count) {
    std::vector<unsigned char> indicators(count);
    for (auto &indicator : indicators)
        indicator = dice.once_in(2) ? 1 : 0;
    if (count > 0 && dice.once_in(40))
        indicators.back() = 2;
    return indicators;
}

int odd_type_count(dice &dice) {
    if (dice.once_in(30))
        return 0;
    if (dice.once_in(15))
        return dice.small(253, 256);
    return dice.once_in(10) ? dice.small(1, 255) : dice.small(1, 4);
}

void add_types(dice &dice, tzif_block &block) {
    block.types.clear();
    const int count = odd_type_count(dice);
    // All of one kind now and then.
    const int dst_in = dice.pick((const int[]){2, 2, 2, 5, 1, 100000});
    // Types that differ in little: what makes them equivalent, what does not.
    const bool alike = dice.once_in(4);
    for (int i = 0; i < count; ++i) {
        const auto length = std::max<std::size_t>(block.abbreviations.size(), 1);
        const std::size_t at = dice.once_in(3) ? dice.index(length) : i % 2 == 1 ? 4 : 0;
        const unsigned char dst = dice.once_in(dst_in) ? 1 : 0;
        tzif_block::local_type type{odd_offset(dice), dst, static_cast<unsigned char>(at % length)};
        if (alike && i > 0) {
            type.offset = half_an_hour_on(block.types.back().offset, dice.once_in(6));
            if (!dice.once_in(3))
                type.dst = block.types.back().dst;
            if (!dice.once_in(3))
                type.abbr_index = block.types.back().abbr_index;
        }
        block.types.push_back(type);
    }
    if (count > 0 && dice.once_in(40))
        block.types.back().dst = 2;
    if (count > 0 && dice.once_in(40))
        block.types.back().abbr_index = static_cast<unsigned char>(block.abbreviations.size());
}

tzif_block odd_block(dice &dice) {
    tzif_block block;
    block.abbreviations = odd_abbreviations(dice);
    add_types(dice, block);
    const int type_count = std::max(static_cast<int>(block.types.size()), 1);
    const bool in_turn = dice.once_in(2);
    int next = 0;
    for (const std::int64_t time : odd_times(dice)) {
        const int type = in_turn ? next++ % type_count : dice.small(0, type_count - 1);
        block.changes.push_back({time, static_cast<unsigned char>(type)});
    }
    if (!block.changes.empty() && dice.once_in(60))
        block.changes[dice.index(block.changes.size())].type =
            static_cast<unsigned char>(std::min(255, type_count));
    if (dice.once_in(5))
        add_leaps(dice, block);
    if (dice.once_in(4))
        block.std_indicators = odd_indicators(dice, block.types.size());
    if (dice.once_in(4))
        block.ut_indicators = odd_indicators(dice, block.types.size());
    return block;
}

/// Ends a block at the very second of a change that its footer makes, or next to
/// it, and has leap seconds there.
void meet_footer(dice &dice, tzif_block &block, const std::string &footer) {
    plain::zone zone;
    if (footer.size() < 3 || block.types.empty() ||
        !plain::parse_tz_string(footer.substr(1, footer.size() - 2), std::nullopt, zone, false) ||
        zone.transitions.empty())
        return;
    const std::int64_t change = zone.transitions[dice.index(zone.transitions.size())].time;
    const std::int64_t last = change + dice.between(-1, 1) * dice.small(0, 2);
    std::erase_if(block.changes, [&](const auto &made) { return made.time >= last; });
    if (block.changes.size() < 1999)
        block.changes.push_back({last, 0});
    if (change > 2419200 && dice.once_in(3))
        block.leaps = {{change - dice.small(0, 1), 1}};
}

/// For 32-bit times; those that do not fit are left out.
tzif_block narrowed(tzif_block block) {
    std::erase_if(block.changes, [](const tzif_block::change &change) {
        return change.time != static_cast<std::int32_t>(change.time);
    });
    std::erase_if(block.leaps, [](const tzif_block::leap &leap) {
        return leap.time != static_cast<std::int32_t>(leap.time);
    });
    return block;
}

std::string odd_footer(dice &dice) {
    switch (dice.small(0, 19)) {
    case 0:
    case 1:
    case 2:
        return "\n\n";
    case 3:
        return dice.pick((const char *[]){"", "\n", "\nAAA3", "AAA3\n", "\n\n\n", "\nAAA3\n\n"});
    case 4:
        return "\n" + odd_tz_string(dice) + std::string("\0\n", 2);
    default:
        return "\n" + odd_tz_string(dice) + "\n";
    }
}

void damage(dice &dice, std::vector<unsigned char> &file) {
    const std::size_t at = dice.once_in(2) ? dice.index(file.size())
                                           : dice.index(std::min<std::size_t>(file.size(), 88));
    switch (dice.small(0, 2)) {
    case 0:
        file.resize(at);
        break;
    case 1:
        file[at] = static_cast<unsigned char>(dice.between(0, 255));
        break;
    default:
        file[at] ^= static_cast<unsigned char>(1U << dice.between(0, 7));
    }
}

} // namespace

std::vector<unsigned char> odd_zone_file(dice &dice) {
    tzif_file file;
    file.version = dice.once_in(8) ? '\0' : dice.once_in(8) ? '3' : '2';
    tzif_block block = odd_block(dice);
    file.footer = odd_footer(dice);
    if (dice.once_in(8))
        meet_footer(dice, block, file.footer);
    if (file.version == 0 || dice.once_in(4))
        file.narrow = narrowed(block);
    file.wide = std::move(block);
    auto bytes = file.bytes();
    if (file.version == 0 && dice.once_in(3))
        bytes.insert(bytes.end(), file.footer.begin(), file.footer.end());
    if (dice.once_in(15))
        damage(dice, bytes);
    return bytes;
}
