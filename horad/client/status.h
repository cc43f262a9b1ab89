// SPDX-License-Identifier: GPL-2.0-or-later
//
// What the client thread tells of itself, for horad_client_status().
//
// The thread notes its events in a record of its own, and publishes the record when it is
// about to wait or to look a name up.  Client thread only, but for note_no_thread(), which
// is called while there is none.
#pragma once

#include <cstddef>

#include <netinet/in.h>

#include "client/clock.h"
#include "client/schedule.h"

namespace client_status {

/// The thread could not be created.
void note_no_thread(int error) noexcept;
/// The thread cannot have its socket, and ends.  `call` is what failed.
void note_dead(const char *call, int error) noexcept;

void note_restarted() noexcept;
void note_stopped() noexcept;

/// A look-up begins, which may take long: published at once.
void note_look_up(ntp_server server, const char *name) noexcept;
/// Its end brings the state back that the client was in.
void note_address(in_addr address) noexcept;
void note_look_up_failed(const char *why) noexcept;

/// A request is about to go out: the wait for an answer to the one before it is over.
void note_request_due() noexcept;
void note_request_sent() noexcept;
void note_send_failed(int error) noexcept;
/// After either failure of a request.
void note_no_request() noexcept;

void note_receive_failed(const char *call, int error) noexcept;
void note_wrong_length(in_addr sender, std::size_t length) noexcept;
void note_foreign_address() noexcept;
void note_reply(const reply_report &report) noexcept;

/// Publishes what was noted since, if anything was, with the server whose turn it is and
/// when it is going to be asked: at the end of the schedule's wait, from now.
void publish(const poll_schedule &schedule) noexcept;

} // namespace client_status
