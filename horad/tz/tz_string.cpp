// SPDX-License-Identifier: GPL-2.0-or-later
//
// Reading TZ strings.  tz_rules.cpp makes zones of them.
#include "tz/tz_string.h"

#include <cstring>

#include "tz/digit.h"

namespace {

constexpr int days_per_week = 7;
constexpr int most_hours = 24 * days_per_week - 1;

/// Quoted or not.  Returns the position after it, or null for a name that is
/// empty or whose ">" is missing.
const char *scan_any_name(const char *text, const char **name, std::size_t *length) {
    const bool quoted = *text == '<';
    *name = quoted ? text + 1 : text;
    const char *end = quoted ? scan_quoted_name(*name) : scan_name(*name);
    if (end == nullptr || end == *name)
        return nullptr;
    *length = static_cast<std::size_t>(end - *name);
    return quoted ? end + 1 : end;
}

/// ",start,end" or ";start,end", and nothing after it.
bool scan_rules(const char *text, tz_description &description) {
    text = scan_rule(text + 1, &description.start);
    if (text == nullptr || *text != ',')
        return false;
    text = scan_rule(text + 1, &description.end);
    if (text == nullptr || *text != '\0')
        return false;
    description.has_rules = true;
    return true;
}

} // namespace

const char *scan_name(const char *text) {
    while (*text != '\0' && !is_digit(*text) && *text != '+' && *text != ',' && *text != '-')
        ++text;
    return text;
}

const char *scan_quoted_name(const char *text) { return std::strchr(text, '>'); }

const char *scan_number(const char *text, int *number, int lowest, int highest) {
    if (text == nullptr || !is_digit(*text))
        return nullptr;
    int value = 0;
    for (; is_digit(*text); ++text) {
        value = value * 10 + (*text - '0');
        if (value > highest)
            return nullptr;
    }
    if (value < lowest)
        return nullptr;
    *number = value;
    return text;
}

const char *scan_seconds(const char *text, std::int64_t *seconds) {
    int number = 0;
    text = scan_number(text, &number, 0, most_hours);
    if (text == nullptr)
        return nullptr;
    *seconds = std::int64_t{number} * 3600;
    if (*text != ':')
        return text;
    text = scan_number(text + 1, &number, 0, 59);
    if (text == nullptr)
        return nullptr;
    *seconds += std::int64_t{number} * 60;
    if (*text != ':')
        return text;
    text = scan_number(text + 1, &number, 0, 60); // a leap second
    if (text == nullptr)
        return nullptr;
    *seconds += number;
    return text;
}

const char *scan_offset(const char *text, std::int64_t *offset) {
    const bool negative = *text == '-';
    if (negative || *text == '+')
        ++text;
    text = scan_seconds(text, offset);
    if (text != nullptr && negative)
        *offset = -*offset;
    return text;
}

const char *scan_rule(const char *text, zone_rule *rule) {
    *rule = {};
    if (*text == 'J') {
        rule->kind = zone_rule_kind::julian_day;
        text = scan_number(text + 1, &rule->day, 1, 365);
    } else if (*text == 'M') {
        rule->kind = zone_rule_kind::month_week_weekday;
        text = scan_number(text + 1, &rule->month, 1, 12);
        if (text == nullptr || *text != '.')
            return nullptr;
        text = scan_number(text + 1, &rule->week, 1, 5);
        if (text == nullptr || *text != '.')
            return nullptr;
        text = scan_number(text + 1, &rule->day, 0, days_per_week - 1);
    } else {
        rule->kind = zone_rule_kind::day_of_year;
        text = scan_number(text, &rule->day, 0, 365);
    }
    if (text == nullptr)
        return nullptr;
    rule->time = 2 * 3600;
    return *text == '/' ? scan_offset(text + 1, &rule->time) : text;
}

bool scan_tz_string(const char *text, tz_description &description, bool last_ditch) {
    description = {};
    const char *standard_name = text;
    std::size_t standard_length = std::strlen("GMT");
    if (last_ditch) {
        text += standard_length;
    } else {
        text = scan_any_name(text, &standard_name, &standard_length);
        if (text == nullptr)
            return false;
        text = scan_offset(text, &description.standard_offset);
        if (text == nullptr)
            return false;
    }

    const char *daylight_name = nullptr;
    std::size_t daylight_length = 0;
    std::size_t needed = standard_length + 1;
    if (*text != '\0') {
        text = scan_any_name(text, &daylight_name, &daylight_length);
        if (text == nullptr)
            return false;
        needed += daylight_length + 1;
    }
    if (needed > sizeof description.names)
        return false;
    std::memcpy(description.names, standard_name, standard_length);
    description.standard_length = static_cast<int>(standard_length);
    if (daylight_name == nullptr)
        return true;
    std::memcpy(description.names + standard_length + 1, daylight_name, daylight_length);
    description.daylight_length = static_cast<int>(daylight_length);

    description.daylight_offset = description.standard_offset - 3600;
    if (*text != '\0' && *text != ',' && *text != ';') {
        text = scan_offset(text, &description.daylight_offset);
        if (text == nullptr)
            return false;
    }
    if (*text == '\0')
        return true;
    return (*text == ',' || *text == ';') && scan_rules(text, description);
}
