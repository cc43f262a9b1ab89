// SPDX-License-Identifier: GPL-2.0-or-later
//
// Zones by name: which file or rule string serves, and in which order they are tried.
#pragma once

#include <cstddef>
#include <span>

#include "tz/zone_state.h"

/// Loads a zone file by name into `state`.
///
/// name    as read_zone_file() takes it
/// extend  use the rule string in the file's footer to go on after its table
///
/// Returns 0 or an errno value.  After a failure `state` is partly written.
int load_zone(const char *name, zone_state *state, bool extend);

/// The same from a file's bytes (at most zone_file_limit are looked at).
int load_zone_bytes(std::span<const unsigned char> file, zone_state *state, bool extend);

/// Fills `state` from a TZ string.  It is not made ready.  Reads the rules file,
/// /usr/share/zoneinfo/posixrules, for its leap seconds and, where the string has no
/// rules, its transitions.
///
/// last_ditch  the text begins with "GMT": see scan_tz_string()
///
/// Returns false, with `state` partly written, when the text is malformed.
bool parse_tz_string(const char *text, zone_state *state, bool last_ditch);

/// Loads UTC under the name "GMT".  Cannot fail: without the zone file the rule
/// string "GMT" serves.
void load_utc(zone_state *state);

/// Makes a zone of a TZ value: a zone file's name, else a POSIX TZ string
/// (unless it begins with ":").  An empty name is UTC named "GMT", without any
/// file; a null one the default zone.  Abbreviations are scrubbed: the
/// record is ready for use.
///
/// Returns 0 or an errno value.
int init_zone(zone_state *state, const char *name);

/// Replaces characters that abbreviations must not hold and cuts long ones.
void scrub_abbreviations(zone_state *state);
