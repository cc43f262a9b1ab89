// SPDX-License-Identifier: GPL-2.0-or-later
#include "step_table.h"

#include <chrono>
#include <fstream>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <thread>

#include "common/temp_folder.h"
#include "failure.h"

namespace {

class StepTable : public testing::Test {
  protected:
    StepTable() {
        EXPECT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
        run("PRAGMA journal_mode = WAL");
        run("CREATE TABLE clock_step (seq INTEGER PRIMARY KEY, time INTEGER NOT NULL, "
            "diff INTEGER NOT NULL, area INTEGER NOT NULL, id INTEGER NOT NULL)");
    }
    ~StepTable() override { sqlite3_close(db); }

    void run(const std::string &sql) const {
        EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(db);
    }
    void store(std::int64_t time, std::int64_t seconds) const {
        run("INSERT INTO clock_step (time, diff, area, id) VALUES (" + std::to_string(time) + ", " +
            std::to_string(seconds) + ", 4, 1)");
    }

    /// The steps' seconds, in order.
    std::vector<std::int64_t> seconds(const step_limits &limits = {}) const {
        std::vector<std::int64_t> result;
        for (const step_row &row : read_steps(file, limits))
            result.push_back(row.seconds);
        return result;
    }

    static std::string refusal(const std::string &path) {
        try {
            static_cast<void>(read_steps(path, {}));
        } catch (const failure &trouble) {
            EXPECT_EQ(trouble.status, not_well);
            return trouble.what();
        }
        return "none";
    }

    temp_folder folder;
    std::string file = folder.path() / "config.db";
    sqlite3 *db = nullptr;
};

using numbers = std::vector<std::int64_t>;

TEST_F(StepTable, MayBeEmpty) { EXPECT_EQ(seconds(), numbers{}); }

TEST_F(StepTable, IsReadInTheOrderOfRecording) {
    store(3000, 1);
    store(1000, -2);
    store(2000, 3);
    const auto rows = read_steps(file, {});
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_EQ(rows[1].time, 1000);
    EXPECT_EQ(rows[1].seconds, -2);
    EXPECT_EQ(rows[1].number, 2);
    EXPECT_EQ(seconds(), (numbers{1, -2, 3}));
}

TEST_F(StepTable, IsLimitedToTheLatest) {
    for (int i = 1; i <= 5; ++i)
        store(i * 1000, i);
    EXPECT_EQ(seconds({.last = 2}), (numbers{4, 5}));
    EXPECT_EQ(seconds({.last = 9}), (numbers{1, 2, 3, 4, 5}));
}

TEST_F(StepTable, IsLimitedToATimeAndLater) {
    for (int i = 1; i <= 5; ++i)
        store(i * 1000, i);
    EXPECT_EQ(seconds({.since = 3000}), (numbers{3, 4, 5}));
    EXPECT_EQ(seconds({.since = 5001}), numbers{});
    EXPECT_EQ(seconds({.last = 1, .since = 3000}), numbers{5});
}

TEST_F(StepTable, IsNotChangedByReading) {
    store(1000, 1);
    run("PRAGMA wal_checkpoint(TRUNCATE)");
    std::ifstream before(file, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(before), {}};
    seconds();
    std::ifstream after(file, std::ios::binary);
    EXPECT_EQ((std::string{std::istreambuf_iterator<char>(after), {}}), bytes);
}

/// The daemon writes while we read.
TEST_F(StepTable, IsReadBesideAWriter) {
    store(1000, 1);
    run("BEGIN IMMEDIATE");
    store(2000, 2);
    EXPECT_EQ(seconds(), numbers{1});
    run("COMMIT");
    EXPECT_EQ(seconds(), (numbers{1, 2}));
}

TEST_F(StepTable, Missing) {
    const std::string path = folder.path() / "none.db";
    EXPECT_EQ(refusal(path), path + ": No such file or directory: the daemon makes it at its "
                                    "start; name another with --database");
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(StepTable, AFolder) {
    EXPECT_EQ(refusal(folder.path()),
              std::string(folder.path()) + ": no file: name the database with --database");
}

TEST_F(StepTable, Locked) {
    run("PRAGMA locking_mode = EXCLUSIVE");
    store(1000, 1);
    EXPECT_EQ(refusal(file), file + ": database is locked: another program holds it: try again");
}

TEST_F(StepTable, AShortLockIsWaitedFor) {
    run("PRAGMA locking_mode = EXCLUSIVE");
    store(1000, 1);
    std::thread owner([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        sqlite3_close(db);
        db = nullptr;
    });
    EXPECT_EQ(seconds(), numbers{1});
    owner.join();
}

TEST_F(StepTable, Corrupt) {
    const std::string path = folder.path() / "bad.db";
    std::ofstream(path) << std::string(5000, 'x');
    EXPECT_EQ(refusal(path), path + ": file is not a database: it is damaged: move it away, the "
                                    "daemon makes a new one");
}

TEST_F(StepTable, DamagedInside) {
    run("BEGIN");
    for (int i = 0; i < 2000; ++i)
        store(i, i);
    run("COMMIT");
    run("PRAGMA wal_checkpoint(TRUNCATE)");
    sqlite3_close(db);
    db = nullptr;
    {
        std::fstream bytes(file, std::ios::in | std::ios::out | std::ios::binary);
        bytes.seekp(8192);
        bytes << std::string(16384, '\xff');
    }
    EXPECT_EQ(refusal(file), file + ": database disk image is malformed: it is damaged: move it "
                                    "away, the daemon makes a new one");
}

TEST_F(StepTable, NotTheDaemons) {
    const std::string path = folder.path() / "empty.db";
    std::ofstream{path};
    EXPECT_EQ(refusal(path), path + ": no such table: clock_step: is this horad's database?");
}

TEST_F(StepTable, NamesWithAMeaningForSqliteAreFiles) {
    const auto here = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    EXPECT_EQ(refusal(":memory:").substr(0, 35), ":memory:: No such file or directory");
    std::filesystem::current_path(here);
}

} // namespace
