// SPDX-License-Identifier: GPL-2.0-or-later
#include <cstdint>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <sys/syscall.h>
#include <unistd.h>

#include "cli_helper/cli_helper.h"
#include "database_fixture.h"

static int disk_waits = 0;

// In place of the C library's, for SQLite.
extern "C" int fdatasync(int fd) {
    ++disk_waits;
    return static_cast<int>(syscall(SYS_fdatasync, fd));
}

namespace {

class ChangeLog : public database_fixture {
  protected:
    ChangeLog() {
        const std::uint16_t kind = 62;
        const std::uint32_t value = 4000000002;
        std::memcpy(record.bytes, &kind, sizeof kind);
        std::memcpy(record.bytes + 28, &value, sizeof value);
        record.bytes[47] = 0xab;
    }
    cli_log_record record{};
};

TEST_F(ChangeLog, KeepsTimeFieldsRecordAndText) {
    ASSERT_EQ(database_init(&db), 0);
    const std::time_t before = std::time(nullptr);
    EXPECT_EQ(cli_log(&db, &record, "change by ntp."), 0);
    EXPECT_EQ(cli_log(&db, &record, "'); DROP TABLE change_log; --"), 0);
    const peer reader(file);
    EXPECT_EQ(
        reader.run("SELECT kind, value, length(record), hex(substr(record, 48)), text "
                   "FROM change_log ORDER BY seq"),
        (std::vector<row>{{"62", "4000000002", "48", "AB", "change by ntp."},
                          {"62", "4000000002", "48", "AB", "'); DROP TABLE change_log; --"}}));
    for (const row &one : reader.run("SELECT time, utc = datetime(time, 'unixepoch') "
                                     "FROM change_log")) {
        EXPECT_GE(std::stoll(one[0]), before);
        EXPECT_LE(std::stoll(one[0]), std::time(nullptr));
        EXPECT_EQ(one[1], "1");
    }
}

TEST_F(ChangeLog, RefusesUpdateAndDelete) {
    ASSERT_EQ(database_init(&db), 0);
    ASSERT_EQ(cli_log(&db, &record, "change by ntp."), 0);
    const peer writer(file);
    const std::vector<row> refused{{"change_log is append-only"}};
    EXPECT_EQ(writer.run("DELETE FROM change_log"), refused);
    EXPECT_EQ(writer.run("UPDATE change_log SET text = 'x'"), refused);
    EXPECT_EQ(writer.run("SELECT text FROM change_log"), (std::vector<row>{{"change by ntp."}}));
}

TEST_F(ChangeLog, TheNextStepTakesAChangeToTheDisk) {
    auto log = file;
    log += "-wal";
    ASSERT_EQ(database_init(&db), 0);
    ASSERT_EQ(cli_log(&db, &record, "change by ntp."), 0);
    EXPECT_TRUE(std::filesystem::exists(log));
    ASSERT_EQ(store(1), 0);
    EXPECT_FALSE(std::filesystem::exists(log));
    EXPECT_EQ(peer(file).run("SELECT text FROM change_log"),
              (std::vector<row>{{"change by ntp."}}));
}

// A clock whose steps are refused logs a change every five minutes, and stores no step.
TEST_F(ChangeLog, ChangesWithoutStepsReachTheDiskNowAndThen) {
    auto log = file;
    log += "-wal";
    ASSERT_EQ(database_init(&db), 0);
    constexpr int changes = 200;
    int times_cleared = 0;
    for (int i = 0; i < changes; ++i) {
        disk_waits = 0;
        ASSERT_EQ(cli_log(&db, &record, "change by ntp."), 0);
        if (!std::filesystem::exists(log)) {
            ++times_cleared;
            EXPECT_GE(disk_waits, 2); // for the log, and for what it is copied to
        } else {
            EXPECT_EQ(disk_waits, 0);
            ASSERT_LE(std::filesystem::file_size(log), 300'000);
        }
    }
    EXPECT_GE(times_cleared, 2);
    EXPECT_LE(times_cleared, 10);
    EXPECT_EQ(peer(file).run("SELECT count(*) FROM change_log"), (std::vector<row>{{"200"}}));
}

TEST_F(ChangeLog, ChangesReachTheDiskWhileAnotherProgramHasTheFileOpen) {
    auto log = file;
    log += "-wal";
    ASSERT_EQ(database_init(&db), 0);
    const peer other(file);
    EXPECT_EQ(other.run("SELECT count(*) FROM change_log"), (std::vector<row>{{"0"}}));
    for (int i = 0; i < 200; ++i)
        ASSERT_EQ(cli_log(&db, &record, "change by ntp."), 0);
    EXPECT_LE(std::filesystem::file_size(log), 300'000);
    EXPECT_EQ(other.run("SELECT count(*) FROM change_log"), (std::vector<row>{{"200"}}));
}

TEST_F(ChangeLog, FailuresAreToldLikeTheDatabasesOwn) {
    expect_failure([this] { return cli_log(&db, &record, "x"); }, "(none)", "not initialised");
    expect_failure([this] { return cli_log(nullptr, &record, "x"); }, "(none)", "not initialised");
    ASSERT_EQ(database_init(&db), 0);
    expect_failure([this] { return cli_log(&db, &record, nullptr); }, file, "NOT NULL");
    const peer writer(file);
    writer.run("BEGIN IMMEDIATE");
    expect_failure([this] { return cli_log(&db, &record, "x"); }, file, "locked");
}

} // namespace
