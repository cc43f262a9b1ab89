// SPDX-License-Identifier: GPL-2.0-or-later
//
// A full evaluation of the frequency discipline, as every sample from the 16th on
// causes one; and what part of it the printing of its one line is.
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>

#include <benchmark/benchmark.h>

#include "horad/discipline.h"

namespace {

constexpr std::uint32_t poll_seconds = 1024;
constexpr std::size_t sample_count = 4096;

/// A clock that runs 3 parts per million fast, seen through a network's jitter;
/// the band of frequencies hardly ever vanishes.
std::array<double, sample_count> offsets() {
    std::mt19937_64 random(1);
    std::normal_distribution<double> jitter(0, 200);
    std::array<double, sample_count> made;
    for (std::size_t i = 0; i < sample_count; ++i)
        made[i] = -3.0 * static_cast<double>(i * poll_seconds) + jitter(random);
    return made;
}

void evaluation(benchmark::State &state) {
    const auto made = offsets();
    std::uint32_t time = 0;
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(contemplate_data(time, made[i], 1800, 0));
        time += poll_seconds;
        i = (i + 1) % sample_count;
    }
}

void line_alone(benchmark::State &state) {
    double slope = -3.125;
    for (auto _ : state) {
        std::printf("# box [( %.3f , %.1f )  ( %.3f , %.1f )]  delta_f %.3f  computed_freq %d\n",
                    slope, -1234.5, slope + 0.25, 1234.5, 2.875, -188416);
        slope += 0.001;
    }
}

} // namespace

int main(int argc, char **argv) {
    benchmark::RegisterBenchmark("discipline_evaluation/engine", evaluation);
    benchmark::RegisterBenchmark("discipline_evaluation/writing", line_alone);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    // What is measured prints on standard output; the report goes to a file
    // (--benchmark_out) or, with everything else, nowhere.
    if (std::freopen("/dev/null", "w", stdout) == nullptr)
        std::abort();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
