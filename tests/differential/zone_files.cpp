// SPDX-License-Identifier: GPL-2.0-or-later
#include "differential/zone_files.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include "differential/c_library.h"

namespace {

constexpr char zone_folder_path[] = "/usr/share/zoneinfo/";

std::string contents(const std::filesystem::path &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// A rule that applies in about the given month.
std::string random_rule(test_run &run, int month) {
    std::string rule;
    switch (run.between(0, 2)) {
    case 0:
        rule = "J" + std::to_string(month * 30 + run.between(-9, 9));
        break;
    case 1:
        rule = std::to_string(month * 30 + run.between(-9, 9));
        break;
    default:
        rule = "M" + std::to_string(month) + "." + std::to_string(run.between(1, 5)) + "." +
               std::to_string(run.between(0, 6));
    }
    if (run.between(0, 1))
        rule += "/" + std::to_string(run.between(0, 24));
    return rule;
}

void add_around(std::vector<std::int64_t> &instants, std::int64_t middle) {
    for (int distance = -2; distance <= 2; ++distance)
        instants.push_back(middle + distance);
}

void add_others(test_run &run, const zone_state &zone, int random_count,
                std::vector<std::int64_t> &instants) {
    for (int i = 0; i < zone.leap_count; ++i)
        add_around(instants, zone.leaps[i].transition);
    for (const std::int64_t day : {-1, 0, 1})
        for (const std::int64_t end : {first_second, last_second})
            add_around(instants, end + day * 86400);
    for (const std::int64_t time : {std::int64_t{0}, INT64_MIN + 2, INT64_MAX - 2})
        add_around(instants, time);
    for (int i = 0; i < random_count; ++i) {
        instants.push_back(run.between(0, 4102444800));                     // to 2100
        instants.push_back(run.between(-6000000000, 30000000000));          // 1780 to 2920
        instants.push_back(run.between(-200000000000, 200000000000));       // thousands
        instants.push_back(run.between(first_second, last_second));         // whole range
        instants.push_back(run.between(-180000000000000, 180000000000000)); // millions
    }
}

} // namespace

std::vector<std::string> zone_files(bool copies) {
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(zone_folder_path))
        if (entry.is_regular_file() && !entry.is_symlink() &&
            contents(entry.path()).starts_with("TZif"))
            names.push_back(entry.path().string().substr(sizeof zone_folder_path - 1));
    std::sort(names.begin(), names.end());
    if (!copies) {
        std::set<std::string> seen;
        std::erase_if(names, [&](const std::string &name) {
            return !seen.insert(contents(zone_folder_path + name)).second;
        });
    }
    return names;
}

std::vector<std::string> rule_strings(test_run &run) {
    std::vector<std::string> strings = {
        "AAA0",
        "<+03>-3",
        "<-0330>3:30",
        "AAA-14:59:59",
        "AAA5BBB,M3.2.0,M11.1.0",
        "AAA-1BBB,M3.5.0,M10.5.0/3",
        "AAA-10BBB,M10.1.0,M4.1.0/3",
        "AAA-10:30BBB-11,M10.1.0,M4.1.0",
        "AAA3BBB,M3.5.0/-2,M10.5.0/-1",
        "AAA-1BBB0,M10.5.0,M3.5.0/1",
        "AAA4BBB,J60/0,J300/24",
        "AAA4BBB,59/0,300/24",
    };
    for (int i = 0; i < run.amount(20, 500); ++i) {
        // Both well inside the year, in either order.
        std::string rules[2] = {random_rule(run, static_cast<int>(run.between(2, 5))),
                                random_rule(run, static_cast<int>(run.between(8, 11)))};
        if (run.between(0, 1))
            std::swap(rules[0], rules[1]);
        strings.push_back("AAA" + std::to_string(run.between(-14, 12)) + "BBB," + rules[0] + "," +
                          rules[1]);
    }
    return strings;
}

std::vector<std::int64_t> instants(test_run &run, const zone_state &zone, int random_count) {
    std::vector<std::int64_t> instants;
    for (int i = 0; i < zone.transition_count; ++i)
        add_around(instants, zone.transition_times[i]);
    add_others(run, zone, random_count, instants);
    return instants;
}

std::vector<std::int64_t> some_instants(test_run &run, const zone_state &zone, int count) {
    std::vector<std::int64_t> instants;
    for (int i = 0; i < count && zone.transition_count > 0; ++i) {
        // As many of the file's own as of the rule's, which reach over centuries.
        int last = zone.transition_count - 1;
        while (i % 2 == 0 && last > 0 && zone.transition_times[last] > 2145916800)
            last /= 2;
        const auto chosen = run.between(0, last);
        add_around(instants, zone.transition_times[chosen]);
        instants.push_back(zone.transition_times[chosen] + run.between(-100000, 100000));
    }
    add_others(run, zone, count, instants);
    return instants;
}

void test_run::fail(const std::string &message) {
    // The first ones tell enough.
    if (++failures <= 50)
        std::printf("FAILED: %s\n", message.c_str());
}

owned_zone open_zone(test_run &run, const std::string &name) {
    owned_zone zone(tzalloc(name.c_str()));
    if (!zone)
        run.fail("no zone " + name);
    return zone;
}

void set_tz(const std::string &name) {
    setenv("TZ", name.c_str(), 1);
    the_c_library().tzset();
    tzset();
}
