// SPDX-License-Identifier: GPL-2.0-or-later
//
// Zones given as an offset from UTC, and the record of the one last set.
//
// A TZ string counts the other way than an operator does: east is negative.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "horad/timezone.h"

namespace {

constexpr int32_t old_format_error = -1;
constexpr int32_t new_format_error = -2;
constexpr int32_t out_of_range = -2;

constexpr long longest_hours = 12;

struct {
    int32_t east;
    int32_t offset;
    int32_t hour;
    int32_t minute;
} g_sys_timezone{};

/// Characters of the longest text of either format: too few for a number that is
/// out of range.
constexpr std::size_t longest_text = 7;

/// The number at the start of a text, 0 when there is none.
int32_t number_in(std::string_view text) {
    std::array<char, longest_text + 1> terminated{};
    text.copy(terminated.data(), longest_text);
    return static_cast<int32_t>(std::strtol(terminated.data(), nullptr, 10));
}

bool are_hours(int32_t number) { return number >= -longest_hours && number <= longest_hours; }

/// The number after the first of a character in a text, 0 when it is not there.
int32_t number_after(std::string_view text, char mark) {
    const std::size_t at = text.find(mark);
    if (at == std::string_view::npos)
        return 0;
    text.remove_prefix(at + 1);
    return number_in(text);
}

int32_t refuse(const char *message, int32_t result) {
    std::puts(message);
    return result;
}

} // namespace

int32_t set_system_timezone(const char *text) noexcept {
    constexpr std::size_t longest = 6;
    constexpr uint32_t last_minute = 59;
    if (text == nullptr)
        return old_format_error;
    std::string_view given(text);
    if (given.size() > longest)
        return refuse("\r\nerror time zone format\r", old_format_error);
    if (!are_hours(number_in(given)))
        return refuse("\r\nerror time zone format h\r", old_format_error);

    // Before the minutes are looked at, so that the side of Greenwich is stored even if
    // the text is refused for its minutes: callers have always seen it so.
    g_sys_timezone.east = !given.starts_with('-');
    if (!g_sys_timezone.east)
        given.remove_prefix(1);
    const int32_t hour = number_in(given);
    const int32_t minute = number_after(given, ':');
    if (static_cast<uint32_t>(minute) > last_minute) // negative ones too
        return refuse("\r\nerror time zone format m\r", old_format_error);
    g_sys_timezone.offset = number_after(given, '-');

    std::array<char, 64> tz{};
    std::snprintf(tz.data(), tz.size(), "UTC%c%d:%d", g_sys_timezone.east ? '-' : '+', hour,
                  minute);
    sync_sys_timezone(tz.data());
    g_sys_timezone.hour = hour;
    g_sys_timezone.minute = minute;
    return 0;
}

int32_t set_system_timezone_new(const char *text) noexcept {
    constexpr std::size_t shortest = 5;
    constexpr std::size_t longest = longest_text;
    constexpr int32_t last_minute = 60; // the TZ text takes it for the next hour
    if (text == nullptr)
        return refuse("\r\nWrong time zone format:NULL!\r", new_format_error);
    const std::string_view given(text);
    if (given.size() < shortest || given.size() > longest)
        return refuse("\r\nWrong time zone format: too long or too short!\r", new_format_error);

    const std::string_view signed_hours = given.substr(0, 3);
    const std::string_view hours = given.substr(1, 2);
    const std::string_view minutes = given.substr(3, 2);
    const int32_t minute = number_in(minutes);
    if (!are_hours(number_in(signed_hours)) || minute < 0 || minute > last_minute)
        return refuse("\r\nWrong time zone format: hour should between -12 and +12, "
                      "minute should between 00 and 60!\r",
                      new_format_error);
    const char sign = given.front();
    if (sign != '+' && sign != '-')
        return refuse("\r\nWrong time zone format: Should start with '-' or '+'!\r",
                      new_format_error);

    const bool east = sign == '+';
    std::array<char, sizeof "UTC-HH:MM"> tz{};
    std::snprintf(tz.data(), tz.size(), "UTC%c%.2s:%.2s", east ? '-' : '+', hours.data(),
                  minutes.data());
    if (sync_sys_timezone(tz.data()) == 0)
        g_sys_timezone = {
            .east = east,
            .offset = given.size() == longest ? number_in(given.substr(longest - 1)) : 0,
            .hour = number_in(hours),
            .minute = minute,
        };
    return 0;
}

sys_timezone_info get_system_timezone() noexcept {
    return {g_sys_timezone.east, g_sys_timezone.hour, g_sys_timezone.minute};
}

int32_t get_timezone_offset() noexcept { return g_sys_timezone.offset; }

int32_t set_timezone_offset(uint32_t number) noexcept {
    constexpr uint32_t greatest = 10;
    if (number > greatest)
        return refuse("Error:set time zone offset.\r", out_of_range);
    g_sys_timezone.offset = static_cast<int32_t>(number);
    return 0;
}

int32_t get_timezone_east() noexcept { return g_sys_timezone.east; }

int32_t set_timezone_east(int32_t east) noexcept {
    g_sys_timezone.east = east != 0;
    return 0;
}
