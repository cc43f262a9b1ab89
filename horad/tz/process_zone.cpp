// SPDX-License-Identifier: GPL-2.0-or-later
#include "tz/process_zone.h"

#include <cstdlib>
#include <cstring>
#include <ctime>

#include <pthread.h>

#include "tz/load_zone.h"

namespace {

constexpr std::size_t longest_cached_tz = 256;

/// What the local zone was set from.
enum setting { unset_tz = -1, uncached = 0, cached_tz = 1 };

constinit zone_state local_state{};
constinit zone_state utc_state{};
constinit int local_is_set = uncached;
constinit char cached[longest_cached_tz]{};
char blank_name[] = "   ";

int setting_of(const char *tz) {
    if (tz == nullptr)
        return unset_tz;
    return strnlen(tz, longest_cached_tz) < longest_cached_tz ? cached_tz : uncached;
}

bool is_up_to_date(const char *tz) {
    if (tz == nullptr)
        return local_is_set == unset_tz;
    return local_is_set == cached_tz && std::strcmp(tz, cached) == 0;
}

/// tzname takes pointers to char, but nobody may write through them.
void publish_kind(bool is_dst, const char *name, std::int64_t utc_offset) {
    tzname[is_dst] = const_cast<char *>(name);
    if (!is_dst)
        timezone = -utc_offset;
}

void publish_zone(const zone_state &zone) {
    tzname[0] = tzname[1] = blank_name;
    timezone = 0;
    daylight = 0;
    const auto publish_type = [&](const zone_type &type) {
        publish_kind(type.is_dst, type_abbreviation(zone, type), type.utc_offset);
    };
    for (int i = 0; i < zone.type_count; ++i)
        publish_type(zone.types[i]);
    for (int i = 0; i < zone.transition_count; ++i) {
        const zone_type &type = zone.types[zone.transition_types[i]];
        publish_type(type);
        if (type.is_dst)
            daylight = 1;
    }
}

pthread_once_t utc_is_loaded = PTHREAD_ONCE_INIT;

} // namespace

const zone_state &local_zone() { return local_state; }

void refresh_local_zone() {
    const char *tz = std::getenv("TZ"); // NOLINT(concurrency-mt-unsafe)
    if (is_up_to_date(tz))
        return;
    if (init_zone(&local_state, tz) != 0)
        init_zone(&local_state, "");
    const int setting = setting_of(tz);
    if (setting == cached_tz)
        std::memcpy(cached, tz, std::strlen(tz) + 1); // it is shorter
    publish_zone(local_state);
    local_is_set = setting;
}

void require_local_zone() {
    if (local_is_set == uncached)
        refresh_local_zone();
}

void forget_default_zone() {
    if (local_is_set == unset_tz)
        local_is_set = uncached;
}

const zone_state &utc_zone() {
    pthread_once(&utc_is_loaded, [] { load_utc(&utc_state); });
    return utc_state;
}

const zone_state &utc_zone_as_it_is() { return utc_state; }

void publish_kind(const std::tm &local) {
    publish_kind(local.tm_isdst != 0, local.tm_zone, local.tm_gmtoff);
}
