// SPDX-License-Identifier: GPL-2.0-or-later
//
// Reading a zone's standard time out of its TZif file.
#pragma once

#include <optional>
#include <string_view>

struct standard_time {
    int offset;            ///< minutes east of UTC
    std::string_view name; ///< abbreviation, a part of the file's bytes
};

/// Returns the standard time now in force in the zone whose file holds `file`,
/// or nothing when the bytes are no zone file or make no sense.
[[nodiscard]] std::optional<standard_time> read_standard_time(std::string_view file) noexcept;
