// SPDX-License-Identifier: GPL-2.0-or-later
#include "timezone/year_changes.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>
#include <system_error>

#include "timezone/month_names.h"

namespace {

/// Index of a dump's first line about a change; before it are the lowest instants.
constexpr std::size_t first_change = 2;

/// One half of a line, as read.
struct reading {
    char month[256];
    int day;
    int hour;
    int minute;
    int second;
    int year;
};

struct line_readings {
    reading utc;
    reading local;
};

/// Reads a line into what the lines before left.  Zone name, weekdays and what
/// follows the local time are not needed.  A field that cannot be read stays: how
/// far a line could be read does not matter.
void read_line(const char *line, line_readings &readings) {
    reading &utc = readings.utc;
    reading &local = readings.local;
    // NOLINTNEXTLINE(cert-err34-c)
    std::sscanf(line,
                "%*s %*s %255s %d %d:%d:%d %d UT = "
                "%*s %255s %d %d:%d:%d %d",
                utc.month, &utc.day, &utc.hour, &utc.minute, &utc.second, &utc.year, //
                local.month, &local.day, &local.hour, &local.minute, &local.second, &local.year);
}

/// 0..11; 12 for what is no month.
int month_number(const char *name) {
    const auto is_month = [name](const char *month) { return std::strncmp(month, name, 3) == 0; };
    return static_cast<int>(std::find_if(month_names.begin(), month_names.end(), is_month) -
                            month_names.begin());
}

/// A reading as a local time of the process's zone; -1 when it has none at all.
std::int64_t to_time(const reading &read) {
    std::tm local{};
    local.tm_year = static_cast<int>(std::int64_t{read.year} - 1900);
    local.tm_mon = month_number(read.month);
    local.tm_mday = read.day;
    local.tm_hour = read.hour;
    local.tm_min = read.minute;
    local.tm_sec = read.second;
    local.tm_isdst = -1; // the flag of the line is another zone's
    local.tm_wday = -1;  // set only with a time: -1 is one, too
    std::tm attempt = local;
    if (const std::time_t time = mktime(&attempt); attempt.tm_wday != -1)
        return time;
    local.tm_isdst = 0; // what the process's zone skips is read in its standard time
    return mktime(&local);
}

} // namespace

bool shows_changes(std::span<const dump_line> lines, int year) noexcept {
    std::array<char, 4> digits;
    const auto [end, error] = std::to_chars(digits.begin(), digits.end(), year);
    if (error != std::errc{})
        return false;
    const std::string_view text(digits.begin(), end);
    const auto names_year = [&](std::size_t line) {
        return std::string_view(lines[line].data()).find(text) != std::string_view::npos;
    };
    return lines.size() > first_change && !names_year(0) && !names_year(1) &&
           names_year(first_change);
}

year_changes read_changes(std::span<const dump_line> lines) noexcept {
    year_changes changes;
    line_readings readings{};
    std::size_t line = first_change;
    for (change_times &change : changes) {
        if (line < lines.size())
            read_line(lines[line].data(), readings);
        ++line;
        change = {to_time(readings.utc), to_time(readings.local)};
    }
    return changes;
}

hemisphere hemisphere_of(const year_changes &changes) noexcept {
    return changes[0].local > changes[1].local ? hemisphere::southern : hemisphere::northern;
}

bool is_daylight_saving(const year_changes &changes, std::int64_t now) noexcept {
    const std::int64_t first = changes[0].utc;
    const std::int64_t second = changes[2].utc;
    if (hemisphere_of(changes) == hemisphere::northern)
        return first < now && now < second;
    return now < first || second < now;
}
