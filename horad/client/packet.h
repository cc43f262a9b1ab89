// SPDX-License-Identifier: GPL-2.0-or-later
//
// The NTP packet: the one request we send, and a reply taken apart.  Pure.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "client/ntp_time.h"

inline constexpr std::size_t ntp_packet_size = 48;

/// Room for one datagram; longer ones are cut to this by the receive call.
inline constexpr std::size_t receive_buffer_size = 1300;

using request_bytes = std::array<std::uint8_t, ntp_packet_size>;

/// The client request as sent at a local time: version 3, mode 3, with that
/// time as its transmit timestamp.
[[nodiscard]] request_bytes make_request(const timeval &now) noexcept;

/// A reply's fields as sent, in host order.
struct ntp_reply {
    std::uint8_t leap;            ///< 0..3
    std::uint8_t version;         ///< 0..7
    std::uint8_t mode;            ///< 0..7
    std::uint8_t stratum;         ///< 0..255
    std::uint8_t poll;            ///< 0..255
    std::int8_t precision;        ///< log2 seconds
    std::int32_t root_delay;      ///< 16.16 s
    std::int32_t root_dispersion; ///< 16.16 s
    std::uint32_t reference_id;
    ntp_timestamp reference;
    ntp_timestamp originate; ///< T1: when the request left, as we told the server
    ntp_timestamp receive;   ///< T2: when it reached the server
    ntp_timestamp transmit;  ///< T3: when the reply left the server
};

/// Takes the first 48 bytes of a datagram apart.  Any bytes make a reply.
[[nodiscard]] ntp_reply parse_reply(std::span<const std::uint8_t, ntp_packet_size> bytes) noexcept;

/// Whether a datagram of that many bytes may be a reply: 48..1299.  A buffer
/// that came back full may have been cut, so 1300 is refused.
constexpr bool is_reply_length(std::size_t length) noexcept {
    return length >= ntp_packet_size && length < receive_buffer_size;
}

/// Whether the clock could be set to a reply's transmit time.  This is the only
/// field that decides: leap, version, mode, stratum and the echoed timestamp
/// are not looked at, so an unsynchronised server is believed.
constexpr bool has_usable_transmit_time(const ntp_reply &reply) noexcept {
    return reply.transmit.seconds != 0 && reply.transmit.seconds != 0xFFFFFFFFU;
}

/// A 16.16 fixed-point number of seconds in microseconds.
constexpr double microseconds_from_short(std::int32_t value) noexcept {
    return value * 15.2587890625;
}

/// What one exchange tells about the network and the clocks, in microseconds.
struct exchange_intervals {
    double elapsed; ///< round trip as the client saw it, T4 - T1
    double stall;   ///< how long the server held the request, T3 - T2
    double slop;    ///< network delay, elapsed - stall
    double skew;    ///< clock offset, server minus client
};

/// arrival  T4, when the reply reached us
[[nodiscard]] exchange_intervals measure_exchange(const ntp_reply &reply,
                                                  ntp_timestamp arrival) noexcept;
