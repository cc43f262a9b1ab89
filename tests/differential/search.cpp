// SPDX-License-Identifier: GPL-2.0-or-later
#include <algorithm>
#include <memory>

#include "common/broken_down.h"
#include "common/tzif_builder.h"
#include "differential/parts.h"
#include "differential/search_reference.h"
#include "differential/zone_files.h"
#include "tz/build_index.h"
#include "tz/load_zone.h"

namespace {

void compare_one(test_run &run, const std::string &name, const zone_state &zone,
                 const struct tm &given) {
    struct tm ours = given;
    struct tm theirs = given;
    const std::int64_t answer = mktime_z(&zone, &ours);
    const auto expected = search_time(zone, theirs);
    ++run.compared;
    if (answer != expected.value_or(-1) || !same_fields(ours, theirs) ||
        ours.tm_isdst != theirs.tm_isdst || ours.tm_gmtoff != theirs.tm_gmtoff)
        run.fail(name + " mktime of " + to_text(&given) + ": " + std::to_string(answer) + " " +
                 to_text(&ours) + ", the search says " + std::to_string(expected.value_or(-1)) +
                 " " + to_text(&theirs));
}

/// Other flags and offsets for the same fields.
void compare_variants(test_run &run, const std::string &name, const zone_state &zone,
                      struct tm tm) {
    std::vector<long> offsets = {0, tm.tm_gmtoff, tm.tm_gmtoff + 3600, tm.tm_gmtoff - 3600, 86401};
    if (zone.type_count > 0)
        offsets.push_back(zone.types[run.between(0, zone.type_count - 1)].utc_offset);
    for (const int flag : {-1, 0, 1, 2})
        for (const long offset : offsets) {
            // All of them with an unknown flag; else the costly ones now and then.
            if (flag >= 0 && offset != 0 && run.between(0, 3) != 0)
                continue;
            tm.tm_isdst = flag;
            tm.tm_gmtoff = offset;
            compare_one(run, name, zone, tm);
        }
}

/// Fields that are not normalised but mean about the same.
struct tm disarranged(test_run &run, struct tm tm) {
    switch (run.between(0, 6)) {
    case 0:
        tm.tm_sec += static_cast<int>(run.between(-200, 200));
        break;
    case 1:
        tm.tm_sec += static_cast<int>(run.between(-10000000, 10000000));
        break;
    case 2:
        tm.tm_min += static_cast<int>(run.between(-3000, 3000));
        break;
    case 3:
        tm.tm_hour += static_cast<int>(run.between(-100, 100));
        break;
    case 4:
        tm.tm_mday += static_cast<int>(run.between(-800, 800));
        break;
    case 5:
        tm.tm_mon += static_cast<int>(run.between(-50, 50));
        break;
    default:
        tm.tm_sec = 60;
    }
    return tm;
}

void compare_at(test_run &run, const std::string &name, const zone_state &zone, std::int64_t when) {
    // The zone's own local time, and fields that may lie in a gap.
    struct tm tm;
    const time_t time = when;
    if (localtime_rz(&zone, &time, &tm)) {
        compare_variants(run, name, zone, tm);
        compare_variants(run, name, zone, disarranged(run, tm));
    }
    if (zone.type_count == 0)
        return;
    const auto type = run.between(0, zone.type_count - 1);
    time_t shown;
    if (__builtin_add_overflow(when, zone.types[type].utc_offset, &shown))
        return;
    if (gmtime_r(&shown, &tm)) {
        compare_variants(run, name, zone, tm);
        compare_variants(run, name, zone, disarranged(run, tm));
    }
}

/// A zone such as no country has: offsets of any size, changes in a hurry,
/// several kinds of daylight time, leap seconds, repeats.
tzif_block odd_block(test_run &run) {
    tzif_block block;
    block.types.clear();
    const auto types = run.between(1, 8);
    const std::int64_t widest = run.between(0, 1) ? 7200 : 200000;
    for (int i = 0; i < types; ++i)
        block.types.push_back({static_cast<std::int32_t>(run.between(-widest, widest)),
                               static_cast<unsigned char>(run.between(0, 1)), 0});
    const std::int64_t pace = run.between(0, 1) ? 10000 : 100000000;
    std::int64_t time = run.between(-1000000000, 100000000);
    for (std::int64_t i = run.between(0, 40); i > 0; --i) {
        time += run.between(1, pace);
        block.changes.push_back({time, static_cast<unsigned char>(run.between(0, types - 1))});
    }
    if (!block.changes.empty() && run.between(0, 2) == 0) {
        auto again = block.changes.front();
        again.time += cycle_seconds;
        if (again.time > time)
            block.changes.push_back(again);
    }
    if (run.between(0, 2) == 0) {
        std::int64_t leap = 0;
        std::int32_t correction = 0;
        for (int i = 0; i < 5; ++i) {
            leap += run.between(2419199, 50000000);
            correction += run.between(0, 3) ? 1 : -1;
            block.leaps.push_back({leap, correction});
        }
    }
    return block;
}

} // namespace

void compare_search(test_run &run, const std::string &name, const zone_state &zone) {
    auto chosen = some_instants(run, zone, run.amount(1, 40));
    std::shuffle(chosen.begin(), chosen.end(), run.random);
    // Zones of many types make the search slow where a flag is wrong.
    chosen.resize(std::min<std::size_t>(chosen.size(), run.full ? 250 : 12));
    for (const std::int64_t when : chosen)
        compare_at(run, name, zone, when);
}

void compare_search_in_odd_zones(test_run &run) {
    const auto zone = std::make_unique<zone_state>();
    const auto zones = static_cast<std::size_t>(run.amount(300, 3000)) / run.share;
    for (std::size_t i = 0; i < zones; ++i) {
        tzif_file file;
        file.wide = odd_block(run);
        if (load_zone_bytes(file.bytes(), zone.get(), true) != 0) {
            run.fail("an odd zone is not loaded");
            continue;
        }
        make_ready(*zone);
        auto chosen = some_instants(run, *zone, 4);
        std::shuffle(chosen.begin(), chosen.end(), run.random);
        chosen.resize(std::min<std::size_t>(chosen.size(), 10));
        for (const std::int64_t when : chosen)
            compare_at(run, "odd zone " + std::to_string(i), *zone, when);
    }
    // TZ strings with rule times of many days make tables that are out of order.
    for (const char *name :
         {"AAA5BBB,0/0,J365/25", "AAA5BBB,0/0,J365/25:59:59", "AAA0BBB,M1.1.0/-167,M12.5.0/167",
          "AAA3BBB3,59,J60", "AAA24BBB-24,J100,J200", ""}) {
        const owned_zone odd = open_zone(run, name);
        if (!odd)
            continue;
        for (const std::int64_t when : some_instants(run, *odd, run.amount(3, 100)))
            compare_at(run, name, *odd, when);
    }
}
