// SPDX-License-Identifier: GPL-2.0-or-later
#include "client/control.h"

#include <csignal>
#include <cstdint>
#include <cstdio>

#include <pthread.h>

#include "client/poll_loop.h"
#include "client/signal_pipe.h"
#include "client/status.h"
#include "ntp_state.h"

namespace {

/// Creates the client thread with the daemon's signals blocked: a signal only wakes
/// the event loop when it reaches that loop's own thread.  The command that sets the
/// hardware clock inherits this, and goes on when the daemon is told to end.
int create_client_thread(pthread_t *thread) {
    sigset_t ours;
    sigset_t before;
    sigemptyset(&ours);
    for (const int signal : {SIGHUP, SIGUSR1, SIGINT, SIGTERM})
        sigaddset(&ours, signal);
    pthread_sigmask(SIG_BLOCK, &ours, &before);
    const int error = pthread_create(thread, nullptr, ntp_client_process, nullptr);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return error;
}

void set_enabled(std::int32_t enabled) {
    ntp_status = enabled;
    set_g_ntp_en(enabled);
}

} // namespace

int ntp_server_config(const char *primary, const char *secondary) noexcept {
    constexpr int null_name = 4;
    if (primary == nullptr || secondary == nullptr)
        return null_name;
    if (!server_is_set(primary)) {
        std::puts("Please set ntp server ip firstly.");
        return ntp_server_disable();
    }
    if (ntp_thread_state == 1) {
        debug_printf("\r\n>>>>>>ntp client process thread is running, "
                     "restart sig will be send!\r\n");
        ntp_signal_handler(NTP_SIG_RESTART);
    } else {
        debug_printf("\r\n>>>>>>creating ntp client process thread.\r\n");
        pthread_t thread{};
        if (const int error = create_client_thread(&thread); error != 0) {
            client_status::note_no_thread(error);
            std::puts("\r\n Msg:Create ntp_client_process thread error!\r");
            return 0;
        }
        debug_printf("\r\n>>>>>>detach ntp thread. id=%lu\r\n", thread);
        pthread_detach(thread);
        ntp_thread_state = 1;
    }
    set_enabled(1);
    debug_printf("\r\n>>>>>>ntp_status =%d, ntp_thread_state =%d\r\n", ntp_status,
                 ntp_thread_state);
    return 0;
}

int ntp_server_disable() noexcept {
    if (ntp_status == 1)
        ntp_signal_handler(NTP_SIG_STOP);
    set_enabled(0);
    return 0;
}
