// SPDX-License-Identifier: GPL-2.0-or-later
//
// The command records themselves, by the library's own parser.
#include "ntp_cli/ntp_cli.h"

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include <zebra.h>

#include "command.h"
#include "vty.h"

#include "common/kept_session.h"
#include "ntp_cli/node.h"
#include "ntp_state.h"

namespace {

const cmd_element *const all_commands[] = {
    &ntp_config_interface_cmd,
    &ntp_debug_cmd,
    &ntp_config_interface_exit_cmd,
    &ntp_server_cmd,
    &ntp_server2_cmd,
    &ntp_cfg_cmd,
    &ntp_show_cmd,
    &show_system_timezone_cmd,
    &show_ntp_global_var_cmd,
    &dstzone_africa_cmd,
    &dstzone_america_cmd,
    &dstzone_indian_ocean_cmd,
    &dstzone_asia_cmd,
    &dstzone_atlantic_cmd,
    &dstzone_europe_cmd,
    &dstzone_ocean_cmd,
    &dstzone_pacific_cmd,
    &no_timezone_cmd,
};

TEST(Node, LiesAboveTheLibrarysOwn) {
    EXPECT_EQ(NTP_NODE_NUMBER, 130);
    EXPECT_GT(NTP_NODE_NUMBER, static_cast<int>(NODE_TYPE_MAX));
}

TEST(Commands, HaveOneHelpLineForEachWord) {
    for (const cmd_element *command : all_commands) {
        const std::string words = command->string;
        const std::string help = command->doc;
        const auto separators =
            std::count_if(words.begin(), words.end(), [](char c) { return c == ' ' || c == '|'; });
        EXPECT_EQ(std::count(help.begin(), help.end(), '\n'), separators + 1) << words;
        EXPECT_EQ(help.back(), '\n') << words;
    }
}

TEST(Commands, OnlyTheSecondServerIsHidden) {
    for (const cmd_element *command : all_commands)
        EXPECT_EQ(command->attr == CMD_ATTR_HIDDEN, command == &ntp_server2_cmd) << command->string;
}

TEST(Commands, TheRecordDumpShowsEverything) {
    const kept_session session;
    EXPECT_EQ(show_ntp_global_var_cmd.func(&show_ntp_global_var_cmd, session.get(), 0, nullptr),
              CMD_SUCCESS);
    EXPECT_EQ(session.text(),
              "city_name:London\r\ncontinent_name:Europe\r\ntime_zone:GMT+0000\r\n"
              "time_zone_name:GMT\r\nzoneinfo_path:/usr/share/zoneinfo/Europe/London\r\n"
              "g_ntp_debug:0\r\ng_ntp_en:0\r\ng_pri_ntp_server:0.0.0.0\r\n"
              "g_sec_ntp_server:0.0.0.0\r\nis_using_dst:0\r\n");
}

} // namespace
