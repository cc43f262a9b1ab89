// SPDX-License-Identifier: GPL-2.0-or-later
//
// POSIX TZ strings: std offset [dst [offset] [,rule,rule]], with quoted names,
// signed rule times and times beyond a day.
#pragma once

#include <cstdint>

#include "tz/zone_state.h"

enum class zone_rule_kind {
    julian_day,         ///< Jn: 1..365, 29 February never counted
    day_of_year,        ///< n: 0..365, 29 February counted
    month_week_weekday, ///< Mm.w.d
};

/// When, in any year, a change takes place.
struct zone_rule {
    zone_rule_kind kind;
    int day;           ///< by kind; for Mm.w.d the weekday, 0 = Sunday
    int week;          ///< 1..5, 5 = the last
    int month;         ///< 1..12
    std::int64_t time; ///< seconds after midnight, may be negative or beyond a day
};

/// A TZ string taken apart.  Offsets are seconds west of UT, as POSIX has them.
struct tz_description {
    char names[ZONE_ABBREVIATIONS_SIZE]; ///< standard name, NUL, daylight name, NUL
    int standard_length;
    int daylight_length; ///< 0: no daylight-saving time
    std::int64_t standard_offset;
    std::int64_t daylight_offset;
    bool has_rules;
    zone_rule start; ///< of daylight-saving time
    zone_rule end;
};

/// Takes a TZ string apart.
///
/// last_ditch  the text begins with "GMT", which is taken for the standard
///             name with offset 0; parsing goes on after it
///
/// Returns false when the text is malformed.
bool scan_tz_string(const char *text, tz_description &description, bool last_ditch);

/// Whether daylight-saving time comes without rules, so that those of the rules
/// file (or default ones) apply.
inline bool needs_rules_file(const tz_description &description) {
    return description.daylight_length > 0 && !description.has_rules;
}

/// Makes a zone of a description.  Leap seconds stay as they are.
///
/// rules_loaded  `zone` holds the rules file
///
/// Returns of which kind its transitions are.  Made by rules, the zone has those of one
/// cycle of 400 years, from 1770 on, and does not repeat them yet.
rule_transitions build_zone(const tz_description &description, bool rules_loaded, zone_data &zone);

/// Fills the table of such a zone, and lets it repeat both ways: what one cycle has
/// brought, the next ones bring again.
void repeat_rules(const rule_transitions &rules, zone_data &zone);

// Scanners.  Each returns the position after what it read, or null.

/// An unquoted name; may be empty.  Never fails.
const char *scan_name(const char *text);
/// A quoted name after its "<", up to the ">".
const char *scan_quoted_name(const char *text);
/// A decimal number in lowest..highest.
const char *scan_number(const char *text, int *number, int lowest, int highest);
/// hh[:mm[:ss]] as seconds, 0..167 hours.
const char *scan_seconds(const char *text, std::int64_t *seconds);
/// scan_seconds with an optional sign.
const char *scan_offset(const char *text, std::int64_t *offset);
/// One rule, with its time (02:00 unless given).
const char *scan_rule(const char *text, zone_rule *rule);

/// Seconds from the start of `year` (UTC) to a rule's moment.
///
/// offset  seconds west of UT in force before the change
std::int64_t rule_to_seconds(int year, const zone_rule &rule, std::int64_t offset);
