// SPDX-License-Identifier: GPL-2.0-or-later
#include "udp_port.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

constexpr char table[] =
    "   sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout "
    "inode ref pointer drops\n"
    "  123: 00000000:007B 00000000:0000 07 00000000:00000000 00:00000000 00000000     0        0 "
    "18265 2 0000000000000000 0\n"
    "  124: 0100007F:0035 00000000:007B 07 00000000:00000000 00:00000000 00000000     0        0 "
    "4711 2 0000000000000000 0\n"
    "  125: 00000000000000000000000000000000:007B 00000000000000000000000000000000:0000 07 "
    "00000000:00000000 00:00000000 00000000     0        0 18266 2 0000000000000000 0\n";

using inodes = std::vector<unsigned long>;

TEST(UdpPort, IsThatOfTheLocalAddress) {
    EXPECT_EQ(sockets_at(table, 123), (inodes{18265, 18266}));
    EXPECT_EQ(sockets_at(table, 53), inodes{4711});
    EXPECT_EQ(sockets_at(table, 124), inodes{});
}

TEST(UdpPort, OfABrokenTableIsNobodys) {
    EXPECT_EQ(sockets_at("", 123), inodes{});
    EXPECT_EQ(sockets_at("a b c d e f g h i j k\n:007B :007B\n", 123), inodes{});
}

TEST(UdpPort, NeedsNothingAfterTheInode) {
    EXPECT_EQ(sockets_at("1: 00000000:007B 2 3 4 5 6 7 8 4711\n", 123), inodes{4711});
    EXPECT_EQ(sockets_at("1: 00000000:007B 2 3 4 5 6 7 8\n", 123), inodes{});
}

TEST(UdpPort, OfAnUnknownProcessIsUnknown) { EXPECT_EQ(find_port_holder(0), port_holder::unknown); }

TEST(UdpPort, HoldersHaveNames) {
    EXPECT_STREQ(name_of(port_holder::nobody), "nobody");
    EXPECT_STREQ(name_of(port_holder::daemon), "the daemon");
    EXPECT_STREQ(name_of(port_holder::another), "another program");
    EXPECT_STREQ(name_of(port_holder::unknown), "unknown");
}

} // namespace
