// SPDX-License-Identifier: GPL-2.0-or-later
//
// TZ strings made into zones, plainly.
#pragma once

#include <optional>
#include <string>

#include "models/plain_zone.h"

namespace plain {

/// Makes a zone of a TZ string.
///
/// rules_file  the bytes of "posixrules", if it can be read
/// last_ditch  the text begins with "GMT", which stands for UT
///
/// Returns false for a malformed text.
bool parse_tz_string(const std::string &text, const std::optional<bytes> &rules_file, zone &zone,
                     bool last_ditch);

} // namespace plain
