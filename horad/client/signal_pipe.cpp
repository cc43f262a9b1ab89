// SPDX-License-Identifier: GPL-2.0-or-later
#include "client/signal_pipe.h"

#include <cstdio>

#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

int ntp_signal_pipe[2] = {-1, -1};

void open_signal_pipe() noexcept {
    socketpair(AF_UNIX, SOCK_STREAM, 0, ntp_signal_pipe);
    if (ntp_signal_pipe[0] < FD_SETSIZE)
        return;
    // Whoever started the daemon left it many open files: select() cannot watch this one.
    for (int &end : ntp_signal_pipe) {
        close(end);
        end = -1;
    }
}

void ntp_signal_handler(int code) noexcept {
    const std::int32_t message = code;
    if (send(ntp_signal_pipe[1], &message, sizeof message, MSG_DONTWAIT) < 0)
        std::puts("Could not send NTP signal: ");
}
