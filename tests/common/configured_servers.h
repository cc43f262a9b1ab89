// SPDX-License-Identifier: GPL-2.0-or-later
//
// Both servers of the record, set for the length of one test.
#pragma once

#include <gtest/gtest.h>

#include "ntp_state.h"

class configured_servers : public testing::Test {
  protected:
    configured_servers(const server_name &primary, const server_name &secondary) {
        store_server(g_ntp_var.g_pri_ntp_server, primary);
        store_server(g_ntp_var.g_sec_ntp_server, secondary);
    }
    ~configured_servers() override {
        store_server(g_ntp_var.g_pri_ntp_server, server_not_set);
        store_server(g_ntp_var.g_sec_ntp_server, server_not_set);
    }
};
