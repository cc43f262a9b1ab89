// SPDX-License-Identifier: GPL-2.0-or-later
//
// The zone dump: what to list, from a command line's words.
#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>
#include <memory>
#include <optional>
#include <span>

#include "horad/timezone.h"
#include "horad/tz.h"
#include "timezone/dump_file.h"
#include "timezone/dump_span.h"
#include "tz/calendar.h"
#include "tz/zone_changes.h"

namespace {

using limits = std::numeric_limits<std::int64_t>;

struct zone_free {
    void operator()(timezone_t zone) const { tzfree(zone); }
};
using owned_zone = std::unique_ptr<zone_state, zone_free>;

/// Lists the changes within a span, between the ends of time.
void dump_changes(const dumped_zone &zone, const_timezone_t utc, const time_span &span) {
    constexpr std::int64_t lowest = limits::min() + seconds_per_day;
    warn_again();
    append_instant(zone, utc, limits::min());
    append_instant(zone, utc, lowest);
    change_search changes(*zone.zone, std::max(span.begin, lowest), span.end);
    while (const auto change = changes.next()) {
        append_instant(zone, utc, *change - 1);
        append_instant(zone, utc, *change);
    }
    append_instant(zone, utc, limits::max() - seconds_per_day);
    append_instant(zone, utc, limits::max());
}

int name_width(std::span<char *const> names) {
    std::size_t width = 0;
    for (const char *name : names)
        width = std::max(width, std::strlen(name));
    return static_cast<int>(std::min(width, std::size_t{INT_MAX}));
}

bool is_option(const char *word, const char *option) {
    return word != nullptr && std::strcmp(word, option) == 0;
}

} // namespace

int32_t zdump_main(int32_t argc, char *argv[]) noexcept {
    constexpr int32_t first_name = 4;
    if (argc < first_name || std::find(argv + first_name, argv + argc, nullptr) != argv + argc) {
        std::fputs("usage: zdump -c [LOW,]HIGH -v ZONE...\n", stderr);
        return 1;
    }
    const std::span<char *const> names(argv + first_name,
                                       static_cast<std::size_t>(argc - first_name));

    remove_dump();
    const bool is_verbose = is_option(argv[3], "-v");
    std::optional<time_span> span = default_span();
    if (is_verbose && is_option(argv[1], "-c") && argv[2] != nullptr)
        span = parse_span(argv[2]);
    if (!span)
        return 1;

    const std::time_t now = time(nullptr);
    const owned_zone utc(tzalloc("UTC0"));
    if (utc == nullptr)
        std::perror("UTC0"); // not run by any test: a TZ string needs no file, and memory is there
    const int width = name_width(names);
    for (const char *name : names) {
        const owned_zone zone(tzalloc(name));
        if (zone == nullptr) {
            std::perror(name);
            return 1;
        }
        const dumped_zone dumped{name, width, zone.get()};
        if (is_verbose)
            dump_changes(dumped, utc.get(), *span);
        else
            append_local_time(dumped, now);
    }
    return 0;
}
