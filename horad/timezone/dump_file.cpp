// SPDX-License-Identifier: GPL-2.0-or-later
#include "timezone/dump_file.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <limits>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

#include "timezone/month_names.h"
#include "timezone/write_all.h"

namespace {

/// A line, put together from pieces of limited length.
class line {
  public:
    [[gnu::format(printf, 2, 3)]] void add(const char *format, ...) {
        std::array<char, 256> piece;
        std::va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(piece.data(), piece.size(), format, arguments);
        va_end(arguments);
        length_ +=
            std::string_view(piece.data()).copy(text_.data() + length_, text_.size() - length_);
    }
    std::string_view text() const { return {text_.data(), length_}; }

  private:
    std::array<char, 2048> text_;
    std::size_t length_ = 0;
};

const char *name_in(const auto &names, int index) {
    return index >= 0 && index < static_cast<int>(names.size())
               ? names[static_cast<std::size_t>(index)]
               : "???";
}

/// local  null: there is no such time
void add_time(line &line, const std::tm *local) {
    static constexpr std::array day_names{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    if (local == nullptr)
        line.add("NULL");
    else
        line.add("%s %s%3d %.2d:%.2d:%.2d %ld", name_in(day_names, local->tm_wday),
                 name_in(month_names, local->tm_mon), local->tm_mday, local->tm_hour, local->tm_min,
                 local->tm_sec, local->tm_year + 1900L);
}

bool append_to_dump(std::string_view text) {
    // No link that somebody put there is followed: /tmp is everybody's.
    const int file = open(dump_path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666);
    if (file < 0)
        return false;
    const bool written = write_all(file, text);
    return close(file) == 0 && written;
}

void append(std::string_view text) {
    if (!append_to_dump(text))
        std::fputs("********zdump:fopen(\"/tmp/dstconfig\", \"cw\") error..!", stdout);
}

bool is_usual(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '+';
}

/// Null when there is nothing unusual about an abbreviation.
const char *what_is_unusual(std::string_view abbreviation) {
    if (!std::all_of(abbreviation.begin(), abbreviation.end(), is_usual))
        return "has characters other than ASCII alphanumerics, '-' or '+'";
    if (abbreviation.size() < 3)
        return "has fewer than 3 characters";
    if (abbreviation.size() > 6)
        return "has more than 6 characters";
    return nullptr;
}

bool has_warned = false;

void check_abbreviation(const char *zone, const std::tm *local) {
    if (has_warned || local == nullptr || local->tm_zone[0] == '\0')
        return;
    const char *reason = what_is_unusual(local->tm_zone);
    if (reason == nullptr)
        return;
    std::fflush(stdout);
    // A program would put its name in front; in the daemon there is none.
    std::fprintf(stderr, "(null): warning: zone \"%s\" abbreviation \"%s\" %s\n", zone,
                 local->tm_zone, reason);
    has_warned = true;
}

void add_name(line &line, const dumped_zone &zone) {
    line.add("%-*s  ", zone.name_width, zone.name);
}

void add_abbreviation(line &line, const std::tm &local) {
    if (local.tm_zone[0] != '\0')
        line.add(" %s", local.tm_zone);
}

} // namespace

void remove_dump() noexcept { unlink(dump_path); }

void warn_again() noexcept { has_warned = false; }

void append_instant(const dumped_zone &zone, const_timezone_t utc, std::int64_t time) noexcept {
    std::tm utc_fields{};
    std::tm local_fields{};
    const std::tm *const in_utc = localtime_rz(utc, &time, &utc_fields);
    const std::tm *const local = localtime_rz(zone.zone, &time, &local_fields);

    line line;
    add_name(line, zone);
    if (in_utc != nullptr) {
        add_time(line, in_utc);
        line.add(" UT");
    } else {
        line.add("%ld", time);
    }
    line.add(" = ");
    add_time(line, local);
    if (local != nullptr) {
        constexpr long unknown = std::numeric_limits<long>::min();
        add_abbreviation(line, *local);
        line.add(" isdst=%d", local->tm_isdst);
        if (local->tm_gmtoff != unknown)
            line.add(" gmtoff=%ld", local->tm_gmtoff);
    }
    line.add("\n");
    append(line.text());
    check_abbreviation(zone.name, local);
}

void append_local_time(const dumped_zone &zone, std::int64_t time) noexcept {
    std::tm local_fields{};
    const std::tm *const local = localtime_rz(zone.zone, &time, &local_fields);

    line line;
    add_name(line, zone);
    add_time(line, local);
    if (local != nullptr)
        add_abbreviation(line, *local);
    line.add("\n");
    append(line.text());
    check_abbreviation(zone.name, local);
}
