// SPDX-License-Identifier: GPL-2.0-or-later
#include "drift.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "utc_time.h"

namespace {

constexpr double whole_seconds_variance = 1.0 / 6;
constexpr double million = 1e6;

double gap_between(const step &before, const step &after) noexcept {
    return static_cast<double>(after.time) - static_cast<double>(before.time);
}

/// Calls `use` with gap and step of each step but the first.
template <typename Use> void for_each_gap(std::span<const step> steps, Use use) noexcept {
    for (std::size_t i = 1; i < steps.size(); ++i)
        if (const double gap = gap_between(steps[i - 1], steps[i]); gap > 0)
            use(gap, static_cast<double>(steps[i].seconds));
}

} // namespace

std::optional<double> drift_between(const step &before, const step &after) noexcept {
    const double gap = gap_between(before, after);
    if (gap <= 0)
        return std::nullopt;
    return static_cast<double>(after.seconds) / gap * million;
}

std::optional<drift> fit_drift(std::span<const step> steps) noexcept {
    int count = 0;
    double gaps_squared = 0;
    double products = 0;
    for_each_gap(steps, [&](double gap, double seconds) {
        ++count;
        gaps_squared += gap * gap;
        products += gap * seconds;
    });
    if (count == 0)
        return std::nullopt;
    const double slope = products / gaps_squared;

    double residuals_squared = 0;
    for_each_gap(steps, [&](double gap, double seconds) {
        const double residual = seconds - slope * gap;
        residuals_squared += residual * residual;
    });
    const double scatter = count > 1 ? residuals_squared / (count - 1) : 0;
    const double variance = std::max(scatter, whole_seconds_variance);
    return drift{.ppm = slope * million,
                 .ppm_uncertainty = std::sqrt(variance / gaps_squared) * million,
                 .error_before_next_seconds = slope * static_cast<double>(seconds_in_a_week)};
}
