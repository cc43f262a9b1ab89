// SPDX-License-Identifier: GPL-2.0-or-later
//
// Setting the system's zone by continent and location, and taking it away.
#include "ntp_cli/ntp_cli.h"

#include <cstdio>
#include <cstring>

#include <zebra.h>

#include "command.h"
#include "vty.h"

#include "horad/timezone.h"
#include "ntp_cli/refusals.h"
#include "ntp_cli/zone_help.h"
#include "ntp_state.h"
#include "timezone/system_timezone.h"
#include "zone_catalogue/zone_catalogue.h"

namespace {

/// Makes a catalogue entry the system's zone and, when that worked, the
/// configured one.
void set_zone(vty *vty, const zone_catalogue_entry &zone) {
    if (set_system_timezone_by_path(zone.path) != 0)
        return;
    {
        const ntp_guard lock;
        g_ntp_var.continent_name = zone.continent;
        g_ntp_var.city_name = zone.location;
        g_ntp_var.zoneinfo_path = zone.path;
        g_ntp_var.time_zone = zone.offset;
        g_ntp_var.time_zone_name = zone.short_name;
    }
    vty_out(vty, "\r\nSet Time Zone: %s-%s %s successfully! \r\n", zone.continent, zone.location,
            zone.offset);
}

/// All continents: <timezone|dst> continent CONTINENT location LOCATION.
int dstzone_func(const cmd_element *, vty *vty, int, cmd_token *argv[]) {
    const char *form = argv[0]->text;
    const char *continent = argv[2]->text;
    const char *location = argv[4]->arg;

    if (ntp_status == 0) {
        vty_out(vty, "%s", ntp_is_off);
        return CMD_WARNING;
    }
    const zone_catalogue_entry *zone = find_location(continent, location);
    if (zone == nullptr) {
        // On the daemon's own output, not the session's: the console keeps it.
        std::printf(unknown_location, continent);
        return CMD_WARNING;
    }
    if (std::strcmp(form, "timezone") == 0)
        set_zone(vty, *zone);
    else if (std::strcmp(form, "dst") == 0)
        vty_out(vty, "%s", dst_is_automatic);
    return CMD_SUCCESS;
}

int no_timezone_fun(const cmd_element *, vty *, int, cmd_token *[]) {
    {
        const ntp_guard lock;
        g_ntp_var.continent_name = nullptr;
        g_ntp_var.city_name = nullptr;
        g_ntp_var.zoneinfo_path = nullptr;
        g_ntp_var.time_zone = nullptr;
        g_ntp_var.time_zone_name = nullptr;
    }
    remove_system_timezone();
    return CMD_SUCCESS;
}

} // namespace

const zone_catalogue_entry *find_location(const char *continent, const char *location) noexcept {
    char key[64];
    std::snprintf(key, sizeof key, "%s %s", continent, location);
    return get_zone_info_by_continent_city(key, nullptr, nullptr);
}

// clang-format off
#define ZONE_COMMAND(record, continent, locations)                                                 \
    constinit const cmd_element record = {                                                         \
        .string = "<timezone|dst> continent " continent " location WORD",                          \
        .doc = "Time zone configuration.\n"                                                        \
               "Set DST(Before using DST, please configure commands to enable ntp server.)\n"      \
               "Select Continent\n"                                                                \
               "Continent\n"                                                                       \
               "Select Location\n"                                                                 \
               locations,                                                                          \
        .func = dstzone_func,                                                                      \
        .name = #record,                                                                           \
    }

ZONE_COMMAND(dstzone_africa_cmd,       "Africa",       ZONE_HELP_AFRICA);
ZONE_COMMAND(dstzone_america_cmd,      "America",      ZONE_HELP_AMERICA);
ZONE_COMMAND(dstzone_indian_ocean_cmd, "Indian_Ocean", ZONE_HELP_INDIAN_OCEAN);
ZONE_COMMAND(dstzone_asia_cmd,         "Asia",         ZONE_HELP_ASIA);
ZONE_COMMAND(dstzone_atlantic_cmd,     "Atlantic",     ZONE_HELP_ATLANTIC);
ZONE_COMMAND(dstzone_europe_cmd,       "Europe",       ZONE_HELP_EUROPE);
ZONE_COMMAND(dstzone_ocean_cmd,        "Australia",    ZONE_HELP_OCEAN);
ZONE_COMMAND(dstzone_pacific_cmd,      "Pacific",      ZONE_HELP_PACIFIC);
// clang-format on

constinit const cmd_element no_timezone_cmd = {
    .string = "no timezone",
    .doc = "Negate a command or set its defaults\n"
           "Time zone configuration.\n",
    .func = no_timezone_fun,
    .name = "no_timezone_cmd",
};
