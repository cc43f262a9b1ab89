// SPDX-License-Identifier: GPL-2.0-or-later
//
// How the event-loop thread tells the client thread what the operator wants.
#pragma once

#include <cstdint>

/// Codes on the signal pipe, each one native 32-bit integer.
inline constexpr std::int32_t NTP_SIG_RESTART = 1;
inline constexpr std::int32_t NTP_SIG_STOP = 2;

/// Local stream sockets: the client thread reads element 0, ntp_signal_handler()
/// writes element 1.  -1 when there are none.
extern int ntp_signal_pipe[2];

/// Makes the pipe, at start-up.  If that fails, or select() could not watch it (FD_SETSIZE),
/// no code ever reaches the client; ntp_signal_handler() says so each time.
void open_signal_pipe() noexcept;

/// Sends a code to the client thread.  Never waits: a full pipe loses the code
/// with a message on standard output.
void ntp_signal_handler(int code) noexcept;
