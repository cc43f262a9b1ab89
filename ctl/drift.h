// SPDX-License-Identifier: GPL-2.0-or-later
//
// How fast or slow the clock runs, from the steps by which it was put right.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

/// One step of the clock, as the daemon records it.
struct step {
    std::int64_t time;    ///< by the clock after the step, in seconds since 1970
    std::int64_t seconds; ///< new time minus old time, in whole seconds
};

/// Positive: the clock runs slow.
struct drift {
    double ppm;
    double ppm_uncertainty; ///< one sigma
    /// By how much the clock will be behind (negative: ahead) after a week at that
    /// drift, which is when its next step is due.
    double error_before_next_seconds;
};

/// The drift that `after` alone shows, in parts per million.
/// Null when no time has gone by, or the clock was set back to before that step.
[[nodiscard]] std::optional<double> drift_between(const step &before, const step &after) noexcept;

/// Fits a drift to steps in the order in which they were made.  Null when there are
/// fewer than two, or no two with time between them.
///
/// Each step but the first makes up for what was lost since the step before: drift
/// times gap, and an error.  The error of a step does not grow with the gap (it is
/// mostly that of whole seconds), which makes least squares of the steps over their
/// gaps, through the origin, the estimate with the smallest variance: long gaps count
/// more than short ones, by their squares.  A step recorded as the difference of two
/// whole seconds is wrong by a variance of 1/6 s²; the uncertainty counts in that, or
/// what the steps scatter about the fit where that is more.
[[nodiscard]] std::optional<drift> fit_drift(std::span<const step> steps) noexcept;
