// SPDX-License-Identifier: GPL-2.0-or-later
//
// Making a zone the system's: the files, the environment, the shell.
#include <ctime>
#include <filesystem>
#include <string>

#include <sys/mount.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "common/output.h"
#include "common/private_folder.h"
#include "common/zone_fixture.h"
#include "horad/timezone.h"
#include "ntp_state.h"
#include "timezone/system_timezone.h"

namespace {

std::string epoch_here() {
    const time_t epoch = 0;
    struct tm tm = {};
    return to_text(localtime_r(&epoch, &tm));
}

/// Harmless characters, of which only the start is a zone.
std::string text_of_length(std::size_t length) {
    const std::string text = "AAA-3";
    return text + std::string(length - text.size(), '.');
}

class SystemTimezone : public testing::Test {
  protected:
    private_folder etc_{"/etc"};
    tz_guard guard_;
};

TEST_F(SystemTimezone, TextIsExported) {
    EXPECT_EQ(printed_by([] { EXPECT_EQ(sync_sys_timezone("UTC-8:30"), 0); }), "");
    EXPECT_EQ(contents("/etc/TZ"), "UTC-8:30");
    EXPECT_STREQ(getenv("TZ"), "UTC-8:30");
    EXPECT_EQ(epoch_here(), "1970-01-01 08:30:00 UTC dst=0 30600 Thu 0");
    EXPECT_EQ(contents("/etc/profile"), "export TZ=UTC-8:30\n");
}

TEST_F(SystemTimezone, TextTakesThePlaceOfTheOneBefore) {
    const struct {
        const char *text;
        long west; // read from `timezone` without asking for the zone
        const char *local;
    } cases[] = {
        {"UTC-8:30", -30600, "1970-01-01 08:30:00 UTC dst=0 30600 Thu 0"},
        {"UTC+12", 43200, "1969-12-31 12:00:00 UTC dst=0 -43200 Wed 364"},
        {"CET-1CEST,M3.5.0,M10.5.0", -3600, "1970-01-01 01:00:00 CET dst=0 3600 Thu 0"},
        {"nowhere", 0, "1970-01-01 00:00:00 GMT dst=0 0 Thu 0"}, // no zone that is known
        {"", 0, "1970-01-01 00:00:00 GMT dst=0 0 Thu 0"},
    };
    for (const auto &[text, west, local] : cases) {
        std::filesystem::remove("/etc/TZ");
        EXPECT_EQ(sync_sys_timezone(text), 0);
        EXPECT_EQ(timezone, west) << text;
        EXPECT_EQ(contents("/etc/TZ"), text);
        EXPECT_STREQ(getenv("TZ"), text);
        EXPECT_EQ(epoch_here(), local) << text;
    }
}

TEST_F(SystemTimezone, ZoneIsTakenAway) {
    ASSERT_EQ(set_system_timezone_by_path("/usr/share/zoneinfo/Asia/Tokyo"), 0);
    ASSERT_TRUE(std::filesystem::is_symlink("/etc/localtime"));
    remove_system_timezone();
    EXPECT_FALSE(std::filesystem::is_symlink("/etc/localtime"));
    remove_system_timezone(); // there is none
}

TEST_F(SystemTimezone, TzFileIsOverwrittenFromItsStart) {
    for (const std::string tail : {"", "6789", "a longer text\nwith a second line\n"}) {
        put("/etc/TZ", "01234" + tail);
        ASSERT_EQ(chmod("/etc/TZ", 0604), 0);
        sync_sys_timezone("UTC-8");
        EXPECT_EQ(contents("/etc/TZ"), "UTC-8" + tail);
        struct stat status = {};
        ASSERT_EQ(stat("/etc/TZ", &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0604U);
    }
}

TEST_F(SystemTimezone, TzFileIsMadeForAll) {
    const mode_t before = umask(0);
    sync_sys_timezone("UTC-8");
    umask(before);
    struct stat status = {};
    ASSERT_EQ(stat("/etc/TZ", &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0777U);
}

TEST_F(SystemTimezone, ProfileLineIsReplacedOrAppended) {
    const struct {
        const char *before;
        const char *after;
    } cases[] = {
        {"", "export TZ=UTC-8\n"},
        {"PATH=/bin\n", "PATH=/bin\nexport TZ=UTC-8\n"},
        {"export TZ=UTC+5:0\n", "export TZ=UTC-8\n"},
        {"a\n  export TZ=x; y=z # why\nb\n", "a\nexport TZ=UTC-8\nb\n"},
        {"export TZ=1\na\nexport TZ=2\n", "export TZ=UTC-8\na\nexport TZ=UTC-8\n"},
        {"export TZONE=1\n", "export TZONE=1\nexport TZ=UTC-8\n"},
        // The word alone is taken for a line that is there to be replaced.
        {"# TZ is set elsewhere\n", "# TZ is set elsewhere\n"},
    };
    for (const auto &[before, after] : cases) {
        put("/etc/profile", before);
        for (int i = 0; i < 2; ++i) { // the second time there is nothing to do
            sync_sys_timezone("UTC-8");
            EXPECT_EQ(contents("/etc/profile"), after);
        }
    }
}

TEST_F(SystemTimezone, UnacceptableTextChangesNothing) {
    tz_guard::set("before");
    EXPECT_EQ(printed_by([] { EXPECT_EQ(sync_sys_timezone(nullptr), -27); }),
              "error: timezone not set\r\n");
    EXPECT_EQ(printed_by([] { EXPECT_EQ(sync_sys_timezone("UTC`reboot`"), -2); }),
              "\r\nThe format of time zone is invalid! It can't contain `\r\n");
    EXPECT_STREQ(getenv("TZ"), "before");
    EXPECT_FALSE(std::filesystem::exists("/etc/TZ"));
    EXPECT_FALSE(std::filesystem::exists("/etc/profile"));
}

TEST_F(SystemTimezone, TextThatWouldNotFitTheShellCommandIsRefused) {
    tz_guard::set("before");
    for (const std::size_t length : {60U, 61U, 255U, 256U, 257U, 4096U, 30000U}) {
        const std::string text = text_of_length(length);
        EXPECT_EQ(
            printed_by([&] { EXPECT_EQ(sync_sys_timezone(text.c_str()), -2); }),
            "\r\nThe format of time zone is invalid! It can't be longer than 59 characters\r\n");
    }
    EXPECT_STREQ(getenv("TZ"), "before");
    EXPECT_FALSE(std::filesystem::exists("/etc/TZ"));
    EXPECT_FALSE(std::filesystem::exists("/etc/profile"));

    const std::string longest = text_of_length(59);
    EXPECT_EQ(sync_sys_timezone(longest.c_str()), 0);
    EXPECT_EQ(contents("/etc/profile"), "export TZ=" + longest + "\n");
}

TEST_F(SystemTimezone, TzFileThatCannotBeOpened) {
    tz_guard::set("before");
    std::filesystem::create_directory("/etc/TZ");
    EXPECT_EQ(complained_by([] { EXPECT_EQ(sync_sys_timezone("UTC-8"), -14); }),
              "sys_TZ: Is a directory\n");
    EXPECT_STREQ(getenv("TZ"), "before");
    EXPECT_FALSE(std::filesystem::exists("/etc/profile"));
}

TEST_F(SystemTimezone, TzFileThatCannotBeWritten) {
    std::filesystem::create_symlink("/dev/full", "/etc/TZ");
    const std::string said = complained_by([] { EXPECT_EQ(sync_sys_timezone("UTC-8"), 0); });
    EXPECT_EQ(said.find("sys_TZ: No space left on device\n"), 0) << said; // then the shell's
    EXPECT_STREQ(getenv("TZ"), "UTC-8"); // the rest is done all the same
    EXPECT_EQ(contents("/etc/profile"), "export TZ=UTC-8\n");
}

TEST_F(SystemTimezone, ByPath) {
    tz_guard::set(nullptr);
    for (const char *zone : {"Asia/Tokyo", "Asia/Kolkata"}) {
        const std::string path = std::string(zoneinfo_folder) + "/" + zone;
        EXPECT_EQ(printed_by([&] { EXPECT_EQ(set_system_timezone_by_path(path.c_str()), 0); }), "");
        EXPECT_EQ(std::filesystem::read_symlink("/etc/localtime"), path);
        const auto object = open_zone(zone);
        EXPECT_EQ(epoch_here(), local_text(object.get(), 0));
    }
    tz_guard::set("AAA-3");
    set_system_timezone_by_path("/usr/share/zoneinfo/Europe/Paris");
    EXPECT_EQ(epoch_here(), "1970-01-01 03:00:00 AAA dst=0 10800 Thu 0"); // TZ wins
}

TEST_F(SystemTimezone, ByPathWithDebugOn) {
    g_ntp_var.g_ntp_debug = 1;
    EXPECT_EQ(printed_by([] { set_system_timezone_by_path("/some/where"); }),
              "\r\n>>>>Set system timezone /some/where successfully!\r\n");
    g_ntp_var.g_ntp_debug = 0;
}

TEST_F(SystemTimezone, ByPathFailures) {
    put("/etc/localtime", "kept");
    EXPECT_EQ(set_system_timezone_by_path(nullptr), -27);
    EXPECT_EQ(contents("/etc/localtime"), "kept");
    EXPECT_EQ(complained_by([] { EXPECT_EQ(set_system_timezone_by_path(""), -1); }),
              "symlink err: No such file or directory\n");
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status("/etc/localtime")));
}

TEST_F(SystemTimezone, ByPathWhereTheOldLinkStays) {
    std::filesystem::create_symlink("/old", "/etc/localtime");
    ASSERT_EQ(mount(nullptr, "/etc", nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    EXPECT_EQ(complained_by([] { EXPECT_EQ(set_system_timezone_by_path("/new"), -1); }),
              "symlink err: File exists\n"
              "cannot remove /etc/localtime: Read-only file system\n");
    EXPECT_EQ(std::filesystem::read_symlink("/etc/localtime"), "/old");
}

TEST_F(SystemTimezone, ByPathWhereNoLinkWas) {
    EXPECT_EQ(complained_by([] { EXPECT_EQ(set_system_timezone_by_path(""), -1); }),
              "symlink err: No such file or directory\n");
}

} // namespace
