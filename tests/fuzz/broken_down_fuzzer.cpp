// SPDX-License-Identifier: GPL-2.0-or-later
//
// Any fields of a broken-down time, in zones of several kinds: a byte for the
// zone, then the fields as native integers.
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "common/tzif_builder.h"
#include "fuzz/checks.h"
#include "horad/tz.h"
#include "tz/build_index.h"
#include "tz/load_zone.h"

namespace {

/// Leap seconds, and two kinds of standard time that overlap.
const zone_state *odd_zone() {
    static zone_state zone;
    tzif_file file;
    file.wide.abbreviations = std::string("FOUR\0THREE\0FIVE\0", 16);
    file.wide.types = {{14400, 0, 0}, {10800, 0, 5}, {18000, 1, 11}};
    file.wide.changes = {{-1000000030, 1}, {0, 2}, {78796801, 1}, {1414274400, 0}};
    file.wide.leaps = {{78796800, 1}, {94694401, 2}, {126230402, 1}};
    require(load_zone_bytes(file.bytes(), &zone, true) == 0, "the zone is well-formed");
    make_ready(zone);
    return &zone;
}

const zone_state *zone_number(unsigned number) {
    static const std::array<const zone_state *, 4> zones = {
        tzalloc(""), tzalloc("AAA5BBB,M3.2.0,M11.1.0"), tzalloc("AAA-10BBB,M10.1.0,M4.1.0/3"),
        odd_zone()};
    return zones[number % zones.size()];
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    struct tm tm = {};
    int fields[7] = {};
    if (size < 1 + sizeof fields + sizeof tm.tm_gmtoff)
        return 0;
    std::memcpy(fields, data + 1, sizeof fields);
    tm.tm_year = fields[0];
    tm.tm_mon = fields[1];
    tm.tm_mday = fields[2];
    tm.tm_hour = fields[3];
    tm.tm_min = fields[4];
    tm.tm_sec = fields[5];
    tm.tm_isdst = fields[6];
    std::memcpy(&tm.tm_gmtoff, data + 1 + sizeof fields, sizeof tm.tm_gmtoff);
    check_inverse(*zone_number(data[0]), tm);
    mktime_z(nullptr, &tm);
    return 0;
}
