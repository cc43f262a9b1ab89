// SPDX-License-Identifier: GPL-2.0-or-later
//
// Only what needs no network but one of its own: dotted addresses, and a name that
// can never be an IPv4 host.
#include "client/exchange.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>
#include <tuple>

#include <arpa/inet.h>
#include <sched.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include "common/child_process.h"
#include "common/configured_servers.h"
#include "common/output.h"
#include "horad/state.h"
#include "ntp_state.h"

namespace {

constexpr char no_host[] = "::1";

sockaddr_in sender_at(const char *address, in_port_t port) {
    sockaddr_in sender{};
    sender.sin_family = AF_INET;
    sender.sin_port = htons(port);
    inet_pton(AF_INET, address, &sender.sin_addr);
    return sender;
}

class Exchange : public configured_servers {
  protected:
    Exchange() : configured_servers("127.0.0.2", "127.0.0.3") {}
};

TEST_F(Exchange, TheSourceIsTheServerAskedFromAnyPort) {
    EXPECT_TRUE(check_source(sender_at("127.0.0.2", 123), ntp_server::primary));
    EXPECT_TRUE(check_source(sender_at("127.0.0.2", 40000), ntp_server::primary));
    EXPECT_FALSE(check_source(sender_at("127.0.0.3", 123), ntp_server::primary));
    EXPECT_TRUE(check_source(sender_at("127.0.0.3", 123), ntp_server::secondary));
}

TEST_F(Exchange, TheSourceFollowsTheConfiguredName) {
    store_server(g_ntp_var.g_pri_ntp_server, "127.0.0.4");
    EXPECT_FALSE(check_source(sender_at("127.0.0.2", 123), ntp_server::primary));
    EXPECT_TRUE(check_source(sender_at("127.0.0.4", 123), ntp_server::primary));
}

TEST_F(Exchange, TheSourceOfANameWithoutAddressIsNobody) {
    store_server(g_ntp_var.g_pri_ntp_server, no_host);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_FALSE(check_source(sender_at("127.0.0.2", 123), ntp_server::primary));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "ntp get host by name failed\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr().rfind("::1: ", 0), 0U);
}

TEST_F(Exchange, TheSourceCheckDoesNotWaitForTheLock) {
    const ntp_guard lock;
    EXPECT_TRUE(check_source(sender_at("127.0.0.2", 123), ntp_server::primary));
}

TEST_F(Exchange, ANameWithoutAddressIsNotSentTo) {
    store_server(g_ntp_var.g_sec_ntp_server, no_host);
    request_bytes request{};
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_FALSE(ntp_send_packet(-1, ntp_server::secondary, request));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "ntp get host by name failed\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr().rfind("::1: ", 0), 0U);
    EXPECT_EQ(request[0], 0x1B); // built all the same
    EXPECT_EQ(pthread_mutex_trylock(&ntp_mutex), 0) << "the lock was kept";
    ntp_unlock();
}

TEST_F(Exchange, AFailedSendSaysWhy) {
    request_bytes request{};
    testing::internal::CaptureStderr();
    EXPECT_FALSE(ntp_send_packet(-1, ntp_server::primary, request));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "send NTP packet: Bad file descriptor\n");
}

TEST_F(Exchange, TheTraceNamesTheServer) {
    request_bytes request{};
    g_ntp_var.g_ntp_debug = 1;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    std::ignore = ntp_send_packet(-1, ntp_server::primary, request);
    std::ignore = ntp_send_packet(-1, ntp_server::secondary, request);
    g_ntp_var.g_ntp_debug = 0;
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\r\n ntp_send_packet: sendto 127.0.0.2. 305\n\r"
              "\r\n ntp_send_packet: sendto 127.0.0.3. 305\n\r");
}

TEST_F(Exchange, ASendingLooksNoNameUpThatIsBeingChanged) {
    store_server(g_ntp_var.g_pri_ntp_server, "127.0.0.9");
    const auto name_looked_up = [] {
        struct horad_client_status status;
        horad_client_status(&status);
        return std::string(status.server_name);
    };
    testing::internal::CaptureStderr();
    ntp_lock();
    std::thread client([] {
        request_bytes request{};
        std::ignore = ntp_send_packet(-1, ntp_server::primary, request);
    });
    // Long enough for one that does not wait.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_NE(name_looked_up(), "127.0.0.9");
    ntp_unlock();
    client.join();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(name_looked_up(), "127.0.0.9");
}

TEST_F(Exchange, TheHardwareClocksCommandDoesNotKeepThePort) {
    check_in_child([] {
        ASSERT_EQ(unshare(CLONE_NEWNET), 0);
        const int ended = open_client_socket();
        ASSERT_GE(ended, 0);
        // It outlives the daemon when that is told to end meanwhile.
        ASSERT_EQ(std::system("sleep 1 &"), 0); // NOLINT(cert-env33-c,concurrency-mt-unsafe)
        close(ended);
        EXPECT_GE(open_client_socket(), 0) << "of the daemon that is started next";
    });
}

TEST_F(Exchange, APortThatIsTakenIsToldAndItsSocketClosed) {
    check_in_child([] {
        ASSERT_EQ(unshare(CLONE_NEWNET), 0);
        const int first = open_client_socket();
        ASSERT_GE(first, 0);
        sockaddr_in bound{};
        socklen_t size = sizeof bound;
        ASSERT_EQ(getsockname(first, reinterpret_cast<sockaddr *>(&bound), &size), 0);
        EXPECT_EQ(bound.sin_addr.s_addr, htonl(INADDR_ANY));
        EXPECT_EQ(bound.sin_port, htons(123));

        const auto open_files = [] {
            const std::filesystem::directory_iterator files("/proc/self/fd");
            return std::distance(begin(files), end(files));
        };
        const auto before = open_files();
        EXPECT_EQ(complained_by([] { EXPECT_EQ(open_client_socket(), -1); }),
                  "ntp_client_process 2: Address already in use\n");
        EXPECT_EQ(open_files(), before) << "the socket was kept";
        struct horad_client_status status;
        horad_client_status(&status);
        EXPECT_EQ(status.state, HORAD_CLIENT_DEAD);
        EXPECT_STREQ(status.reason, "bind: Address already in use");
    });
}

} // namespace
