// SPDX-License-Identifier: GPL-2.0-or-later
//
// Starting, restarting and stopping the client.  All functions here are the
// event-loop thread's, and the reading end of the signal pipe is the client
// thread's.  That thread begins in control.cpp, too: there it opens its socket, on
// its way into primary_loop().
#pragma once

#include <cstdint>

/// Codes on the signal pipe, each one native 32-bit integer.
inline constexpr std::int32_t NTP_SIG_RESTART = 1;
inline constexpr std::int32_t NTP_SIG_STOP = 2;

/// Local stream sockets, made at start-up: the client thread reads element 0,
/// ntp_signal_handler() writes element 1.  -1 when there are none.
extern int ntp_signal_pipe[2];

/// Sends a code to the client thread.  Never waits: a full pipe loses the code
/// with a message on standard output.
void ntp_signal_handler(int code);

/// Switches NTP on: creates the client thread the first time, restarts it later.
/// A primary that is not set switches NTP off instead, with a message.
///
/// primary, secondary  the two server names; the thread reads the live fields,
///                     so that later changes reach it without a signal
///
/// Returns 0, or 4 when a name is null.  A thread that cannot be created leaves
/// everything as it was, with a message.
int ntp_server_config(const char *primary, const char *secondary);

/// Switches NTP off: stops the client if it was on.  Returns 0.
int ntp_server_disable();
