// SPDX-License-Identifier: GPL-2.0-or-later
//
// A device's libraries take the place of these: only the functions of the C
// headers may be relied on, so only they are exported.
#include <cstdio>
#include <gtest/gtest.h>
#include <set>
#include <string>

namespace {

std::set<std::string> exports_of(const std::string &library) {
    std::set<std::string> names;
    FILE *listing = popen(("nm -D --defined-only --format=just-symbols " + library).c_str(), "r");
    char line[512];
    while (listing && std::fgets(line, sizeof line, listing)) {
        std::string name(line);
        name.pop_back();
        names.insert(name);
    }
    EXPECT_TRUE(listing && pclose(listing) == 0);
    return names;
}

TEST(Exports, AreTheFunctionsOfTheHeaders) {
    using names = std::set<std::string>;
    EXPECT_EQ(exports_of(CONFIG_DB_LIBRARY),
              (names{"database_init", "database_disconnect", "db_olt_ntp_set_ntp_diff_time",
                     "config_db_log_change"}));
    EXPECT_EQ(exports_of(CLI_HELPER_LIBRARY),
              (names{"cmd_parase_parameters", "check_input_is_valid", "cli_log"}));
    EXPECT_EQ(exports_of(ZONE_CATALOGUE_LIBRARY), (names{"get_zone_info_by_continent_city"}));
}

} // namespace
