// SPDX-License-Identifier: GPL-2.0-or-later
//
// The zone dump.  Beside it what it cannot do without (writing its lines, one
// open file each) and the same search by a plain walk with the C library.
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "common/private_folder.h"
#include "differential/c_library.h"
#include "horad/timezone.h"
#include "horad/tz.h"
#include "timezone/dump_file.h"
#include "timezone/dump_span.h"
#include "tz/zone_changes.h"

namespace {

constexpr char zone_name[] = "America/New_York";
constexpr std::int64_t half_a_day = 43200;

/// A whole run of the dump over these zones.
void dump(std::string years, std::vector<std::string> zones) {
    char program[] = "zdump", cut_off[] = "-c", verbose[] = "-v";
    std::vector<char *> words{program, cut_off, years.data(), verbose};
    for (std::string &zone : zones)
        words.push_back(zone.data());
    if (zdump_main(static_cast<int32_t>(words.size()), words.data()) != 0)
        std::abort();
}

std::vector<std::string> dumped_lines() {
    std::ifstream file(dump_path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
        lines.push_back(line + "\n");
    return lines;
}

std::vector<std::string> all_zones() {
    std::vector<std::string> zones;
    const std::filesystem::path folder(zoneinfo_folder);
    for (const auto &entry : std::filesystem::recursive_directory_iterator(folder)) {
        const std::string name = std::filesystem::relative(entry.path(), folder);
        timezone_t zone = entry.is_regular_file() ? tzalloc(name.c_str()) : nullptr;
        if (zone)
            zones.push_back(name);
        tzfree(zone);
    }
    return zones;
}

void dumping(benchmark::State &state, const std::string &years,
             const std::vector<std::string> &zones) {
    for (auto _ : state)
        dump(years, zones);
}

/// Only the lines' way to the file.
void writing(benchmark::State &state, const std::string &years,
             const std::vector<std::string> &zones) {
    dump(years, zones);
    const std::vector<std::string> lines = dumped_lines();
    for (auto _ : state) {
        unlink(dump_path);
        for (const std::string &line : lines) {
            const int file = open(dump_path, O_WRONLY | O_APPEND | O_CREAT, 0666);
            if (write(file, line.data(), line.size()) < 0)
                std::abort();
            close(file);
        }
    }
}

void search(benchmark::State &state) {
    timezone_t zone = tzalloc(zone_name);
    for (auto _ : state) {
        const time_span span = default_span();
        change_search changes(*zone, span.begin, span.end);
        std::int64_t sum = 0;
        while (const auto change = changes.next())
            sum += *change;
        benchmark::DoNotOptimize(sum);
    }
    tzfree(zone);
}

/// The steps alone, without looking closer at what changed between them.
void walk_with_c_library(benchmark::State &state) {
    const c_library &library = the_c_library();
    setenv("TZ", zone_name, 1);
    library.tzset();
    for (auto _ : state) {
        const time_span span = default_span();
        std::int64_t changes = 0;
        std::tm before{};
        for (std::int64_t at = span.begin; at < span.end; at += half_a_day) {
            std::tm local{};
            library.localtime_r(&at, &local);
            changes += local.tm_gmtoff != before.tm_gmtoff || local.tm_isdst != before.tm_isdst;
            before = local;
        }
        benchmark::DoNotOptimize(changes);
    }
}

void add_dump(const std::string &name, const std::string &years,
              const std::vector<std::string> &zones) {
    benchmark::RegisterBenchmark((name + "/engine").c_str(), dumping, years, zones)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((name + "/writing").c_str(), writing, years, zones)
        ->Unit(benchmark::kMillisecond);
}

} // namespace

int main(int argc, char **argv) {
    const private_folder temporary("/tmp"); // the machine's is left alone
    add_dump("dump_default_span", "-500,2500", {zone_name});
    add_dump("dump_all_zones_ten_years", "2020,2030", all_zones());
    benchmark::RegisterBenchmark("search_default_span/engine", search)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("search_default_span/c_library", walk_with_c_library)
        ->Unit(benchmark::kMillisecond);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
