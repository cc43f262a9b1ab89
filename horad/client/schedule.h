// SPDX-License-Identifier: GPL-2.0-or-later
//
// When to send the next request, and to which server.  A record and the events
// that change it: no sockets, no clock, no lock.
//
//   two silent servers:  primary 0, 30, 150 s; secondary 150, 180, 300 s; ...
//   one silent server:   0, 30, 150, 270 s, then every 120 s
//   after a good reply:  in seven days
#pragma once

#include <sys/time.h>

#include "client/ntp_server.h"
#include "client/reply_outcome.h"

/// Waits, in seconds.
inline constexpr int wait_none = 0;
inline constexpr int wait_soon = 10;           ///< after a reply that cannot be right
inline constexpr int wait_first_answer = 30;   ///< for the answer to a first request
inline constexpr int wait_answer = 120;        ///< for any other answer
inline constexpr int wait_after_trouble = 300; ///< after a bad datagram or a failed step
inline constexpr int wait_week = 604800;       ///< after a good reply, and while stopped

/// The wait after a reply, in seconds.
[[nodiscard]] int wait_after(reply_outcome outcome) noexcept;

/// Requests without a reset after which the other server gets its turn.
inline constexpr int requests_per_server = 3;

/// What to do when a wait ended with nothing to read.
enum class idle_action { stay_stopped, keep_waiting, send_request };

struct poll_schedule {
    /// Time-out of the next select(), which leaves the time that was left in
    /// it: a wait runs down across wake-ups.
    timeval wait{wait_none, 0};
    ntp_server ntp_cur_server = ntp_server::primary;
    /// The next request is the first since the start, a signal, or a switch for
    /// lack of answers.
    bool first_request = true;
    /// Requests since the last switch for lack of answers, or signal.  Good
    /// replies do not reset it, so that every third request changes servers.
    int unanswered_requests = 0;
    bool ntp_is_stop = false;

    // Events of the operator.
    void on_restart() noexcept;
    void on_stop() noexcept;

    // Events of select().
    void on_interrupted() noexcept;
    [[nodiscard]] idle_action on_idle() noexcept;
    void on_datagram_while_stopped() noexcept;

    // Events of a request.  Both return whether the server was switched;
    // has_secondary: a secondary server is set (an empty one counts as set).
    bool on_request_failed(bool has_secondary) noexcept;
    bool on_request_sent(bool has_secondary) noexcept;

    // Events of a datagram.  A datagram from elsewhere or a receive error is
    // none: the wait goes on as it was.
    void on_bad_length() noexcept;
    /// Returns whether the server was switched, as it is after every reply but one
    /// that set the clock with nothing wrong about it.
    bool on_reply(reply_outcome outcome, bool has_secondary) noexcept;

  private:
    void set_wait(int seconds) noexcept { wait = {seconds, 0}; }
    void begin_again(int wait_seconds) noexcept;
    void switch_server() noexcept { ntp_cur_server = other_server(ntp_cur_server); }
};
