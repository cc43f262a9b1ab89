// SPDX-License-Identifier: GPL-2.0-or-later
//
// fleet_run [WORD VALUE]... : simulates a fleet (fleet.h says what can be given) and writes
// the record's three tables, requests at the first server, at the second, and devices that
// wait, to standard output: 32-bit numbers of this machine, one for each second.
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>

#include "fleet.h"

namespace {

/// Takes one value of the command line.
using setting = std::function<void(fleet_plan &, double)>;

std::int64_t whole(double value) { return static_cast<std::int64_t>(value); }

const std::map<std::string, setting> &settings() {
    static const std::map<std::string, setting> all{
        {"devices", [](auto &to, double v) { to.devices = static_cast<std::uint32_t>(v); }},
        {"seconds", [](auto &to, double v) { to.seconds = whole(v); }},
        {"boot", [](auto &to, double v) { to.boot_seconds = v; }},
        {"spread", [](auto &to, double v) { to.spread_seconds = v; }},
        {"ppm", [](auto &to, double v) { to.crystal_ppm = v; }},
        {"secondary", [](auto &to, double v) { to.has_secondary = v != 0; }},
        {"first-dies", [](auto &to, double v) { to.down[0].begin = whole(v); }},
        {"first-returns", [](auto &to, double v) { to.down[0].end = whole(v); }},
        {"second-dies", [](auto &to, double v) { to.down[1].begin = whole(v); }},
        {"second-returns", [](auto &to, double v) { to.down[1].end = whole(v); }},
        {"limit", [](auto &to, double v) { to.limit = v; }},
        {"refuses", [](auto &to, double v) { to.refuses = v != 0; }},
        {"seed", [](auto &to, double v) { to.seed = static_cast<std::uint64_t>(v); }},
    };
    return all;
}

bool write(const std::vector<std::uint32_t> &numbers) {
    return std::fwrite(numbers.data(), sizeof numbers[0], numbers.size(), stdout) == numbers.size();
}

} // namespace

int main(int argc, char **argv) {
    fleet_plan plan;
    for (int i = 1; i < argc; i += 2) {
        const auto found = settings().find(argv[i]);
        char *end = argv[i];
        const double value = i + 1 < argc ? std::strtod(argv[i + 1], &end) : -1;
        if (found == settings().end() || i + 1 == argc || *end != '\0' || !(value >= 0)) {
            std::fprintf(stderr, "fleet_run: no such setting, or no number: %s\n", argv[i]);
            return 2;
        }
        found->second(plan, value);
    }
    const fleet_record record = run_fleet(plan);
    if (!write(record.requests[0]) || !write(record.requests[1]) || !write(record.waiting)) {
        std::perror("fleet_run");
        return 1;
    }
    return 0;
}
