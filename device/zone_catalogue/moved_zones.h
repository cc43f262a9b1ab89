// SPDX-License-Identifier: GPL-2.0-or-later
//
// Zones whose file is not, or need not be, where their name suggests.
#pragma once

#include <string_view>

/// Returns the files that may stand in for `name` ("Africa/Egypt"), best first
/// with a blank between; empty when there are none.
[[nodiscard]] std::string_view moved_zone_files(std::string_view name) noexcept;
