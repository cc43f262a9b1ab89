/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * The device's zone catalogue: which continent and location names an operator
 * may choose, and the zone of each.
 */
#ifndef HORAD_DEVICE_ZONE_CATALOGUE_H
#define HORAD_DEVICE_ZONE_CATALOGUE_H

#ifdef __cplusplus
extern "C" {
#endif

/* One zone on offer.  The record and its texts never change and live as long as
 * the process. */
struct zone_catalogue_entry {
    const char *continent;  /* as in the commands, e.g. "Indian_Ocean" */
    const char *location;   /* e.g. "Port-au-Prince", or "Argentina/Salta" */
    const char *path;       /* absolute path of its file below /usr/share/zoneinfo/ */
    const char *offset;     /* standard time's offset from UTC: "GMT+hhmm" or "GMT-hhmm" */
    const char *short_name; /* standard time's abbreviation, e.g. "CET" */
};

/*
 * Looks a zone up in the installed zone files.
 *
 * key               continent and location with one blank between them, at
 *                   most 63 characters
 * unused1, unused2  null
 *
 * Returns the entry, or null for a pair that the catalogue does not have.  The
 * same pair gives the same entry, until its zone file says something else: then
 * a new one.  Safe from any thread.
 */
const struct zone_catalogue_entry *
get_zone_info_by_continent_city(const char *key, const void *unused1, const void *unused2);

#ifdef __cplusplus
}
#endif

#endif
