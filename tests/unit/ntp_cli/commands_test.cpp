// SPDX-License-Identifier: GPL-2.0-or-later
//
// What the server commands store, and commands in a state that no other leads to.
#include "ntp_cli/ntp_cli.h"

#include <string>

#include <gtest/gtest.h>

#include <zebra.h>

#include "command.h"
#include "vty.h"

#include "common/configured_servers.h"
#include "common/kept_session.h"
#include "horad/frr_compat.h"
#include "ntp_state.h"

namespace {

/// What a line typed in the daemon's node answers.
std::string answer(const std::string &line) {
    static const bool ready = [] {
        cmd_init(0);
        vty_init(event_master_create(nullptr), false);
        ntp_cli_init();
        return true;
    }();
    EXPECT_TRUE(ready);
    const kept_session session;
    session.get()->node = CONFIG_NODE;
    EXPECT_EQ(cmd_execute(session.get(), "ntp", nullptr, 0), CMD_SUCCESS);
    EXPECT_EQ(cmd_execute(session.get(), line.c_str(), nullptr, 0), CMD_SUCCESS);
    return session.text();
}

/// Both servers as they were set before, and not set again behind a test.
class ServerCommands : public configured_servers {
  protected:
    ServerCommands() : configured_servers("first", "second") {}
};

void expect_servers(const std::string &primary, const std::string &secondary) {
    EXPECT_EQ(g_ntp_var.g_pri_ntp_server, primary);
    EXPECT_EQ(g_ntp_var.g_sec_ntp_server, secondary);
}

TEST_F(ServerCommands, StoreNamesThatFitWithTheirEnd) {
    const std::string longest(127, 'a');
    const std::string other(127, 'b');
    EXPECT_EQ(answer("ntp server " + longest + ' ' + other), "");
    expect_servers(longest, other);
    EXPECT_EQ(answer("second ntp server2 " + longest), "");
    expect_servers(longest, longest);
    EXPECT_EQ(answer("ntp server " + other), "");
    expect_servers(other, longest);
}

TEST_F(ServerCommands, StoreNothingOf128Characters) {
    constexpr char master[] =
        "Master Hostname or IP address does not fit: at most 127 characters.\r\n";
    constexpr char slave[] =
        "Slave Hostname or IP address does not fit: at most 127 characters.\r\n";
    const std::string name(128, 'a');
    EXPECT_EQ(answer("ntp server " + name), master);
    EXPECT_EQ(answer("ntp server " + name + " host"), master);
    EXPECT_EQ(answer("ntp server host " + name), slave);
    EXPECT_EQ(answer("ntp server " + name + ' ' + name), master);
    EXPECT_EQ(answer("second ntp server2 " + name), slave);
    expect_servers("first", "second");
}

TEST_F(ServerCommands, RefuseMoreThan128CharactersAsTooLong) {
    const std::string fits_not(128, 'a');
    const std::string name(129, 'a');
    EXPECT_EQ(answer("ntp server " + name),
              "Master Hostname or IP address too long. Maximum is 128.\r\n");
    EXPECT_EQ(answer("ntp server " + name + " 0.0.0.0"),
              "Master Hostname or IP address too long. Maximum is 128.\r\n");
    EXPECT_EQ(answer("ntp server host " + name),
              "Slave Hostname or IP address too long. Maximum is 128.\r\n");
    EXPECT_EQ(answer("second ntp server2 " + name),
              "slave Hostname or IP address too long. Maximum is 128.\r\n");
    // Every check comes before anything is copied.
    EXPECT_EQ(answer("ntp server " + fits_not + ' ' + name),
              "Slave Hostname or IP address too long. Maximum is 128.\r\n");
    EXPECT_EQ(answer("ntp server " + fits_not + " 0.0.0.0"),
              "Slave ip address can't manually config 0.0.0.0 !!!.\r\n");
    expect_servers("first", "second");
}

TEST_F(ServerCommands, NeedAPrimaryForASecondary) {
    constexpr char no_primary[] = "Master ip address have not set.\r\n";
    store_server(g_ntp_var.g_pri_ntp_server, "");
    EXPECT_EQ(answer("second ntp server2 host"), no_primary);
    // Ahead of whatever is wrong with the secondary.
    EXPECT_EQ(answer("second ntp server2"), no_primary);
    EXPECT_EQ(answer("second ntp server2 0.0.0.0"), no_primary);
    EXPECT_EQ(answer("second ntp server2 " + std::string(128, 'a')), no_primary);
    EXPECT_EQ(answer("second ntp server2 " + std::string(129, 'a')), no_primary);
    expect_servers("", "second");

    store_server(g_ntp_var.g_pri_ntp_server, server_not_set); // is one, for this command
    EXPECT_EQ(answer("second ntp server2"), "% Command incomplete.\n");
    expect_servers(server_not_set, "second");
    EXPECT_EQ(answer("second ntp server2 host"), "");
    expect_servers(server_not_set, "host");
}

TEST_F(ServerCommands, TakeASecondaryAwayWithoutAPrimary) {
    store_server(g_ntp_var.g_pri_ntp_server, "");
    EXPECT_EQ(answer("no second ntp server2"), "");
    expect_servers("", "");
}

} // namespace
