// SPDX-License-Identifier: GPL-2.0-or-later
//
// A configuration database in a private folder, looked at through SQLite itself.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <sqlite3.h>
#include <string>
#include <vector>

#include "common/temp_folder.h"
#include "config_db/config_db.h"

using row = std::vector<std::string>;

struct close_peer {
    void operator()(sqlite3 *db) const { sqlite3_close(db); }
};

// Another program's connection.
class peer {
  public:
    explicit peer(const std::filesystem::path &file) {
        sqlite3 *opened = nullptr;
        EXPECT_EQ(sqlite3_open_v2(file.c_str(), &opened, SQLITE_OPEN_READWRITE, nullptr),
                  SQLITE_OK);
        db_.reset(opened);
    }

    // Runs one statement; the rows it gives, or its error as the only cell.
    std::vector<row> run(const char *sql) const {
        std::vector<row> rows;
        const auto add = [](void *to, int count, char **cells, char **) {
            row &one = static_cast<std::vector<row> *>(to)->emplace_back();
            for (int i = 0; i < count; ++i)
                one.emplace_back(cells[i] ? cells[i] : "NULL");
            return 0;
        };
        if (sqlite3_exec(db_.get(), sql, add, &rows, nullptr) != SQLITE_OK)
            return {{sqlite3_errmsg(db_.get())}};
        return rows;
    }

  private:
    std::unique_ptr<sqlite3, close_peer> db_;
};

class database_fixture : public testing::Test {
  protected:
    database_fixture() { use(file.c_str()); }
    ~database_fixture() override { unsetenv("HORAD_CONFIG_DB"); }

    static void use(const char *path) { setenv("HORAD_CONFIG_DB", path, 1); }

    // Expects `operation` to fail with one line that names `path` and `reason`.
    template <typename Operation>
    void expect_failure(Operation operation, const std::string &path, const std::string &reason) {
        testing::internal::CaptureStderr();
        const int result = operation();
        const std::string told = testing::internal::GetCapturedStderr();
        EXPECT_EQ(result, -1);
        EXPECT_TRUE(told.starts_with("horad: configuration database " + path + ": ")) << told;
        EXPECT_NE(told.find(reason), std::string::npos) << told;
        EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;
        EXPECT_TRUE(told.ends_with('\n')) << told;
    }

    int store(int diff) { return db_olt_ntp_set_ntp_diff_time(&db, diff, 4, 1); }

    std::string count_steps() const {
        return peer(file).run("SELECT count(*) FROM clock_step")[0][0];
    }

    temp_folder folder;
    std::filesystem::path file = folder.path() / "below" / "config.db";
    config_db db{};
};
