// SPDX-License-Identifier: GPL-2.0-or-later
#include "ntp_state.h"

#include <cstring>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

namespace {

TEST(State, StartsWithLondonAndNothingElse) {
    const ntp_var fresh;
    EXPECT_STREQ(fresh.continent_name, "Europe");
    EXPECT_STREQ(fresh.city_name, "London");
    EXPECT_STREQ(fresh.zoneinfo_path, "/usr/share/zoneinfo/Europe/London");
    EXPECT_STREQ(fresh.time_zone, "GMT+0000");
    EXPECT_STREQ(fresh.time_zone_name, "GMT");
    EXPECT_EQ(fresh.g_ntp_en, 0);
    EXPECT_EQ(fresh.g_ntp_debug, 0);
    EXPECT_EQ(fresh.is_using_dst, 0);
    EXPECT_STREQ(fresh.g_pri_ntp_server, "0.0.0.0");
    EXPECT_STREQ(fresh.g_sec_ntp_server, "0.0.0.0");
}

TEST(State, AccessorsReachTheirFlags) {
    set_is_using_dst(1);
    EXPECT_EQ(get_is_using_dst(), 1);
    EXPECT_EQ(g_ntp_var.is_using_dst, 1);
    set_is_using_dst(0);
    EXPECT_EQ(get_is_using_dst(), 0);

    set_g_ntp_en(1);
    EXPECT_EQ(g_ntp_var.g_ntp_en, 1);
    EXPECT_EQ(ntp_status, 0);
    set_g_ntp_en(0);
}

TEST(State, StoringANameClearsTheWholeField) {
    char field[server_name_size];
    std::memset(field, 'x', sizeof field);
    store_server(field, "time.example");
    char expected[server_name_size] = "time.example";
    EXPECT_EQ(std::memcmp(field, expected, sizeof field), 0);

    store_server(field, "");
    EXPECT_EQ(std::memcmp(field, std::string(sizeof field, '\0').data(), sizeof field), 0);
}

TEST(State, TheLongestNameFitsWithItsEnd) {
    char field[server_name_size];
    const std::string longest(127, 'a');
    const auto name = server_name::from(longest.c_str());
    ASSERT_TRUE(name);
    store_server(field, *name);
    EXPECT_EQ(server_snapshot(field).text, longest);
}

TEST(State, WhatWouldBeCutIsNoName) {
    EXPECT_FALSE(server_name::from(std::string(128, 'a').c_str()));
    EXPECT_FALSE(server_name::from(std::string(1000, 'a').c_str()));
    EXPECT_TRUE(server_name::from(""));
}

TEST(State, ConstantsAreMeasuredByTheCompiler) {
    static_assert(std::is_convertible_v<const char(&)[128], server_name>);
    static_assert(!std::is_convertible_v<const char(&)[129], server_name>);
    static_assert(!std::is_convertible_v<const char *, server_name>);
}

TEST(State, AnEmptyServerIsNotTheSameAsNone) {
    char field[server_name_size] = "0.0.0.0";
    EXPECT_FALSE(server_snapshot(field).is_set());
    store_server(field, "");
    EXPECT_TRUE(server_snapshot(field).is_set());
}

TEST(State, TheLockIsOne) {
    ASSERT_EQ(ntp_lock(), 0);
    EXPECT_EQ(pthread_mutex_trylock(&ntp_mutex), EBUSY);
    ASSERT_EQ(ntp_unlock(), 0);
    {
        const ntp_guard guard;
        EXPECT_EQ(pthread_mutex_trylock(&ntp_mutex), EBUSY);
    }
    EXPECT_EQ(pthread_mutex_trylock(&ntp_mutex), 0);
    pthread_mutex_unlock(&ntp_mutex);
}

TEST(State, TracesOnlyWithDebugOn) {
    testing::internal::CaptureStdout();
    debug_printf("hidden %d\n", 1);
    g_ntp_var.g_ntp_debug = 1;
    debug_printf("shown %d\n", 2);
    g_ntp_var.g_ntp_debug = 0;
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "shown 2\n");
}

} // namespace
