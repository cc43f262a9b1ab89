// SPDX-License-Identifier: GPL-2.0-or-later
//
// The operator's side of the client, with a socket pair but no client thread.
#include "client/control.h"

#include <csignal>
#include <semaphore>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include "client/signal_pipe.h"
#include "common/child_process.h"
#include "horad/state.h"
#include "ntp_state.h"

namespace {

using codes = std::vector<std::int32_t>;

class Control : public testing::Test {
  protected:
    void SetUp() override {
        open_signal_pipe();
        ASSERT_GE(ntp_signal_pipe[0], 0);
    }
    void TearDown() override {
        close(ntp_signal_pipe[0]);
        close(ntp_signal_pipe[1]);
        ntp_signal_pipe[0] = ntp_signal_pipe[1] = -1;
        ntp_status = 0;
        ntp_thread_state = 0;
        g_ntp_var.g_ntp_debug = 0;
        set_g_ntp_en(0);
    }

    /// As if the thread had been created before: restarts only send a code.
    static void pretend_thread_exists() { ntp_thread_state = 1; }

    static codes sent() {
        codes all;
        std::int32_t code = 0;
        while (recv(ntp_signal_pipe[0], &code, sizeof code, MSG_DONTWAIT) == sizeof code)
            all.push_back(code);
        return all;
    }
};

TEST_F(Control, CodesAreNativeIntegers) {
    ntp_signal_handler(1);
    ntp_signal_handler(2);
    ntp_signal_handler(-7);
    EXPECT_EQ(sent(), (codes{1, 2, -7}));
}

TEST_F(Control, AFullPipeLosesTheCodeWithAMessage) {
    const int fill = 0;
    while (send(ntp_signal_pipe[1], &fill, sizeof fill, MSG_DONTWAIT) == sizeof fill) {
    }
    testing::internal::CaptureStdout();
    ntp_signal_handler(NTP_SIG_STOP);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Could not send NTP signal: \n");
}

TEST_F(Control, NullNamesAreRefused) {
    pretend_thread_exists();
    EXPECT_EQ(ntp_server_config(nullptr, "10.0.0.2"), 4);
    EXPECT_EQ(ntp_server_config("10.0.0.1", nullptr), 4);
    EXPECT_EQ(ntp_status, 0);
    EXPECT_EQ(sent(), codes{});
}

TEST_F(Control, ARestartSendsItsCodeAndSwitchesOn) {
    pretend_thread_exists();
    EXPECT_EQ(ntp_server_config("10.0.0.1", "0.0.0.0"), 0);
    EXPECT_EQ(ntp_status, 1);
    EXPECT_EQ(g_ntp_var.g_ntp_en, 1);
    EXPECT_EQ(ntp_server_config("10.0.0.1", ""), 0);
    EXPECT_EQ(sent(), (codes{NTP_SIG_RESTART, NTP_SIG_RESTART}));
}

TEST_F(Control, ARestartTraces) {
    pretend_thread_exists();
    g_ntp_var.g_ntp_debug = 1;
    testing::internal::CaptureStdout();
    ntp_server_config("10.0.0.1", "0.0.0.0");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\r\n>>>>>>ntp client process thread is running, restart sig will be send!\r\n"
              "\r\n>>>>>>ntp_status =1, ntp_thread_state =1\r\n");
}

TEST_F(Control, WithoutAPrimaryItIsSwitchedOff) {
    pretend_thread_exists();
    ntp_server_config("10.0.0.1", "0.0.0.0");
    ASSERT_EQ(sent(), codes{NTP_SIG_RESTART});

    testing::internal::CaptureStdout();
    EXPECT_EQ(ntp_server_config("0.0.0.0", "10.0.0.2"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Please set ntp server ip firstly.\n");
    EXPECT_EQ(ntp_status, 0);
    EXPECT_EQ(g_ntp_var.g_ntp_en, 0);
    EXPECT_EQ(sent(), codes{NTP_SIG_STOP});
}

TEST_F(Control, WithoutAPrimaryNoThreadIsCreated) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(ntp_server_config("0.0.0.0", "0.0.0.0"), 0);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(ntp_thread_state, 0);
    EXPECT_EQ(ntp_status, 0);
    EXPECT_EQ(sent(), codes{});
}

TEST_F(Control, ASocketThatSelectCannotWatchIsRefused) {
    check_in_child([] {
        const rlimit enough{.rlim_cur = 2 * FD_SETSIZE, .rlim_max = 2 * FD_SETSIZE};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &enough), 0);
        const int said = memfd_create("stderr", 0);
        ASSERT_GE(dup2(said, STDERR_FILENO), 0);
        while (dup(said) < FD_SETSIZE - 1) {
        }
        ntp_server_config("10.0.0.1", "0.0.0.0");
        char text[100] = "";
        while (pread(said, text, sizeof text - 1, 0) <= 0) // the thread's; an alarm is set
            usleep(1000);
        EXPECT_STREQ(text, "net socker : Too many open files\n");
        while (fcntl(FD_SETSIZE, F_GETFD) >= 0) // until it has closed the socket, too
            usleep(1000);
    });
}

TEST_F(Control, ASignalPipeThatSelectCannotWatchIsNone) {
    check_in_child([] {
        const rlimit enough{.rlim_cur = 2 * FD_SETSIZE, .rlim_max = 2 * FD_SETSIZE};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &enough), 0);
        while (dup(STDERR_FILENO) < FD_SETSIZE - 1) {
        }
        open_signal_pipe();
        EXPECT_EQ(ntp_signal_pipe[0], -1);
        EXPECT_EQ(ntp_signal_pipe[1], -1);
        EXPECT_LT(fcntl(FD_SETSIZE, F_GETFD), 0);
        EXPECT_LT(fcntl(FD_SETSIZE + 1, F_GETFD), 0);
    });
}

/// How the client thread sees itself: noted where it tells that it has no socket.
struct thread_facts {
    sigset_t blocked;
    int detached = -1;
    std::binary_semaphore created{0};
    std::binary_semaphore noted{0};
} facts;

void note_facts() {
    facts.created.acquire();
    pthread_sigmask(SIG_BLOCK, nullptr, &facts.blocked);
    pthread_attr_t attributes;
    pthread_getattr_np(pthread_self(), &attributes);
    pthread_attr_getdetachstate(&attributes, &facts.detached);
    facts.noted.release();
}

TEST_F(Control, TheThreadLeavesTheDaemonsSignalsToTheEventLoop) {
    check_in_child([] {
        const rlimit none{.rlim_cur = 0, .rlim_max = 0};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
        horad_client_watch(note_facts);
        ntp_server_config("10.0.0.1", "0.0.0.0");
        EXPECT_EQ(ntp_thread_state, 1);
        EXPECT_EQ(ntp_status, 1);
        facts.created.release();
        facts.noted.acquire();
        sigset_t ours;
        pthread_sigmask(SIG_BLOCK, nullptr, &ours);
        for (const int signal : {SIGHUP, SIGUSR1, SIGINT, SIGTERM}) {
            EXPECT_EQ(sigismember(&facts.blocked, signal), 1) << signal;
            EXPECT_EQ(sigismember(&ours, signal), 0) << signal;
        }
        EXPECT_EQ(sigismember(&facts.blocked, SIGCHLD), 0); // it waits for a command
        EXPECT_EQ(facts.detached, PTHREAD_CREATE_DETACHED);
    });
}

TEST_F(Control, DisablingWhileDisabledSendsNothing) {
    set_g_ntp_en(1); // out of step, as a caller inside the process could leave it
    EXPECT_EQ(ntp_server_disable(), 0);
    EXPECT_EQ(ntp_status, 0);
    EXPECT_EQ(g_ntp_var.g_ntp_en, 0);
    EXPECT_EQ(sent(), codes{});
}

TEST_F(Control, DisablingSendsOneStop) {
    pretend_thread_exists();
    ntp_server_config("10.0.0.1", "0.0.0.0");
    sent();
    ntp_server_disable();
    ntp_server_disable();
    EXPECT_EQ(sent(), codes{NTP_SIG_STOP});
    EXPECT_EQ(ntp_thread_state, 1);
}

} // namespace
