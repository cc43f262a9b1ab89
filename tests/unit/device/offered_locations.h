// SPDX-License-Identifier: GPL-2.0-or-later
//
// Every location that the commands' help offers.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ntp_cli/zone_help.h"

/// Continents with the help of their commands.
inline constexpr std::pair<std::string_view, std::string_view> offered[] = {
    {"Africa", ZONE_HELP_AFRICA},
    {"America", ZONE_HELP_AMERICA},
    {"Asia", ZONE_HELP_ASIA},
    {"Atlantic", ZONE_HELP_ATLANTIC},
    {"Australia", ZONE_HELP_OCEAN},
    {"Europe", ZONE_HELP_EUROPE},
    {"Indian_Ocean", ZONE_HELP_INDIAN_OCEAN},
    {"Pacific", ZONE_HELP_PACIFIC},
};

/// The locations in a help text.
inline std::vector<std::string> locations_in(std::string_view help) {
    constexpr std::string_view between = ":, \n";
    std::vector<std::string> found;
    help.remove_prefix(help.find(':'));
    for (auto at = help.find_first_not_of(between); at != help.npos;) {
        const auto end = help.find_first_of(between, at);
        found.emplace_back(help.substr(at, end - at));
        at = help.find_first_not_of(between, end);
    }
    return found;
}
