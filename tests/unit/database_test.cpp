// SPDX-License-Identifier: GPL-2.0-or-later
#include "database.h"

#include <cstdlib>
#include <filesystem>

#include <gtest/gtest.h>

#include "common/temp_folder.h"

namespace {

TEST(Database, ConnectsAndDisconnects) {
    const temp_folder folder;
    const std::string path = folder.path() / "config.db";
    setenv("HORAD_CONFIG_DB", path.c_str(), 1);
    EXPECT_EQ(ntp_database_init(&g_horad_db), 0);
    EXPECT_TRUE(std::filesystem::exists(path));
    EXPECT_EQ(ntp_database_free(&g_horad_db), 0);
}

} // namespace
