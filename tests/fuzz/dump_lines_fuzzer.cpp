// SPDX-License-Identifier: GPL-2.0-or-later
//
// Any bytes as the dump that daylight-saving discovery reads.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

#include "fuzz/checks.h"
#include "timezone/year_changes.h"

namespace {

/// As fgets() would read them.
std::vector<dump_line> cut_into_lines(const std::uint8_t *data, std::size_t size) {
    std::vector<dump_line> lines;
    dump_line line{};
    std::size_t length = 0;
    for (std::size_t i = 0; i < size && lines.size() < kept_lines; ++i) {
        line[length++] = static_cast<char>(data[i]);
        if (data[i] == '\n' || length + 1 == line.size() || i + 1 == size) {
            lines.push_back(line);
            line = {};
            length = 0;
        }
    }
    return lines;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const char *const zones[] = {"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3",
                                        "AEST-10AEDT,M10.1.0,M4.1.0/3", "<-1130>11:30"};
    if (size < 3)
        return 0;
    setenv("TZ", zones[data[0] % 4], 1);
    const int year = (data[1] | data[2] << 8) % 10000;
    const std::vector<dump_line> lines = cut_into_lines(data + 3, size - 3);
    if (shows_changes(lines, year))
        require(lines.size() > 2, "a change was seen in no line");
    const year_changes changes = read_changes(lines);
    const bool southern = hemisphere_of(changes) == hemisphere::southern;
    require(southern == (changes[0].local > changes[1].local), "hemisphere");
    for (const std::int64_t bound : {changes[0].utc, changes[2].utc})
        require(!is_daylight_saving(changes, bound) ||
                    (southern && (changes[0].utc > changes[2].utc)),
                "a bound is daylight-saving time");
    return 0;
}
