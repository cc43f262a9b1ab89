// SPDX-License-Identifier: GPL-2.0-or-later
//
// The functions of <time.h> that depend on a zone, and those of zone objects.
// Defined in the executable and exported from it, they serve every caller in
// the process, libraries included.
#include <cerrno>
#include <ctime>

#include "frr_module.h"
#include "horad/tz.h"
#include "tz/convert.h"
#include "tz/find_time.h"
#include "tz/load_zone.h"
#include "tz/process_zone.h"
#include "tz/tz_variable.h"

namespace {

/// Shared by localtime and gmtime.
constinit std::tm shared_result{};

std::tm *to_utc(const zone_state &zone, std::int64_t time, std::tm *result) {
    if (!split_time(zone, time, 0, *result))
        return nullptr;
    result->tm_isdst = 0;
    result->tm_zone = zone.abbreviations;
    return result;
}

/// Apart from localtime_rz(), whose other path is only a jump that way.
[[gnu::noinline]] std::tm *to_nameless_utc(std::int64_t time, std::tm *result) {
    return to_utc(utc_zone_as_it_is(), time, result);
}

} // namespace

void tzset(void) noexcept { refresh_local_zone(find_tz()); }

timezone_t tzalloc(const char *name) noexcept {
    auto *zone = static_cast<zone_state *>(qmalloc(MTYPE_NTP_CLIENT, sizeof(zone_state)));
    if (const int error = init_zone(zone, name); error != 0) {
        qfree(MTYPE_NTP_CLIENT, zone);
        errno = error;
        return nullptr;
    }
    return zone;
}

void tzfree(timezone_t zone) noexcept {
    if (zone != nullptr)
        qfree(MTYPE_NTP_CLIENT, zone);
}

std::tm *localtime_rz(const_timezone_t zone, const time_t *time, std::tm *result) noexcept {
    if (zone == nullptr) [[unlikely]]
        return to_nameless_utc(*time, result);
    return to_local(*zone, *time, *result);
}

time_t mktime_z(const_timezone_t zone, std::tm *tm) noexcept {
    if (tm == nullptr) {
        errno = EINVAL;
        return -1;
    }
    std::int64_t time = -1;
    return find_time(zone == nullptr ? utc_zone() : *zone, *tm, time) ? time : -1;
}

std::tm *localtime(const time_t *time) noexcept {
    std::tm *local = to_local(refresh_local_zone(recall_tz()), *time, shared_result);
    if (local != nullptr)
        publish_kind(*local);
    return local;
}

std::tm *localtime_r(const time_t *time, std::tm *result) noexcept {
    return to_local(local_zone(), *time, *result);
}

std::tm *gmtime_r(const time_t *time, std::tm *result) noexcept {
    return to_utc(utc_zone(), *time, result);
}

std::tm *gmtime(const time_t *time) noexcept { return gmtime_r(time, &shared_result); }

char *ctime(const time_t *time) noexcept {
    // Not for several threads, as its users know.
    const std::tm *tm = localtime(time);          // NOLINT(concurrency-mt-unsafe)
    return tm != nullptr ? asctime(tm) : nullptr; // NOLINT(concurrency-mt-unsafe)
}

char *ctime_r(const time_t *time, char *buffer) noexcept {
    std::tm local{};
    const std::tm *tm = localtime_r(time, &local);
    return tm != nullptr ? asctime_r(tm, buffer) : nullptr;
}

time_t mktime(std::tm *tm) noexcept {
    const zone_state &zone = refresh_local_zone(recall_tz());
    if (tm == nullptr) {
        errno = EINVAL;
        return -1;
    }
    std::int64_t time = -1;
    if (!find_time(zone, *tm, time))
        return -1;
    // The names follow the time that was found, not those probed on the way.
    publish_kind(*tm);
    return time;
}
