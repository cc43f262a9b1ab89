// SPDX-License-Identifier: GPL-2.0-or-later
//
// From a zone's name to the bytes of its file: all that the engine reads.
#pragma once

#include <cstddef>
#include <span>

/// The file that a null name stands for.
inline constexpr char default_zone_path[] = "/etc/localtime";

/// Where relative names are looked for.
inline constexpr char zone_folder[] = "/usr/share/zoneinfo/";

/// Longest relative name.
inline constexpr std::size_t longest_zone_name = 84531;

/// Most of a zone file that is read, bytes.
inline constexpr std::size_t zone_file_limit = 59064;

/// Room for the longest path, and so for a file.
inline constexpr std::size_t zone_path_size = sizeof zone_folder + longest_zone_name;

/// Reads a zone file.
///
/// name    a path, a name below zone_folder, or null for the default zone; a
///         leading ":" is skipped
/// room    the file's bytes go to its start; the rest of it is scratch
/// length  set to their number, at most zone_file_limit
///
/// Returns 0 or an errno value.
[[nodiscard]] int read_zone_file(const char *name, std::span<unsigned char, zone_path_size> room,
                                 std::size_t &length) noexcept;
