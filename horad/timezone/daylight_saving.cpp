// SPDX-License-Identifier: GPL-2.0-or-later
//
// Daylight-saving discovery: dumps a year of a zone and reads the dump back.
#include <array>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "horad/timezone.h"
#include "timezone/dump_file.h"
#include "timezone/year_changes.h"

namespace {

constexpr int32_t no_answer = -1;

void dump_year(int32_t year, const char *location) {
    std::string program = "zdump";
    std::string cut_off = "-c";
    std::string years = std::to_string(year) + ',' + std::to_string(year + 1);
    std::string verbose = "-v";
    std::string zone = location;
    std::array words{program.data(), cut_off.data(), years.data(), verbose.data(), zone.data()};
    // A dump that fails is a file that is missing or short.
    zdump_main(static_cast<int32_t>(words.size()), words.data());
}

struct file_close {
    void operator()(std::FILE *file) const { std::fclose(file); }
};

/// The dump's first lines; none when there is no dump.
std::vector<std::string> read_dump() {
    std::vector<std::string> lines;
    const std::unique_ptr<std::FILE, file_close> file(std::fopen(dump_path, "re"));
    if (!file)
        return lines;
    std::array<char, 256> line;
    while (lines.size() < kept_lines && std::fgets(line.data(), line.size(), file.get()))
        lines.emplace_back(line.data());
    return lines;
}

void print_lines(const std::vector<std::string> &lines) {
    for (std::size_t i = 0; i < lines.size(); ++i)
        std::printf("acDstDump[%zu]: %s\r\n", i, lines[i].c_str());
}

void print_daylight_saving(hemisphere where) {
    if (where == hemisphere::northern)
        std::puts("--------location in Northern and in dst time \r");
    else
        std::fputs("location in Southern and in dst time ", stdout);
}

} // namespace

int32_t systemGetDstCfg(int32_t year, int64_t now, const char *location) {
    constexpr int32_t last_year = 9999; // four digits are looked for in the dump
    if (location == nullptr || *location == '\0') {
        std::puts("\r\nThe location where you need to get daylight saving time is empty.\r");
        return no_answer;
    }
    if (year < 0 || year > last_year) {
        std::printf("\r\nThe year %d is out of range: 0 to %d.\r\n", year, last_year);
        return no_answer;
    }
    dump_year(year, location);
    constexpr timespec settling{.tv_sec = 0, .tv_nsec = 100'000'000};
    nanosleep(&settling, nullptr);

    const std::vector<std::string> lines = read_dump();
    print_lines(lines);
    if (!shows_changes(lines, year))
        return 0;
    const year_changes changes = read_changes(lines);
    if (!is_daylight_saving(changes, now))
        return 0;
    print_daylight_saving(hemisphere_of(changes));
    return 1;
}
