// SPDX-License-Identifier: GPL-2.0-or-later
//
// The client's loop without a network: what it makes of the signal pipe.
#include "client/poll_loop.h"

#include <cstdio>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include "client/signal_pipe.h"
#include "common/child_process.h"
#include "ntp_state.h"

namespace {

constexpr char waiting[] = "\r\n primary_loop: enter for (;;).642\n\r";

/// What is printed after so many bytes until the loop waits again.
std::string printed_after(int file, std::size_t before) {
    std::string all;
    while (all.size() <= before || !all.ends_with(waiting)) { // an alarm is set
        usleep(1000);
        std::fflush(stdout);
        all.resize(static_cast<std::size_t>(lseek(file, 0, SEEK_END)));
        if (pread(file, all.data(), all.size(), 0) != static_cast<ssize_t>(all.size()))
            return "(cannot be read)";
    }
    return all.substr(before);
}

/// Starts a loop that has no socket, in a child whose standard output is a file.
int start_loop() {
    const int file = memfd_create("stdout", MFD_CLOEXEC);
    EXPECT_GE(dup2(file, STDOUT_FILENO), 0);
    const int nowhere = memfd_create("stderr", MFD_CLOEXEC);
    EXPECT_GE(dup2(nowhere, STDERR_FILENO), 0);
    open_signal_pipe();
    g_ntp_var.g_ntp_debug = 1;
    std::thread([] { primary_loop(-1); }).detach();
    return file;
}

constexpr char readable[] = "\r\n primary_loop: ISSET ntp_signal_pipe[0].749\n\r";
constexpr char handled[] = "\r\n primary_loop: continue(FD_ISSET(ntp_signal_pipe)).789\n\r";

TEST(PollLoop, EverySignalIsReadWholeAndTold) {
    check_in_child([] {
        const int file = start_loop();
        std::size_t size = 0;
        while (true) { // until it waits for the answer to its first request
            const std::string text = printed_after(file, size);
            size += text.size();
            if (text.find(".742") != std::string::npos)
                break;
        }
        const auto tell = [&](int code, const std::string &expected) {
            ntp_signal_handler(code);
            const std::string text = printed_after(file, size);
            EXPECT_EQ(text, readable + expected + handled + waiting) << code;
            size += text.size();
        };
        tell(NTP_SIG_STOP, "\r\n primary_loop: NTP_SIG_STOP.776\n\r");
        tell(7, "ntp read signal pipe failed\r\n"
                "\r\n primary_loop: ntp read signal pipe failed.784\n\r");
        tell(NTP_SIG_STOP, "\r\n primary_loop: NTP_SIG_STOP.776\n\r");
    });
}

} // namespace
