// SPDX-License-Identifier: GPL-2.0-or-later
//
// The time-zone engine against the C library and against slow, simple models of
// itself, over every zone file of this machine.
//
//   tz_differential [--full | --share N] [--seed N]    N: every Nth zone only, of files and of
//                                                      odd ones; else as HORAD_SHARE has it
//   tz_differential --answer    conversions for another program, line by line
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "differential/c_library.h"
#include "differential/parts.h"
#include "differential/zone_files.h"

namespace {

void compare_zone(test_run &run, const std::string &name) {
    const owned_zone zone = open_zone(run, name);
    if (!zone)
        return;
    compare_forward(run, name, *zone);
    compare_inverse(run, name, *zone);
    compare_search(run, name, *zone);
    check_properties(run, name, *zone);
}

int run_all(test_run &run) {
    std::printf("%s run, seed %llu\n", run.full ? "full" : "sampled",
                static_cast<unsigned long long>(run.seed));
    run.random.seed(run.seed);
    auto files = zone_files(run.full);
    const auto rules = rule_strings(run);
    // Fewer would mean that the machine's zones are not there.
    if (files.size() < 300)
        run.fail("only " + std::to_string(files.size()) + " zone files");
    std::shuffle(files.begin(), files.end(), run.random);
    files.resize(files.size() / run.share);
    compare_utc(run);
    for (const auto &name : files)
        compare_zone(run, name);
    for (const auto &rule : rules)
        compare_zone(run, rule);
    compare_search_in_odd_zones(run);
    check_known_differences(run);
    check_explained(run);
    std::printf("%zu zone files, %zu rule strings, %lld comparisons, %d failures\n", files.size(),
                rules.size(), run.compared, run.failures);
    return run.failures == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char **argv) {
    test_run run;
    run.seed = std::random_device()();
    const auto set_share = [&](const char *text) {
        run.share = std::max(1UL, std::strtoul(text, nullptr, 10));
    };
    if (const char *share = std::getenv("HORAD_SHARE"); share != nullptr)
        set_share(share);
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--full") == 0) {
            run.full = true;
        } else if (std::strcmp(argv[i], "--share") == 0 && i + 1 < argc) {
            set_share(argv[++i]);
        } else if (std::strcmp(argv[i], "--seed") == 0 && i + 1 < argc) {
            run.seed = std::strtoull(argv[++i], nullptr, 10);
        } else if (std::strcmp(argv[i], "--answer") == 0) {
            answer();
            return 0;
        } else {
            std::fprintf(stderr, "usage: %s [--full | --share N] [--seed N] | --answer\n", argv[0]);
            return 2;
        }
    }
    return run_all(run);
}
