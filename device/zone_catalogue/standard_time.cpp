// SPDX-License-Identifier: GPL-2.0-or-later
#include "zone_catalogue/standard_time.h"

#include <algorithm>
#include <cstdint>

namespace {

using std::string_view;

constexpr int seconds_per_hour = 3600;

/// What the file says of one kind of local time.
struct local_time {
    int east; ///< seconds east of UTC
    string_view name;
};

bool is_digit(char c) noexcept { return c >= '0' && c <= '9'; }
bool is_letter(char c) noexcept { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool is_name_character(char c) noexcept {
    return is_letter(c) || is_digit(c) || c == '+' || c == '-';
}

std::optional<standard_time> in_minutes(const local_time &time) noexcept {
    constexpr int furthest = 25 * seconds_per_hour;
    if (time.east % 60 != 0 || time.east <= -furthest || time.east >= furthest || time.name.empty())
        return {};
    return standard_time{time.east / 60, time.name};
}

// The take_ functions move `text` past what they return.

string_view take_front(string_view &text, std::size_t size) noexcept {
    const string_view front = text.substr(0, size);
    text.remove_prefix(front.size());
    return front;
}

/// A name is a run of letters, or anything that names may hold in "<" and ">".
string_view take_name(string_view &text, bool (*belongs)(char)) noexcept {
    std::size_t size = 0;
    while (size < text.size() && belongs(text[size]))
        ++size;
    return take_front(text, size);
}

std::optional<string_view> take_zone_name(string_view &text) noexcept {
    if (!text.starts_with('<'))
        return take_name(text, is_letter);
    text.remove_prefix(1);
    const string_view name = take_name(text, is_name_character);
    if (take_front(text, 1) != ">")
        return {};
    return name;
}

std::optional<int> take_number(string_view &text, int largest) noexcept {
    if (text.empty() || !is_digit(text[0]))
        return {};
    int number = 0;
    while (!text.empty() && is_digit(text[0])) {
        number = number * 10 + (take_front(text, 1)[0] - '0');
        if (number > largest)
            return {};
    }
    return number;
}

/// Hours, minutes and seconds in a rule's own direction: west of UTC.
std::optional<int> take_offset(string_view &text) noexcept {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+'))
        text.remove_prefix(1);
    int total = 0;
    int unit = seconds_per_hour;
    do {
        const auto number = take_number(text, unit == seconds_per_hour ? 24 : 59);
        if (!number)
            return {};
        total += *number * unit;
        unit /= 60;
    } while (unit > 0 && text.starts_with(':') && take_front(text, 1) == ":");
    return negative ? -total : total;
}

std::optional<local_time> take_local_time(string_view &text,
                                          std::optional<int> default_east) noexcept {
    const auto name = take_zone_name(text);
    if (!name || name->empty())
        return {};
    if (default_east && (text.empty() || text[0] == ','))
        return local_time{*default_east, *name};
    const auto west = take_offset(text);
    if (!west)
        return {};
    return local_time{-*west, *name};
}

/// The rule in the file's last line holds for all times to come.  Where summer
/// time is called standard and winter time the exception (Dublin), an operator
/// still expects winter time: the one with less time ahead of UTC is taken.
std::optional<standard_time> read_rule(string_view rule) noexcept {
    const auto standard = take_local_time(rule, {});
    if (!standard)
        return {};
    if (rule.empty())
        return in_minutes(*standard);
    const auto daylight = take_local_time(rule, standard->east + seconds_per_hour);
    if (!daylight)
        return {};
    return in_minutes(daylight->east < standard->east ? *daylight : *standard);
}

/// One of a file's two blocks of transitions; the second, with 64-bit times, is
/// the one in use since 2005.
struct block {
    char version;
    string_view transition_types; ///< an index per transition
    string_view type_records;     ///< six bytes per type
    string_view names;            ///< each ended by a zero byte
};

constexpr std::size_t type_record_size = 6;

std::uint32_t big_endian(string_view bytes) noexcept {
    std::uint32_t value = 0;
    for (const char byte : bytes.substr(0, 4))
        value = value << 8 | static_cast<unsigned char>(byte);
    return value;
}

std::optional<block> take_block(string_view &file, unsigned time_size) noexcept {
    constexpr std::size_t header_size = 44;
    if (file.size() < header_size || !file.starts_with("TZif"))
        return {};
    const string_view header = take_front(file, header_size);
    const auto count = [header](std::size_t at) -> std::uint64_t {
        string_view counts = header;
        counts.remove_prefix(20 + 4 * at);
        return big_endian(counts);
    };
    const std::uint64_t ut_marks = count(0);
    const std::uint64_t standard_marks = count(1);
    const std::uint64_t leap_seconds = count(2);
    const std::uint64_t transitions = count(3);
    const std::uint64_t types = count(4);
    const std::uint64_t name_bytes = count(5);
    // Counts of 32 bits cannot overflow a sum of 64.
    if (file.size() < transitions * (time_size + 1) + types * type_record_size + name_bytes +
                          leap_seconds * (time_size + 4) + standard_marks + ut_marks)
        return {};

    block taken{};
    taken.version = header[4];
    take_front(file, transitions * time_size);
    taken.transition_types = take_front(file, transitions);
    taken.type_records = take_front(file, types * type_record_size);
    taken.names = take_front(file, name_bytes);
    take_front(file, leap_seconds * (time_size + 4) + standard_marks + ut_marks);
    return taken;
}

std::optional<local_time> standard_type(const block &zone, std::size_t type) noexcept {
    const string_view record = zone.type_records.substr(
        std::min(type * type_record_size, zone.type_records.size()), type_record_size);
    const bool is_daylight = record.size() < type_record_size || record[4] != 0;
    if (is_daylight)
        return {};
    string_view name = zone.names;
    name.remove_prefix(std::min<std::size_t>(static_cast<unsigned char>(record[5]), name.size()));
    return local_time{static_cast<std::int32_t>(big_endian(record)),
                      take_name(name, is_name_character)};
}

/// Without a rule: the standard time last changed to, else the first there is.
std::optional<standard_time> last_standard_type(const block &zone) noexcept {
    for (std::size_t left = zone.transition_types.size(); left > 0; --left)
        if (const auto time =
                standard_type(zone, static_cast<unsigned char>(zone.transition_types[left - 1])))
            return in_minutes(*time);
    for (std::size_t type = 0; type < zone.type_records.size() / type_record_size; ++type)
        if (const auto time = standard_type(zone, type))
            return in_minutes(*time);
    return {};
}

} // namespace

std::optional<standard_time> read_standard_time(std::string_view file) noexcept {
    const auto short_block = take_block(file, 4);
    if (!short_block)
        return {};
    if (short_block->version == '\0')
        return last_standard_type(*short_block);
    const auto long_block = take_block(file, 8);
    if (!long_block)
        return {};
    if (file.starts_with('\n')) {
        file.remove_prefix(1);
        const std::size_t end = file.find('\n');
        if (end != string_view::npos)
            if (const auto time = read_rule(file.substr(0, end)))
                return time;
    }
    return last_standard_type(*long_block);
}
