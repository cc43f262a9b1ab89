// SPDX-License-Identifier: GPL-2.0-or-later
#include "tz/process_zone.h"

#include <atomic>
#include <cstring>
#include <ctime>

#include <pthread.h>

#include "frr_module.h"
#include "tz/build_index.h"
#include "tz/load_zone.h"
#include "tz/tz_variable.h"

namespace {

constexpr std::size_t longest_cached_tz = 256;

/// What a zone was set from.
enum setting { unset_tz = -1, uncached = 0, cached_tz = 1 };

/// One version of the process's zone.  Does not change while it is the current
/// one, the one before, or held.
struct process_zone {
    zone_state state;
    setting set_from;
    char tz[longest_cached_tz]; ///< for cached_tz
    int holders;                ///< threads that may be reading it
    process_zone *next;         ///< of the records taken from the heap
};

class mutex_guard {
  public:
    explicit mutex_guard(pthread_mutex_t &mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
    ~mutex_guard() { pthread_mutex_unlock(&mutex_); }
    mutex_guard(const mutex_guard &) = delete;
    mutex_guard &operator=(const mutex_guard &) = delete;

  private:
    pthread_mutex_t &mutex_;
};

/// Held while a zone is loaded and published.
constinit pthread_mutex_t refreshing = PTHREAD_MUTEX_INITIALIZER;

/// Held for a few instructions, while holders are counted.
constinit pthread_mutex_t holding = PTHREAD_MUTEX_INITIALIZER;

// As many as a process with one thread needs.
constinit process_zone records[3]{};
constinit process_zone *more_records = nullptr;
constinit process_zone *former = nullptr;
constinit std::atomic<process_zone *> current{&records[0]};

/// What this thread holds.
[[gnu::tls_model("initial-exec")]] constinit thread_local process_zone *held = nullptr;

pthread_key_t end_of_thread;
constinit bool ends_are_noticed = false;

void let_go(void *) {
    const mutex_guard lock(holding);
    --held->holders;
    held = nullptr;
}

/// A thread's first hold: it is to let go when it ends.  Where that cannot be
/// arranged, one record is lost for each such thread.
void notice_end_of_thread() {
    if (!ends_are_noticed)
        ends_are_noticed = pthread_key_create(&end_of_thread, let_go) == 0;
    if (ends_are_noticed)
        pthread_setspecific(end_of_thread, &records);
}

[[gnu::noinline]] const process_zone &hold_current() {
    const mutex_guard lock(holding);
    if (held != nullptr)
        --held->holders;
    else
        notice_end_of_thread();
    held = current.load(std::memory_order_relaxed);
    ++held->holders;
    return *held;
}

/// The current zone, held by this thread.
const process_zone &current_zone() {
    process_zone *const zone = current.load(std::memory_order_acquire);
    return zone == held ? *zone : hold_current();
}

/// A record that nobody reads.
process_zone &take_spare() {
    const mutex_guard lock(holding);
    const auto is_spare = [](const process_zone &record) {
        return record.holders == 0 && &record != former &&
               &record != current.load(std::memory_order_relaxed);
    };
    for (process_zone &record : records)
        if (is_spare(record))
            return record;
    for (process_zone *record = more_records; record != nullptr; record = record->next)
        if (is_spare(*record))
            return *record;
    auto *record = static_cast<process_zone *>(qmalloc(MTYPE_NTP_CLIENT, sizeof(process_zone)));
    record->holders = 0;
    record->next = more_records;
    more_records = record;
    return *record;
}

void publish(process_zone &zone) {
    const mutex_guard lock(holding);
    former = current.load(std::memory_order_relaxed);
    current.store(&zone, std::memory_order_release);
}

setting setting_of(const char *tz) {
    if (tz == nullptr)
        return unset_tz;
    return strnlen(tz, longest_cached_tz) < longest_cached_tz ? cached_tz : uncached;
}

bool is_up_to_date(const process_zone &zone, const char *tz) {
    if (tz == nullptr)
        return zone.set_from == unset_tz;
    return zone.set_from == cached_tz && std::strcmp(tz, zone.tz) == 0;
}

/// tzname takes pointers to char, but nobody may write through them.
void publish_kind(bool is_dst, const char *name, std::int64_t utc_offset) {
    tzname[is_dst] = const_cast<char *>(name);
    if (!is_dst)
        timezone = -utc_offset;
}

char blank_name[] = "   ";

/// Names of the kinds of time: the latest in use; failing that, the last there is.
void publish_names(const zone_state &zone) {
    tzname[0] = tzname[1] = blank_name;
    timezone = 0;
    daylight = 0;
    const auto publish_type = [&](const zone_type &type) {
        publish_kind(type.is_dst, type_abbreviation(zone, type), type.utc_offset);
    };
    for (int i = 0; i < zone.type_count; ++i)
        publish_type(zone.types[i]);
    bool found[2] = {};
    for (int i = zone.transition_count - 1; i >= 0 && !(found[0] && found[1]); --i) {
        const zone_type &type = zone.types[zone.transition_types[i]];
        if (!found[type.is_dst])
            publish_type(type);
        found[type.is_dst] = true;
    }
    daylight = found[1];
}

/// Loads what TZ says aside, and makes it the current zone.
void load_anew(const char *tz) {
    process_zone &zone = take_spare();
    if (init_zone(&zone.state, tz) != 0)
        init_zone(&zone.state, "");
    zone.set_from = setting_of(tz);
    if (zone.set_from == cached_tz)
        std::memcpy(zone.tz, tz, std::strlen(tz) + 1); // it is shorter
    publish(zone);
    publish_names(zone.state);
}

/// Of UTC's file only the leap seconds and the first name count: UTC is no
/// distance away from itself, whatever else the file holds.
void reduce_to_utc(zone_state &zone) {
    zone.transition_count = 0;
    zone.type_count = 1;
    zone.types[0] = {};
    zone.default_type = 0;
    zone.go_back = zone.go_ahead = false;
    zone.rules = {};
    make_ready(zone);
}

constinit zone_state loaded_utc{};
constinit zone_state nameless_utc{};
constinit std::atomic<const zone_state *> utc{&nameless_utc};
pthread_once_t utc_is_loaded = PTHREAD_ONCE_INIT;

void load_utc_once() {
    load_utc(&loaded_utc);
    reduce_to_utc(loaded_utc);
    utc.store(&loaded_utc, std::memory_order_release);
}

} // namespace

const zone_state &local_zone() {
    const process_zone &zone = current_zone();
    return zone.set_from == uncached ? refresh_local_zone(find_tz()) : zone.state;
}

const zone_state &refresh_local_zone(const char *tz) {
    const process_zone &zone = current_zone();
    if (is_up_to_date(zone, tz))
        return zone.state;
    const mutex_guard lock(refreshing);
    if (!is_up_to_date(current_zone(), tz)) // another thread may have been first
        load_anew(tz);
    return current_zone().state;
}

const zone_state &reload_default_zone() {
    const mutex_guard lock(refreshing);
    const char *tz = find_tz();
    if (tz == nullptr || !is_up_to_date(current_zone(), tz))
        load_anew(tz);
    return current_zone().state;
}

const zone_state &utc_zone() {
    const zone_state *zone = utc.load(std::memory_order_acquire);
    if (zone == &nameless_utc) [[unlikely]] {
        pthread_once(&utc_is_loaded, load_utc_once);
        zone = utc.load(std::memory_order_acquire);
    }
    return *zone;
}

const zone_state &utc_zone_as_it_is() { return *utc.load(std::memory_order_acquire); }

void publish_kind(const std::tm &local) {
    publish_kind(local.tm_isdst != 0, local.tm_zone, local.tm_gmtoff);
}
