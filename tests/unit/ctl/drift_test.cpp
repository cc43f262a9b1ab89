// SPDX-License-Identifier: GPL-2.0-or-later
#include "drift.h"

#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace {

constexpr std::int64_t week = 604800;
constexpr double floor_variance = 1.0 / 6;

std::vector<step> weekly(std::vector<std::int64_t> seconds) {
    std::vector<step> steps;
    for (const std::int64_t one : seconds)
        steps.push_back({1795420800 + week * static_cast<std::int64_t>(steps.size()), one});
    return steps;
}

TEST(Drift, TakesTwoSteps) {
    EXPECT_FALSE(fit_drift({}));
    EXPECT_FALSE(fit_drift(weekly({2220})));
}

TEST(Drift, TakesTimeBetweenThem) {
    EXPECT_FALSE(fit_drift(std::vector<step>{{1000, 5}, {1000, 3}}));
    EXPECT_FALSE(fit_drift(std::vector<step>{{1000, 5}, {900, 3}}));
}

TEST(Drift, IsSecondsSteppedBySecondsGone) {
    const auto fitted = fit_drift(weekly({2220, 12}));
    ASSERT_TRUE(fitted);
    EXPECT_DOUBLE_EQ(fitted->ppm, 12e6 / week);
    EXPECT_DOUBLE_EQ(fitted->error_before_next_seconds, 12);
}

TEST(Drift, IsNegativeForAFastClock) {
    const auto fitted = fit_drift(weekly({0, -12, -12}));
    ASSERT_TRUE(fitted);
    EXPECT_DOUBLE_EQ(fitted->ppm, -12e6 / week);
    EXPECT_DOUBLE_EQ(fitted->error_before_next_seconds, -12);
}

TEST(Drift, OfOneGapIsAsUncertainAsWholeSecondsAre) {
    const auto fitted = fit_drift(weekly({0, 12}));
    ASSERT_TRUE(fitted);
    EXPECT_DOUBLE_EQ(fitted->ppm_uncertainty, std::sqrt(floor_variance) / week * 1e6);
}

TEST(Drift, ThatFitsTooWellIsAsUncertainAsWholeSecondsAre) {
    const auto fitted = fit_drift(weekly({0, 12, 12, 12, 12}));
    ASSERT_TRUE(fitted);
    EXPECT_DOUBLE_EQ(fitted->ppm_uncertainty, std::sqrt(floor_variance / 4) / week * 1e6);
}

TEST(Drift, ThatScattersIsAsUncertainAsItsScatter) {
    const auto fitted = fit_drift(weekly({0, 8, 16}));
    ASSERT_TRUE(fitted);
    EXPECT_DOUBLE_EQ(fitted->error_before_next_seconds, 12);
    EXPECT_DOUBLE_EQ(fitted->ppm_uncertainty, std::sqrt(32.0 / 2) / week * 1e6);
}

TEST(Drift, CountsLongGapsByTheirSquares) {
    const auto fitted = fit_drift(std::vector<step>{{0, 7}, {1000, 1}, {1000 + week, 12}});
    ASSERT_TRUE(fitted);
    EXPECT_DOUBLE_EQ(fitted->ppm, (1e3 * 1 + 1.0 * week * 12) / (1e6 + 1.0 * week * week) * 1e6);
}

TEST(Drift, PassesOverAGapWithoutTime) {
    const auto with = fit_drift(
        std::vector<step>{{0, 0}, {week, 12}, {week, 99}, {week - 50, 99}, {2 * week - 50, 12}});
    ASSERT_TRUE(with);
    EXPECT_DOUBLE_EQ(with->ppm, 12e6 / week);
}

TEST(Drift, OfTheEndsOfTimeIsANumber) {
    const auto fitted = fit_drift(std::vector<step>{{INT64_MIN, 0}, {INT64_MAX, INT64_MAX}});
    ASSERT_TRUE(fitted);
    EXPECT_TRUE(std::isfinite(fitted->ppm));
    EXPECT_TRUE(std::isfinite(fitted->ppm_uncertainty));
}

TEST(Drift, BetweenTwo) {
    EXPECT_DOUBLE_EQ(drift_between({0, 5}, {1'000'000, 20}).value(), 20);
    EXPECT_FALSE(drift_between({10, 0}, {10, 1}));
    EXPECT_FALSE(drift_between({10, 0}, {9, 1}));
}

/// Clocks of known drift, stepped as the daemon does it: the difference of two whole
/// seconds.  The fit is right, and wrong by as much as it says.
TEST(Drift, IsFoundWithinItsUncertainty) {
    std::mt19937_64 dice(1); // the same every time
    std::uniform_real_distribution<double> fraction(0, 1);
    std::uniform_real_distribution<double> ppm(-60, 60);
    std::uniform_int_distribution<int> gap_days(1, 14);
    constexpr int clocks = 4000;
    double sum = 0;
    double sum_of_squares = 0;
    for (int i = 0; i < clocks; ++i) {
        const double truth = ppm(dice);
        std::vector<step> steps{{1795420800, 0}};
        double time = 1795420800 + fraction(dice);
        for (int n = 0; n < 20; ++n) {
            const double gap = gap_days(dice) * 86400.0 + fraction(dice);
            time += gap;
            const double shown = time - truth * 1e-6 * gap;
            steps.push_back({static_cast<std::int64_t>(std::floor(time)),
                             static_cast<std::int64_t>(std::floor(time) - std::floor(shown))});
        }
        const auto fitted = fit_drift(steps);
        ASSERT_TRUE(fitted);
        const double sigmas = (fitted->ppm - truth) / fitted->ppm_uncertainty;
        sum += sigmas;
        sum_of_squares += sigmas * sigmas;
    }
    EXPECT_NEAR(sum / clocks, 0, 0.06);
    EXPECT_GT(sum_of_squares / clocks, 0.7);
    EXPECT_LT(sum_of_squares / clocks, 1.1);
}

} // namespace
