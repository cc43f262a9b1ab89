// SPDX-License-Identifier: GPL-2.0-or-later
//
// The client thread's loop: waits, asks servers, obeys the operator's signals.
#pragma once

/// Polls the servers for ever on a UDP socket bound to the NTP port.  The
/// socket must be below FD_SETSIZE.  Client thread only.
[[noreturn]] void primary_loop(int socket);
