// SPDX-License-Identifier: GPL-2.0-or-later
//
// The time-zone engine side by side with the C library and with abseil: each
// case is measured for all of them in one run, as <case>/<library>.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <absl/time/civil_time.h>
#include <absl/time/time.h>
#include <benchmark/benchmark.h>

#include "differential/c_library.h"
#include "horad/tz.h"
#include "tz/load_zone.h"

namespace {

constexpr char zone_name[] = "America/New_York";

/// Many enough not to be learnt by heart, few enough to stay in the cache.
constexpr std::size_t sample_size = 8192;

/// Zones to be used in turn.
const char *const turn_names[] = {
    "America/New_York",    "Europe/Zurich", "Asia/Tokyo",       "Australia/Sydney",
    "America/Los_Angeles", "Europe/London", "Asia/Kolkata",     "America/Sao_Paulo",
    "Africa/Cairo",        "Asia/Shanghai", "Pacific/Auckland", "America/Santiago",
    "Europe/Moscow",       "Asia/Tehran",   "America/St_Johns", "Africa/Casablanca",
};

// ---- instants -------------------------------------------------------------

using sample = std::vector<std::int64_t>;

sample in_sequence() {
    sample instants;
    for (std::size_t i = 0; i < sample_size; ++i)
        instants.push_back(1600000000 + 37 * static_cast<std::int64_t>(i));
    return instants;
}

sample between(std::int64_t low, std::int64_t high) {
    std::mt19937_64 random(1);
    std::uniform_int_distribution<std::int64_t> within(low, high);
    sample instants;
    std::generate_n(std::back_inserter(instants), sample_size, [&] { return within(random); });
    return instants;
}

sample to_2037() { return between(0, 2145916800); }
sample after_2037() { return between(2145916800, 8000000000); }    // to 2223
sample far_beyond() { return between(40000000000, 200000000000); } // 3237 to 8307

// ---- the three libraries --------------------------------------------------

/// Each converts an instant to fields whose sum keeps the work from being
/// dropped, and fields back to an instant.
struct engine {
    explicit engine(const char *name) : zone(tzalloc(name)) {}
    ~engine() { tzfree(zone); }
    engine(const engine &) = delete;
    engine &operator=(const engine &) = delete;

    using fields = struct tm;
    std::int64_t forward(std::int64_t when) const {
        const time_t time = when;
        struct tm tm;
        localtime_rz(zone, &time, &tm);
        return tm.tm_year + tm.tm_mon + tm.tm_mday + tm.tm_hour + tm.tm_sec;
    }
    fields split(std::int64_t when) const {
        const time_t time = when;
        struct tm tm;
        localtime_rz(zone, &time, &tm);
        tm.tm_isdst = -1;
        return tm;
    }
    std::int64_t inverse(fields tm) const { return mktime_z(zone, &tm); }

    timezone_t zone;
};

struct c_library_zone {
    explicit c_library_zone(const char *name) : library(the_c_library()) {
        setenv("TZ", name, 1);
        library.tzset();
    }

    using fields = struct tm;
    std::int64_t forward(std::int64_t when) const {
        const time_t time = when;
        struct tm tm;
        library.localtime_r(&time, &tm);
        return tm.tm_year + tm.tm_mon + tm.tm_mday + tm.tm_hour + tm.tm_sec;
    }
    fields split(std::int64_t when) const {
        const time_t time = when;
        struct tm tm;
        library.localtime_r(&time, &tm);
        tm.tm_isdst = -1;
        return tm;
    }
    std::int64_t inverse(fields tm) const { return library.mktime(&tm); }

    const c_library &library;
};

struct abseil {
    explicit abseil(const char *name) { absl::LoadTimeZone(name, &zone); }

    using fields = absl::CivilSecond;
    std::int64_t forward(std::int64_t when) const {
        const auto info = zone.At(absl::FromUnixSeconds(when));
        return info.cs.year() + info.cs.month() + info.cs.day() + info.cs.hour() + info.cs.second();
    }
    fields split(std::int64_t when) const { return zone.At(absl::FromUnixSeconds(when)).cs; }
    std::int64_t inverse(const fields &civil) const {
        return absl::ToUnixSeconds(absl::FromCivil(civil, zone));
    }

    absl::TimeZone zone;
};

// ---- one zone -------------------------------------------------------------

template <typename Library> void forward(benchmark::State &state, sample (*make)()) {
    const Library library(zone_name);
    const sample instants = make();
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(library.forward(instants[i]));
        i = (i + 1) % sample_size;
    }
}

template <typename Library> void inverse(benchmark::State &state, sample (*make)()) {
    const Library library(zone_name);
    std::vector<typename Library::fields> local;
    for (const std::int64_t when : make())
        local.push_back(library.split(when));
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(library.inverse(local[i]));
        i = (i + 1) % sample_size;
    }
}

// ---- many zones in turn ---------------------------------------------------

template <typename Library> void forward_turns(benchmark::State &state) {
    std::vector<std::unique_ptr<Library>> zones;
    for (const char *name : turn_names)
        zones.push_back(std::make_unique<Library>(name));
    const sample instants = to_2037();
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(zones[i % std::size(turn_names)]->forward(instants[i]));
        i = (i + 1) % sample_size;
    }
}

/// It has one zone at a time.
void c_library_turns(benchmark::State &state) {
    const c_library_zone zone(zone_name);
    const sample instants = to_2037();
    std::size_t i = 0;
    for (auto _ : state) {
        setenv("TZ", turn_names[i % std::size(turn_names)], 1);
        zone.library.tzset();
        benchmark::DoNotOptimize(zone.forward(instants[i]));
        i = (i + 1) % sample_size;
    }
}

// ---- loading and parsing --------------------------------------------------

constexpr char first_rule[] = "EST5EDT,M3.2.0,M11.1.0";
constexpr char second_rule[] = "CET-1CEST,M3.5.0,M10.5.0/3";

void engine_alloc(benchmark::State &state, const char *first, const char *second) {
    bool odd = false;
    for (auto _ : state) {
        timezone_t zone = tzalloc(odd ? first : second);
        benchmark::DoNotOptimize(zone);
        tzfree(zone);
        odd = !odd;
    }
}

/// A changed TZ makes it load a zone or parse a string.
void changed_tz(benchmark::State &state, void (*set)(), const char *first, const char *second) {
    bool odd = false;
    for (auto _ : state) {
        setenv("TZ", odd ? first : second, 1);
        set();
        odd = !odd;
    }
}

void unchanged_tz(benchmark::State &state, void (*set)()) {
    setenv("TZ", zone_name, 1);
    for (auto _ : state)
        set();
}

void engine_tzset() { tzset(); }
void c_library_tzset() { the_c_library().tzset(); }

// ---- by their plain names -------------------------------------------------

using localtime_function = struct tm *(*)(const time_t *);
using mktime_function = time_t (*)(struct tm *);

void plain_localtime(benchmark::State &state, localtime_function convert) {
    setenv("TZ", zone_name, 1);
    const sample instants = to_2037();
    std::size_t i = 0;
    for (auto _ : state) {
        const time_t time = instants[i];
        benchmark::DoNotOptimize(convert(&time)->tm_min);
        i = (i + 1) % sample_size;
    }
}

void plain_mktime(benchmark::State &state, mktime_function convert) {
    setenv("TZ", zone_name, 1);
    const engine zone(zone_name);
    std::vector<struct tm> local;
    for (const std::int64_t when : to_2037())
        local.push_back(zone.split(when));
    std::size_t i = 0;
    for (auto _ : state) {
        struct tm tm = local[i];
        benchmark::DoNotOptimize(convert(&tm));
        i = (i + 1) % sample_size;
    }
}

// ---- registration ---------------------------------------------------------

template <typename... Arguments>
benchmark::internal::Benchmark *add(const std::string &name, Arguments... arguments) {
    return benchmark::RegisterBenchmark(name.c_str(), arguments...);
}

void add_conversions(const std::string &name, sample (*make)()) {
    add("forward_" + name + "/engine", forward<engine>, make);
    add("forward_" + name + "/c_library", forward<c_library_zone>, make);
    add("forward_" + name + "/abseil", forward<abseil>, make);
    add("inverse_" + name + "/engine", inverse<engine>, make);
    add("inverse_" + name + "/c_library", inverse<c_library_zone>, make);
    add("inverse_" + name + "/abseil", inverse<abseil>, make);
}

void add_all() {
    add_conversions("sequence", in_sequence);
    add_conversions("random", to_2037);
    add_conversions("after_2037", after_2037);
    add_conversions("folded", far_beyond);
    add("forward_zones_in_turn/engine", forward_turns<engine>);
    add("forward_zones_in_turn/c_library", c_library_turns);
    add("forward_zones_in_turn/abseil", forward_turns<abseil>);
    add("forward_two_threads/engine", forward<engine>, to_2037)->Threads(2);
    add("forward_two_threads/c_library", forward<c_library_zone>, to_2037)->Threads(2);
    add("forward_two_threads/abseil", forward<abseil>, to_2037)->Threads(2);
    add("plain_localtime/engine", plain_localtime, localtime);
    add("plain_localtime/c_library", plain_localtime, the_c_library().localtime);
    add("plain_mktime/engine", plain_mktime, mktime);
    add("plain_mktime/c_library", plain_mktime, the_c_library().mktime);
    add("load_zone/engine", engine_alloc, zone_name, "Europe/Zurich");
    add("load_zone/c_library", changed_tz, c_library_tzset, zone_name, "Europe/Zurich");
    add("parse_string/engine", engine_alloc, first_rule, second_rule);
    add("parse_string/c_library", changed_tz, c_library_tzset, first_rule, second_rule);
    add("tzset_changed/engine", changed_tz, engine_tzset, zone_name, "Europe/Zurich");
    add("tzset_changed/c_library", changed_tz, c_library_tzset, zone_name, "Europe/Zurich");
    add("tzset_unchanged/engine", unchanged_tz, engine_tzset);
    add("tzset_unchanged/c_library", unchanged_tz, c_library_tzset);
}

} // namespace

int main(int argc, char **argv) {
    add_all();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
