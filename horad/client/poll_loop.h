// SPDX-License-Identifier: GPL-2.0-or-later
//
// The client thread's loop: waits, asks servers, obeys the operator's signals.
#pragma once

/// The client thread's body, as pthread_create() wants it: names the thread, opens its
/// socket and polls.  Without a socket it ends, and later restarts reach nobody: the daemon
/// has to be started anew.
void *ntp_client_process(void *unused) noexcept;

/// Polls the servers for ever on a UDP socket bound to the NTP port.  The
/// socket must be below FD_SETSIZE.  Client thread only.
[[noreturn]] void primary_loop(int socket) noexcept;
