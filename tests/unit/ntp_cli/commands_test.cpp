// SPDX-License-Identifier: GPL-2.0-or-later
//
// What the commands store, show and write, without a daemon around them.
#include "ntp_cli/ntp_cli.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include <zebra.h>

#include "command.h"
#include "vty.h"

#include "common/configured_servers.h"
#include "common/heap.h"
#include "common/kept_session.h"
#include "common/output.h"
#include "common/private_folder.h"
#include "horad/frr_compat.h"
#include "ntp_cli/node.h"
#include "ntp_state.h"

namespace {

/// A session in the daemon's node.
class ntp_session {
  public:
    ntp_session() {
        static const bool ready = [] {
            cmd_init(0);
            vty_init(event_master_create(nullptr), false);
            ntp_cli_init();
            return true;
        }();
        EXPECT_TRUE(ready);
        enter();
    }

    void enter() {
        kept_.get()->node = CONFIG_NODE;
        EXPECT_EQ(type("ntp"), CMD_SUCCESS);
    }
    int type(const char *line) { return cmd_execute(kept_.get(), line, nullptr, 0); }

    [[nodiscard]] int node() const { return kept_.get()->node; }
    [[nodiscard]] std::string text() const { return kept_.text(); }

  private:
    kept_session kept_;
};

/// What a line typed in the daemon's node answers.
std::string answer(const std::string &line, int result = CMD_SUCCESS) {
    ntp_session session;
    EXPECT_EQ(session.type(line.c_str()), result);
    return session.text();
}

TEST(DaemonsNode, LiesBelowTheConfiguration) {
    ntp_session session;
    EXPECT_EQ(session.node(), NTP_NODE_NUMBER);
    const auto *node = static_cast<const cmd_node *>(vector_lookup(cmdvec, NTP_NODE_NUMBER));
    EXPECT_STREQ(node->prompt, "%s(config-ntp)# ");
    EXPECT_EQ(session.type("line vty"), CMD_SUCCESS); // of the node above
    EXPECT_EQ(session.node(), VTY_NODE);
    session.enter();
    EXPECT_EQ(session.type("exit"), CMD_SUCCESS);
    EXPECT_EQ(session.node(), CONFIG_NODE);
}

TEST(DebugCommand, SwitchesTheTrace) {
    answer("debug ntp on");
    EXPECT_EQ(g_ntp_var.g_ntp_debug, 1);
    answer("debug ntp off");
    EXPECT_EQ(g_ntp_var.g_ntp_debug, 0);
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

TEST_F(ServerCommands, NeedAPrimaryToSwitchOn) {
    store_server(g_ntp_var.g_pri_ntp_server, server_not_set);
    EXPECT_EQ(answer("ntp enable"), "ntp server ip not set!\r\n");
    EXPECT_EQ(ntp_status, 0);
}

/// What is written of the daemon into the configuration.
std::string written_configuration() {
    const kept_session session;
    EXPECT_EQ(ntp_config_write(session.get()), 0);
    return session.text();
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

    static std::string json(const std::string &enabled, const std::string &zone) {
        return "{\n  \"status\":" + enabled +
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

TEST_F(ShowCommands, LeaveNoMemoryBehind) {
    answer("show ntp json");
    const std::size_t before = heap_in_use();
    for (int i = 0; i < 100; ++i)
        answer("show ntp json");
    EXPECT_LT(heap_in_use(), before + 8192);
}

TEST_F(ShowCommands, WriteServersAndZoneWhileOn) {
    EXPECT_EQ(written_configuration(), "");
    ntp_status = 1;
    const std::string servers = "ntp terminal\n ntp server first second\r\n ntp enable\r\n";
    EXPECT_EQ(written_configuration(), servers + " timezone continent Europe location London\r\n");
    g_ntp_var.continent_name = nullptr;
    g_ntp_var.city_name = nullptr;
    EXPECT_EQ(written_configuration(), servers);
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

/// NTP is on, the system's folder is the test's own, and the record is as it was afterwards.
class ZoneCommands : public testing::Test {
  protected:
    ZoneCommands() { ntp_status = 1; }
    ~ZoneCommands() override {
        const ntp_var fresh;
        g_ntp_var.continent_name = fresh.continent_name;
        g_ntp_var.city_name = fresh.city_name;
        g_ntp_var.zoneinfo_path = fresh.zoneinfo_path;
        g_ntp_var.time_zone = fresh.time_zone;
        g_ntp_var.time_zone_name = fresh.time_zone_name;
        ntp_status = 0;
    }

    /// City, continent, offset, name and file.
    static void expect_zone(const char *city, const char *continent, const char *offset,
                            const char *name, const char *path) {
        EXPECT_STREQ(g_ntp_var.city_name, city);
        EXPECT_STREQ(g_ntp_var.continent_name, continent);
        EXPECT_STREQ(g_ntp_var.time_zone, offset);
        EXPECT_STREQ(g_ntp_var.time_zone_name, name);
        EXPECT_STREQ(g_ntp_var.zoneinfo_path, path);
    }
    static void expect_london() {
        expect_zone("London", "Europe", "GMT+0000", "GMT", "/usr/share/zoneinfo/Europe/London");
    }
    static std::string link() { return std::filesystem::read_symlink("/etc/localtime"); }

    private_folder etc_{"/etc"};
};

TEST_F(ZoneCommands, SetTheZone) {
    EXPECT_EQ(answer("timezone continent Indian_Ocean location Mauritius"),
              "\r\nSet Time Zone: Indian_Ocean-Mauritius GMT+0400 successfully! \r\n");
    EXPECT_EQ(link(), "/usr/share/zoneinfo/Indian/Mauritius");
    expect_zone("Mauritius", "Indian_Ocean", "GMT+0400", "+04",
                "/usr/share/zoneinfo/Indian/Mauritius");
}

TEST_F(ZoneCommands, TakeTheZoneAway) {
    answer("timezone continent Europe location Paris");
    ASSERT_EQ(link(), "/usr/share/zoneinfo/Europe/Paris");
    EXPECT_EQ(answer("no timezone"), "");
    EXPECT_FALSE(std::filesystem::is_symlink("/etc/localtime"));
    expect_zone(nullptr, nullptr, nullptr, nullptr, nullptr);
}

TEST_F(ZoneCommands, KeepTheZoneWhenTheLinkCannotBeMade) {
    std::filesystem::create_directory("/etc/localtime");
    complained_by([] { EXPECT_EQ(answer("timezone continent Europe location Paris"), ""); });
    expect_london();
}

TEST_F(ZoneCommands, ChangeNothingWhileOffNorForDaylightSaving) {
    EXPECT_EQ(answer("dst continent Europe location Paris"),
              "\r\nOperation is not supported. DST will be calculated automatically when "
              "setting time zone! \r\n");
    ntp_status = 0;
    EXPECT_EQ(answer("timezone continent Europe location Paris", CMD_WARNING),
              "NTP protcol is disable!\r\n");
    expect_london();
    EXPECT_FALSE(std::filesystem::is_symlink("/etc/localtime"));
}

} // namespace
