// SPDX-License-Identifier: GPL-2.0-or-later
//
// Setting the clock from a reply and recording the step.  Client thread only.
#pragma once

#include <span>

#include "cli_helper/cli_helper.h"
#include "client/packet.h"
#include "client/reply_outcome.h"

/// What using a reply did.
struct reply_report {
    reply_outcome outcome;
    int error = 0;                  ///< why the clock could not be set (errno)
    std::int32_t stepped = 0;       ///< whole seconds, when the clock was set
    exchange_intervals intervals{}; ///< when the clock was set
};

/// Takes a reply apart and uses it at once: steps the system clock to the
/// server's transmit time, copies it to the hardware clock, records the step in
/// the configuration database and prints the statistics line on standard
/// output.  Every good reply steps the clock; nothing is filtered or averaged.
///
/// datagram  the reply's first 48 bytes
/// arrival   T4, taken once the sender is known to be the server: after the look-up of its name
/// request   the last request; its bytes are left in the change log's record
///
/// A kernel whose clock frequency cannot be read ends the process (status 1).
[[nodiscard]] reply_report rfc1305print(std::span<const std::uint8_t, ntp_packet_size> datagram,
                                        ntp_timestamp arrival,
                                        const request_bytes &request) noexcept;

/// The change log's record of a clock step: the request's bytes with two
/// numbers (in host order) and zeros over its first 32.
[[nodiscard]] cli_log_record clock_change_record(const request_bytes &request) noexcept;

/// The time that a reply sets: its transmit time as it stands.
[[nodiscard]] timeval target_time(const ntp_reply &reply) noexcept;

/// Judges a reply after the step by the network delay it claims: a server that
/// held the request longer than the round trip took cannot be right.
[[nodiscard]] reply_outcome judge_delay(double slop_microseconds) noexcept;
