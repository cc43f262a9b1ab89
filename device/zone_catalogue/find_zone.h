// SPDX-License-Identifier: GPL-2.0-or-later
//
// Looking a zone up below any folder of zone files.
#pragma once

struct zone_catalogue_entry;

/// As get_zone_info_by_continent_city(), with the zone files below `root`.
[[nodiscard]] const zone_catalogue_entry *find_zone(const char *root, const char *key) noexcept;
