// SPDX-License-Identifier: GPL-2.0-or-later
//
// Zones by name: from zone files, and from TZ values.
#pragma once

#include <cstddef>
#include <span>

#include "tz/tzif.h"
#include "tz/zone_state.h"

/// The zone that a null name stands for.
inline constexpr char default_zone_path[] = "/etc/localtime";

/// Where relative names are looked for.
inline constexpr char zone_folder[] = "/usr/share/zoneinfo/";

/// Longest relative name.
inline constexpr std::size_t longest_zone_name = 84531;

/// Loads a zone file by name into `state`.
///
/// name    a path, a name below zone_folder, or null for the default zone; a
///         leading ":" is skipped
/// extend  use the rule string in the file's footer to go on after its table
///
/// Returns 0 or an errno value.  After a failure `state` is partly written.
int load_zone(const char *name, zone_state *state, bool extend);

/// The same from a file's bytes (at most zone_file_limit are looked at).
int load_zone_bytes(std::span<const unsigned char> file, zone_state *state, bool extend);

/// Loads UTC under the name "GMT".  Cannot fail: without the zone file the rule
/// string "GMT" serves.
void load_utc(zone_state *state);

/// Makes a zone of a TZ value: a zone file's name, else a POSIX TZ string
/// (unless it begins with ":").  An empty name is UTC named "GMT", without any
/// file; a null one the default zone.  Abbreviations are scrubbed and the index
/// is built: the record is ready for use.
///
/// Returns 0 or an errno value.
int init_zone(zone_state *state, const char *name);

/// Replaces characters that abbreviations must not hold and cuts long ones.
void scrub_abbreviations(zone_state *state);
