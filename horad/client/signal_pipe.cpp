// SPDX-License-Identifier: GPL-2.0-or-later
#include "client/signal_pipe.h"

#include <cstdio>

#include <sys/socket.h>

int ntp_signal_pipe[2] = {-1, -1};

void open_signal_pipe() noexcept { socketpair(AF_UNIX, SOCK_STREAM, 0, ntp_signal_pipe); }

void ntp_signal_handler(int code) noexcept {
    const std::int32_t message = code;
    if (send(ntp_signal_pipe[1], &message, sizeof message, MSG_DONTWAIT) < 0)
        std::puts("Could not send NTP signal: ");
}
