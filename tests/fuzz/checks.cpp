// SPDX-License-Identifier: GPL-2.0-or-later
#include "fuzz/checks.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

#include <unistd.h>

#include "common/broken_down.h"
#include "differential/search_reference.h"
#include "horad/tz.h"

namespace {

constexpr std::int64_t seconds_per_day = 86400;

/// The type in force by plain search; null where the table says nothing because
/// it repeats there, or is out of order.
const zone_type *type_in_force(const zone_state &zone, std::int64_t when) {
    int type = zone.default_type;
    for (int i = 0; i < zone.transition_count; ++i) {
        if (i > 0 && zone.transition_times[i] <= zone.transition_times[i - 1])
            return nullptr;
        if (zone.transition_times[i] <= when)
            type = zone.transition_types[i];
    }
    if (zone.transition_count > 0) {
        const int last = zone.transition_count - 1;
        if ((zone.go_back && when < zone.transition_times[0]) ||
            (zone.go_ahead && when > zone.transition_times[last]))
            return nullptr;
    }
    return &zone.types[type];
}

bool is_normal(const struct tm &tm) {
    return tm.tm_mon >= 0 && tm.tm_mon < 12 && tm.tm_mday >= 1 && tm.tm_mday <= 31 &&
           tm.tm_hour >= 0 && tm.tm_hour < 24 && tm.tm_min >= 0 && tm.tm_min < 60 &&
           tm.tm_sec >= 0 && tm.tm_sec <= 60 && tm.tm_wday >= 0 && tm.tm_wday < 7 &&
           tm.tm_yday >= 0 && tm.tm_yday < 366 && (tm.tm_isdst == 0 || tm.tm_isdst == 1);
}

bool is_inside(const zone_state &zone, const char *text) {
    return text >= zone.abbreviations && text < zone.abbreviations + ZONE_ABBREVIATIONS_SIZE;
}

void check_conversion(const zone_state &zone, std::int64_t when) {
    const time_t time = when;
    struct tm tm;
    if (!localtime_rz(&zone, &time, &tm)) {
        require(when > 60000000000000000 || when < -60000000000000000, "a near time is converted");
        return;
    }
    require(is_normal(tm), "fields are in their ranges");
    require(tm.tm_sec < 60 || zone.leap_count > 0, "only leap seconds are called 60");
    require(is_inside(zone, tm.tm_zone), "the abbreviation lies in the zone");
    if (const zone_type *type = type_in_force(zone, when)) {
        require(tm.tm_gmtoff == type->utc_offset, "the type in force gives the offset");
        require((tm.tm_isdst != 0) == type->is_dst, "and the daylight flag");
    }
    check_inverse(zone, tm);
    tm.tm_isdst = -1;
    tm.tm_gmtoff = 0;
    check_inverse(zone, tm);
}

void check_around(const zone_state &zone, std::int64_t when) {
    for (const int distance : {-1, 0, 1}) {
        std::int64_t near;
        if (!__builtin_add_overflow(when, distance, &near))
            check_conversion(zone, near);
    }
}

} // namespace

void require(bool holds, const char *what) {
    if (holds)
        return;
    dprintf(STDERR_FILENO, "does not hold: %s\n", what); // stderr may be silenced
    std::abort();
}

void check_record(const zone_state &zone) {
    require(zone.transition_count >= 0 && zone.transition_count <= ZONE_MAX_TIMES, "transitions");
    require(zone.type_count >= 0 && zone.type_count <= ZONE_MAX_TYPES, "types");
    require(zone.leap_count >= 0 && zone.leap_count <= ZONE_MAX_LEAPS, "leap seconds");
    require(zone.char_count >= 0 && zone.char_count <= ZONE_ABBREVIATIONS_SIZE, "characters");
    require(zone.default_type == 0 ||
                (zone.default_type > 0 && zone.default_type < zone.type_count),
            "the default type exists");
    for (int i = 0; i < zone.transition_count; ++i)
        require(zone.transition_types[i] < zone.type_count, "types of transitions exist");
    for (int i = 0; i < zone.type_count; ++i) {
        const int start = zone.types[i].abbr_index;
        require(start >= 0 && start < ZONE_ABBREVIATIONS_SIZE, "abbreviations exist");
        require(std::memchr(zone.abbreviations + start, '\0',
                            static_cast<std::size_t>(ZONE_ABBREVIATIONS_SIZE - start)) != nullptr,
                "abbreviations end");
    }
}

void check_order(const zone_state &zone) {
    for (int i = 1; i < zone.transition_count; ++i)
        require(zone.transition_times[i - 1] < zone.transition_times[i], "transitions increase");
}

void check_abbreviations(const zone_state &zone) {
    static const char allowed[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                  "0123456789 :+-._";
    static const char kept[] = "Local time zone must be set--see zic manual page";
    for (int i = 0; i < zone.type_count; ++i) {
        const char *text = zone.abbreviations + zone.types[i].abbr_index;
        require(std::strspn(text, allowed) == std::strlen(text), "abbreviations are clean");
        require(std::strlen(text) <= 16 || std::strcmp(text, kept) == 0, "abbreviations are short");
    }
}

void check_conversions(const zone_state &zone, std::uint64_t seed) {
    check_around(zone, 0);
    check_around(zone, INT64_MIN);
    check_around(zone, INT64_MAX);
    check_around(zone, 67768036191676799);
    check_around(zone, -67768040609740800);
    // Some transitions of many, other ones for other inputs.
    const int stride = zone.transition_count / 16 + 1;
    for (int i = static_cast<int>(seed % static_cast<std::uint64_t>(stride));
         i < zone.transition_count; i += stride)
        check_around(zone, zone.transition_times[i]);
    if (zone.transition_count > 0)
        check_around(zone, zone.transition_times[zone.transition_count - 1]);
    for (int i = 0; i < zone.leap_count; i += 7)
        check_around(zone, zone.leaps[i].transition);
    for (int i = 0; i < 8; ++i) {
        seed = seed * 6364136223846793005U + 1442695040888963407U;
        check_conversion(zone, static_cast<std::int64_t>(seed) >> (8 * i));
    }
}

void check_inverse(const zone_state &zone, const struct tm &fields) {
    struct tm ours = fields;
    const std::int64_t answer = mktime_z(&zone, &ours);
    // The slow search steps through years one by one and tries all pairs of types.
    const std::int64_t days = std::int64_t{fields.tm_mday} + fields.tm_hour / 24;
    if (days < -1000 * seconds_per_day || days > 1000 * seconds_per_day || zone.type_count > 12)
        return;
    struct tm theirs = fields;
    const auto expected = search_time(zone, theirs);
    require(answer == expected.value_or(-1), "the search finds the same time");
    require(same_fields(ours, theirs) && ours.tm_isdst == theirs.tm_isdst &&
                ours.tm_gmtoff == theirs.tm_gmtoff,
            "and leaves the same fields");
}
