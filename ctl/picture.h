// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <optional>
#include <span>
#include <string>

#include "drift.h"

/// An SVG picture: what the steps add up to over time, as a staircase that begins with
/// the first, and the fitted drift as a line with its one sigma.
[[nodiscard]] std::string steps_as_svg(std::span<const step> steps,
                                       const std::optional<drift> &fitted);
