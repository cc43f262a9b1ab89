// SPDX-License-Identifier: GPL-2.0-or-later
//
// The table of what this engine and the C library answer differently, on
// purpose: each row holds both answers, so that neither changes unnoticed.
#include "differential/known_differences.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>

#include "common/broken_down.h"
#include "common/tzif_builder.h"
#include "differential/c_library.h"
#include "differential/parts.h"

namespace {

constexpr std::int64_t summer_2021 = 1625140800; // 1 July, 12:00 UTC
constexpr std::int64_t summer_3021 = summer_2021 + 31556952000;

struct known_difference {
    const char *what;
    /// Makes the zone file; null: `zone` is a TZ string.
    std::function<void(tzif_file &)> make;
    const char *zone;
    std::int64_t when;
    const char *ours;
    const char *theirs;
};

void daylight_before_standard(tzif_file &file) {
    file.wide = two_type_block({{1000000000, 0}});
    std::swap(file.wide.types[0], file.wide.types[1]);
    file.wide.changes = {{1000000000, 1}};
}

void four_hundred_years(tzif_file &file) {
    file.wide = two_type_block({{1600000000, 1}, {1630000000, 0}});
    file.wide.changes.push_back({1600000000 + cycle_seconds, 1});
    file.wide.changes.push_back({1630000000 + cycle_seconds, 0});
}

void leap_seconds(tzif_file &file) {
    file.wide = two_type_block({{0, 0}});
    file.wide.leaps = {{78796800, 1}, {94694401, 2}};
    file.footer = "\nSTD-1DST,M3.5.0,M10.5.0/3\n";
}

const known_difference table[] = {
    {"fifty abbreviation characters are too many",
     [](tzif_file &file) { file.wide.abbreviations = std::string(49, 'A') + '\0'; }, nullptr,
     summer_2021, "null",
     "2021-07-01 12:00:00 AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA "
     "dst=0 0 Thu 181"},
    {"fifty leap seconds are too many",
     [](tzif_file &file) {
         for (int i = 1; i <= 50; ++i)
             file.wide.leaps.push_back({2419199LL * i, i});
     },
     nullptr, summer_2021, "null", "2021-07-01 11:59:10 UTC dst=0 0 Thu 181"},
    {"2000 transitions are too many",
     [](tzif_file &file) {
         file.wide = two_type_block();
         for (int i = 0; i < 2000; ++i)
             file.wide.changes.push_back({i, static_cast<unsigned char>(i % 2)});
     },
     nullptr, summer_2021, "null", "2021-07-01 14:00:00 DST dst=1 7200 Thu 181"},
    {"leap seconds need a month between them",
     [](tzif_file &file) {
         file.wide.leaps = {{86400, 1}};
     },
     nullptr, summer_2021, "null", "2021-07-01 11:59:59 UTC dst=0 0 Thu 181"},
    {"an unused type 0 comes before the first transition even if it is daylight time",
     daylight_before_standard, nullptr, 0, "1970-01-01 02:00:00 DST dst=1 7200 Thu 0",
     "1970-01-01 01:00:00 STD dst=0 3600 Thu 0"},
    {"a table of 400 years repeats before it", four_hundred_years, nullptr,
     1610000000 - cycle_seconds, "1621-01-07 08:13:20 DST dst=1 7200 Thu 6",
     "1621-01-07 07:13:20 STD dst=0 3600 Thu 6"},
    {"a table of 400 years repeats after it", four_hundred_years, nullptr,
     1610000000 + 2 * cycle_seconds, "2821-01-07 08:13:20 DST dst=1 7200 Thu 6",
     "2821-01-07 07:13:20 STD dst=0 3600 Thu 6"},
    {"abbreviations are cut to 16 characters",
     [](tzif_file &file) { file.wide.abbreviations = std::string("ABCDEFGHIJKLMNOPQRS\0", 20); },
     nullptr, summer_2021, "2021-07-01 12:00:00 ABCDEFGHIJKLMNOP dst=0 0 Thu 181",
     "2021-07-01 12:00:00 ABCDEFGHIJKLMNOPQRS dst=0 0 Thu 181"},
    {"abbreviations are cleaned",
     [](tzif_file &file) { file.wide.abbreviations = std::string("E*T\0", 4); }, nullptr,
     summer_2021, "2021-07-01 12:00:00 E_T dst=0 0 Thu 181",
     "2021-07-01 12:00:00 E*T dst=0 0 Thu 181"},
    {"a footer's names must find room",
     [](tzif_file &file) {
         file.wide = two_type_block({{0, 0}});
         file.wide.abbreviations += std::string(39, 'A') + '\0';
         file.footer = "\nABC-1DEF,M3.5.0,M10.5.0/3\n";
     },
     nullptr, summer_2021, "2021-07-01 13:00:00 STD dst=0 3600 Thu 181",
     "2021-07-01 14:00:00 DEF dst=1 7200 Thu 181"},
    {"a footer's changes move by the leap seconds", leap_seconds, nullptr, 1616893200 + 1,
     "2021-03-28 01:59:59 STD dst=0 3600 Sun 86", "2021-03-28 02:59:59 DST dst=1 7200 Sun 86"},
    {"far years repeat", nullptr, "AAA-1BBB,M3.5.0,M10.5.0/3", 39258289375564771,
     "1244047636-03-31 07:19:31 BBB dst=1 7200 Mon 90",
     "1244047636-03-31 06:19:31 AAA dst=0 3600 Mon 90"},
    {"names may have a single letter", nullptr, "X3", summer_2021,
     "2021-07-01 09:00:00 X dst=0 -10800 Thu 181", "2021-07-01 12:00:00 X dst=0 0 Thu 181"},
    {"rules of this installation end where its file does", nullptr, "AAA5BBB", summer_3021,
     "3021-07-01 19:00:00 AAA dst=0 -18000 Sun 181",
     "3021-07-01 20:00:00 EDT dst=1 -14400 Sun 181"},
};

void check_row(test_run &run, const known_difference &row, const std::string &tz) {
    set_tz(tz);
    const time_t when = row.when;
    struct tm ours;
    struct tm theirs;
    const owned_zone zone(tzalloc(tz.c_str()));
    const auto answer = to_text(zone ? localtime_rz(zone.get(), &when, &ours) : nullptr);
    const auto other = to_text(the_c_library().localtime_r(&when, &theirs));
    ++run.compared;
    if (answer != row.ours)
        run.fail(std::string(row.what) + ": " + answer + ", not " + row.ours);
    if (other != row.theirs)
        run.fail(std::string(row.what) + ": the C library says " + other + ", not " + row.theirs);
    if (answer == other)
        run.fail(std::string(row.what) + ": no difference any more");
}

} // namespace

void check_known_differences(test_run &run) {
    std::string folder = std::filesystem::temp_directory_path() / "tz_differential.XXXXXX";
    if (!mkdtemp(folder.data())) {
        run.fail("no temporary folder");
        return;
    }
    // A new name for each: the C library reads a file it knows only once.
    int number = 0;
    for (const known_difference &row : table) {
        if (!row.make) {
            check_row(run, row, row.zone);
            continue;
        }
        tzif_file file;
        row.make(file);
        const auto path = folder + "/" + std::to_string(number++);
        const auto bytes = file.bytes();
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char *>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
        check_row(run, row, ":" + path);
    }
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

void check_explained(test_run &run) {
    for (const char *name : {far_years_of_the_c_library, early_rules_of_the_c_library,
                             ut_year_of_the_c_library, gap_without_a_flag}) {
        std::printf("met %lld times: %s\n", run.explained[name], name);
        if (run.explained[name] == 0)
            run.fail(std::string("not met: ") + name);
    }
}
