// SPDX-License-Identifier: GPL-2.0-or-later
//
// Any bytes as a zone file.
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <span>

#include "fuzz/checks.h"
#include "tz/build_index.h"
#include "tz/load_zone.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static zone_state zone;
    const std::span<const unsigned char> file(data, size);
    const bool plain = load_zone_bytes(file, &zone, false) == 0;
    if (plain) {
        check_record(zone);
        check_order(zone);
    }
    if (load_zone_bytes(file, &zone, true) != 0) {
        require(!plain, "a footer makes no good file bad");
        return 0;
    }
    check_record(zone);
    scrub_abbreviations(&zone);
    check_record(zone);
    check_abbreviations(zone);
    make_ready(zone);
    check_conversions(zone, std::accumulate(data, data + size, std::uint64_t{size}));
    return 0;
}
