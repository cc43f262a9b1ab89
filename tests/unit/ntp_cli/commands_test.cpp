// SPDX-License-Identifier: GPL-2.0-or-later
//
// Commands in a state that no command leads to.
#include "ntp_cli/ntp_cli.h"

#include <string>

#include <fcntl.h>

#include <gtest/gtest.h>

#include <zebra.h>

#include "buffer.h"
#include "command.h"
#include "memory.h"
#include "thread.h"
#include "vty.h"

#include "ntp_state.h"

namespace {

/// What a line typed in the daemon's node answers.
std::string answer(const char *line) {
    static const bool ready = [] {
        cmd_init(0);
        vty_init(thread_master_create(nullptr), false);
        ntp_cli_init();
        return true;
    }();
    EXPECT_TRUE(ready);
    vty *const session = vty_new();
    session->type = vty::VTY_FILE;
    session->wfd = open("/dev/null", O_WRONLY | O_CLOEXEC);
    session->node = CONFIG_NODE;
    EXPECT_EQ(cmd_execute(session, "ntp", nullptr, 0), CMD_SUCCESS);
    EXPECT_EQ(cmd_execute(session, line, nullptr, 0), CMD_SUCCESS);
    char *text = buffer_getstr(session->obuf);
    const std::string copy = text;
    XFREE(MTYPE_TMP, text);
    vty_close(session);
    return copy;
}

TEST(SecondServer, NeedsAPrimary) {
    store_server(g_ntp_var.g_sec_ntp_server, server_not_set);
    store_server(g_ntp_var.g_pri_ntp_server, "");
    EXPECT_EQ(answer("second ntp server2 host"), "Master ip address have not set.\r\n");
    EXPECT_STREQ(g_ntp_var.g_sec_ntp_server, server_not_set);

    store_server(g_ntp_var.g_pri_ntp_server, server_not_set); // is one, for this command
    EXPECT_EQ(answer("second ntp server2 host"), "");
    EXPECT_STREQ(g_ntp_var.g_sec_ntp_server, "host");
    store_server(g_ntp_var.g_sec_ntp_server, server_not_set);
}

} // namespace
