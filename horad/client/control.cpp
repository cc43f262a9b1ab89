// SPDX-License-Identifier: GPL-2.0-or-later
#include "client/control.h"

#include <cerrno>
#include <csignal>
#include <cstdio>

#include <netinet/in.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include "client/exchange.h"
#include "client/poll_loop.h"
#include "ntp_state.h"

int ntp_signal_pipe[2] = {-1, -1};

namespace {

/// A UDP socket that select() can watch; its set has no room for a descriptor
/// that high, which hundreds of open sessions can lead to.
int open_watchable_socket() {
    const int fd = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
    if (fd >= FD_SETSIZE) {
        close(fd);
        errno = EMFILE;
        return -1;
    }
    return fd;
}

/// An IPv4 UDP socket bound to the NTP port, or -1 with the reason on standard
/// error.
int open_client_socket() {
    const int fd = open_watchable_socket();
    if (fd < 0) {
        std::perror("net socker ");
        return -1;
    }
    debug_printf("\r\n ntp client process : socket OK.\n\r");

    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_port = htons(ntp_port);
    local.sin_addr.s_addr = htonl(INADDR_ANY);
    if (bind(fd, reinterpret_cast<const sockaddr *>(&local), sizeof local) < 0) {
        std::perror("ntp_client_process 2");
        close(fd);
        return -1;
    }
    debug_printf("\r\n ntp client process : bind OK.\n\r");
    return fd;
}

/// The client thread.  When it cannot have its socket it ends, and later
/// restarts find nobody: the daemon has to be started anew.
void *ntp_client_process(void * /*unused*/) {
    prctl(PR_SET_NAME, "ntpClient");
    const int fd = open_client_socket();
    if (fd < 0)
        return nullptr;
    primary_loop(fd);
}

/// Creates the client thread with the daemon's signals blocked: the event loop
/// only wakes up for those that reach its own thread.  The command that sets the
/// hardware clock inherits this: it goes on when the daemon is told to end.
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

void ntp_signal_handler(int code) {
    const std::int32_t message = code;
    if (send(ntp_signal_pipe[1], &message, sizeof message, MSG_DONTWAIT) < 0)
        std::puts("Could not send NTP signal: ");
}

int ntp_server_config(const char *primary, const char *secondary) {
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
        if (create_client_thread(&thread) != 0) {
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

int ntp_server_disable() {
    if (ntp_status == 1)
        ntp_signal_handler(NTP_SIG_STOP);
    set_enabled(0);
    return 0;
}
