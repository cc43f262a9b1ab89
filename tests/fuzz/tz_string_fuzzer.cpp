// SPDX-License-Identifier: GPL-2.0-or-later
//
// Any text as a TZ value.
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <string>

#include "fuzz/checks.h"
#include "tz/build_index.h"
#include "tz/load_zone.h"
#include "tz/tz_string.h"

namespace {

/// Names of files are tried, too, but none that could be a device: opening one
/// may have effects on the machine.
bool is_harmless(const std::string &name) {
    for (const char *folder : {"dev", "proc", "sys", "run"})
        if (name.find(folder) != std::string::npos)
            return false;
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static zone_state zone;
    const std::string text(reinterpret_cast<const char *>(data), size);
    const std::uint64_t seed = std::accumulate(data, data + size, std::uint64_t{size});
    if (parse_tz_string(text.c_str(), &zone, false)) {
        check_record(zone);
        make_ready(zone);
        check_conversions(zone, seed);
    }
    if (text.starts_with("GMT") && parse_tz_string(text.c_str(), &zone, true))
        check_record(zone);
    if (is_harmless(text) && init_zone(&zone, text.c_str()) == 0) {
        check_record(zone);
        check_abbreviations(zone);
        check_conversions(zone, seed + 1);
    }
    return 0;
}
