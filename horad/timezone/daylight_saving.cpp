// SPDX-License-Identifier: GPL-2.0-or-later
//
// Daylight-saving discovery: dumps a year of a zone and reads the dump back.
#include <array>
#include <cstdio>
#include <ctime>
#include <memory>
#include <span>

#include "horad/timezone.h"
#include "timezone/dump_file.h"
#include "timezone/year_changes.h"

namespace {

constexpr int32_t no_answer = -1;

void dump_year(int32_t year, const char *location) {
    char program[] = "zdump";
    char cut_off[] = "-c";
    std::array<char, 128> years{};
    std::snprintf(years.data(), years.size(), "%d,%d", year, year + 1);
    char verbose[] = "-v";
    // A main() could write to its words; this one does not.
    std::array words{program, cut_off, years.data(), verbose, const_cast<char *>(location)};
    // A dump that fails is a file that is missing or short.
    zdump_main(static_cast<int32_t>(words.size()), words.data());
}

struct file_close {
    void operator()(std::FILE *file) const { std::fclose(file); }
};

using line_slots = std::array<dump_line, kept_lines>;

/// Reads the dump's first lines into slots and returns those that it filled: none
/// when there is no dump.
std::span<const dump_line> read_dump(line_slots &slots) {
    const std::unique_ptr<std::FILE, file_close> file(std::fopen(dump_path, "re"));
    if (file == nullptr)
        return {};
    std::size_t count = 0;
    while (count < slots.size() &&
           std::fgets(slots[count].data(), sizeof(dump_line), file.get()) != nullptr)
        ++count;
    return std::span(slots).first(count);
}

void print_lines(std::span<const dump_line> lines) {
    for (std::size_t i = 0; i < lines.size(); ++i)
        std::printf("acDstDump[%zu]: %s\r\n", i, lines[i].data());
}

void print_daylight_saving(hemisphere where) {
    if (where == hemisphere::northern)
        std::puts("--------location in Northern and in dst time \r");
    else
        std::fputs("location in Southern and in dst time ", stdout);
}

} // namespace

int32_t systemGetDstCfg(int32_t year, int64_t now, const char *location) noexcept {
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

    line_slots slots{};
    const std::span<const dump_line> lines = read_dump(slots);
    print_lines(lines);
    if (!shows_changes(lines, year))
        return 0;
    const year_changes changes = read_changes(lines);
    if (!is_daylight_saving(changes, now))
        return 0;
    print_daylight_saving(hemisphere_of(changes));
    return 1;
}
