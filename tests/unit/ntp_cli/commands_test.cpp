// SPDX-License-Identifier: GPL-2.0-or-later
//
// What the server commands store, and commands in a state that no other leads to.
#include "ntp_cli/ntp_cli.h"

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

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

/// Both servers as they were set before, and not set again after a test.
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

/// The record with names of any length, and as it was afterwards.
class ShowCommands : public ServerCommands {
  protected:
    ~ShowCommands() override {
        const ntp_var fresh;
        g_ntp_var.continent_name = fresh.continent_name;
        g_ntp_var.city_name = fresh.city_name;
        ntp_status = 0;
    }

    static std::string json(const std::string &status, const std::string &zone) {
        return "{\n  \"status\":" + status +
               ",\n  \"server\":\"first\",\n  \"secondServer\":\"second\",\n"
               "  \"continentCity\":\"" +
               zone + "\"\n}\r\n";
    }
};

TEST_F(ShowCommands, TellServersAndZone) {
    EXPECT_EQ(answer("show ntp"), "NTP protcol is disable!\r\n");
    EXPECT_EQ(answer("show ntp json"), json("false", "Europe London"));
    ntp_status = 1;
    EXPECT_EQ(answer("show ntp"),
              "NTP server is first, second.\r\nTime Zone is Europe-London.\r\n");
    EXPECT_EQ(answer("show ntp json"), json("true", "Europe London"));
}

TEST_F(ShowCommands, TellTheZone) {
    EXPECT_EQ(answer("show timezone"), "Current system time zone : Europe-London GMT+0000\r\n");
}

TEST_F(ShowCommands, HaveRoomForSixtyThreeCharactersOfAZone) {
    const std::string longest(56, 'x');
    g_ntp_var.city_name = longest.c_str();
    EXPECT_EQ(answer("show ntp json"), json("false", "Europe " + longest));
    const std::string longer = longest + "y";
    g_ntp_var.city_name = longer.c_str();
    EXPECT_EQ(answer("show ntp json"), json("false", "Europe " + longest));
}

/// Whether a line is not carried out before the lock is free.
bool waits_for_the_lock(const std::string &line) {
    answer(line);
    std::atomic<bool> is_done{false};
    ntp_lock();
    std::thread session([&] {
        answer(line);
        is_done = true;
    });
    // Long enough for one that does not wait.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const bool waited = !is_done;
    ntp_unlock();
    session.join();
    return waited;
}

TEST_F(ShowCommands, WaitForTheLock) {
    EXPECT_TRUE(waits_for_the_lock("show ntp json"));
    ntp_status = 1;
    EXPECT_TRUE(waits_for_the_lock("show ntp"));
}

TEST_F(ServerCommands, WaitForTheLock) {
    EXPECT_TRUE(waits_for_the_lock("ntp server host"));
    EXPECT_TRUE(waits_for_the_lock("second ntp server2 host"));
    EXPECT_TRUE(waits_for_the_lock("no second ntp server2"));
}

} // namespace
