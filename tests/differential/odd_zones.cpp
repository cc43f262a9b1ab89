// SPDX-License-Identifier: GPL-2.0-or-later
//
// The time-zone engine against its plain model, over odd zone files and odd TZ
// strings.
//
//   odd_zones [--full] [--seed N] [--count N]
//
// Case after case has a seed of its own, N, N + 1, ...: a difference is repeated
// with the seed that is printed with it and --count 1.  Every case has a process,
// and in it a folder of zone files that no other sees.  Needs root.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

#include "differential/odd_case.h"

namespace {

/// Compares a case, and leaves what it counted in `counts`.
void run_case(std::uint64_t seed, odd_counts &counts) {
    dice dice(seed);
    const odd_case asked = make_case(dice);
    odd_report report(asked, seed, counts);
    const private_folder folder(zoneinfo_folder);
    std::filesystem::create_directory(folder.path() / "sub");
    for (const auto &[name, content] : asked.files)
        folder.write(name, content);
    if (asked.null_zone)
        compare_null_zone(dice, report, counts);
    else
        compare_case(asked, dice, report, counts);
}

/// The child's part.
[[noreturn]] void run_case_and_exit(std::uint64_t seed, odd_counts counts, int answer) {
    constexpr unsigned too_long = 300; // seconds
    alarm(too_long);
    bool sent = false;
    try {
        run_case(seed, counts);
        std::fflush(stdout);
        sent = write(answer, &counts, sizeof counts) == sizeof counts;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
    }
    _exit(sent ? 0 : 1);
}

/// Compares a case in a process with a folder of its own, which may die of it.
void run_case_aside(std::uint64_t seed, odd_counts &counts) {
    int ends[2];
    if (pipe(ends) != 0)
        throw std::runtime_error("no pipe");
    std::fflush(stdout);
    const pid_t child = fork();
    if (child < 0)
        throw std::runtime_error("no process");
    if (child == 0)
        run_case_and_exit(seed, counts, ends[1]);
    close(ends[1]);
    odd_counts after;
    const bool received = read(ends[0], &after, sizeof after) == sizeof after;
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (received && status == 0) {
        counts = after;
        return;
    }
    dice dice(seed);
    const odd_case asked = make_case(dice);
    odd_report report(asked, seed, counts);
    report.differs("any question", WIFSIGNALED(status) ? sigdescr_np(WTERMSIG(status)) : "died",
                   "answers");
}

int run_all(std::uint64_t seed, long long count) {
    std::printf("seed %llu\n", static_cast<unsigned long long>(seed));
    odd_counts counts;
    for (long long i = 0; i < count; ++i)
        run_case_aside(seed + static_cast<std::uint64_t>(i), counts);
    std::printf("%lld zones (%lld refused), %lld conversions, %lld searches, %lld differences\n",
                counts.zones, counts.refused, counts.conversions, counts.searches,
                counts.differences);
    return counts.differences == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char **argv) {
    constexpr long long sample = 400;
    constexpr long long all = 40000;
    long long count = sample;
    try {
        std::uint64_t seed = std::random_device()();
        for (int i = 1; i < argc; ++i) {
            if (std::strcmp(argv[i], "--full") == 0) {
                count = all;
            } else if (std::strcmp(argv[i], "--seed") == 0 && i + 1 < argc) {
                seed = std::strtoull(argv[++i], nullptr, 10);
            } else if (std::strcmp(argv[i], "--count") == 0 && i + 1 < argc) {
                count = std::strtoll(argv[++i], nullptr, 10);
            } else {
                std::fprintf(stderr, "usage: %s [--full] [--seed N] [--count N]\n", argv[0]);
                return 2;
            }
        }
        return run_all(seed, count);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 2;
    }
}
