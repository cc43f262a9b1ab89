// SPDX-License-Identifier: GPL-2.0-or-later
//
// Recorded steps and the drift fitted to them, for people and for programs.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "drift.h"

[[nodiscard]] std::string steps_as_table(std::span<const step> steps,
                                         const std::optional<drift> &fitted);
[[nodiscard]] std::string steps_as_csv(std::span<const step> steps);
[[nodiscard]] std::string steps_as_json(std::span<const step> steps,
                                        const std::optional<drift> &fitted);

/// "drift 20.05 +/- 0.41 ppm: the clock runs slow, by 12.1 s in a week"
[[nodiscard]] std::string drift_in_words(const drift &fitted);
