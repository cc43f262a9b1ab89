// SPDX-License-Identifier: GPL-2.0-or-later
//
// Zone files, plainly.
#pragma once

#include <optional>
#include <string>

#include "models/plain_zone.h"

namespace plain {

/// Where relative names are looked for, and the file that serves TZ strings
/// without rules.
inline constexpr char folder[] = "/usr/share/zoneinfo/";
inline constexpr char rules_file_name[] = "posixrules";

/// A file as reading it found it.
struct found_file {
    int error = 0; ///< an errno value
    bytes content;
};

/// Reads a zone file by its name, null for the default zone.
found_file find_file(const char *name);

/// Makes a zone of a file's bytes.
///
/// rules_file  the bytes of "posixrules", if it can be read
/// extend      use the footer
///
/// Returns 0 or an errno value.
int load(std::span<const unsigned char> file, const std::optional<bytes> &rules_file, zone &zone,
         bool extend);

/// The same by name.
int load_by_name(const char *name, const std::optional<bytes> &rules_file, zone &zone, bool extend);

/// Replaces characters that abbreviations must not hold and cuts long ones.
void scrub(zone &zone);

/// A TZ value's zone, from the files that are there.  Returns 0 or an errno value.
int init_zone(const char *name, zone &zone);

/// What a null zone stands for, from the files that are there.
zone null_zone();

} // namespace plain
