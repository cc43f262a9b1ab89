// SPDX-License-Identifier: GPL-2.0-or-later
#include "client/packet.h"

namespace {

void put_word(request_bytes &bytes, std::size_t offset, std::uint32_t word) {
    for (std::size_t i = 0; i < 4; ++i)
        bytes[offset + i] = static_cast<std::uint8_t>(word >> (24 - 8 * i));
}

std::uint32_t get_word(std::span<const std::uint8_t, ntp_packet_size> bytes, std::size_t offset) {
    std::uint32_t word = 0;
    for (std::size_t i = 0; i < 4; ++i)
        word = word << 8 | bytes[offset + i];
    return word;
}

} // namespace

request_bytes make_request(const timeval &now) noexcept {
    constexpr std::uint32_t one_second = 0x00010000; // 16.16
    constexpr std::uint8_t precision = 0xFA;         // 2^-6 s
    request_bytes bytes{0x1B, 0, 4, precision};      // leap 0, version 3, mode 3; poll 2^4 s
    put_word(bytes, 4, one_second);
    put_word(bytes, 8, one_second);
    const ntp_timestamp transmit = ntp_timestamp_from(now);
    put_word(bytes, 40, transmit.seconds);
    put_word(bytes, 44, transmit.fraction);
    return bytes;
}

ntp_reply parse_reply(std::span<const std::uint8_t, ntp_packet_size> bytes) noexcept {
    const auto timestamp_at = [&](std::size_t offset) {
        return ntp_timestamp{get_word(bytes, offset), get_word(bytes, offset + 4)};
    };
    return {
        .leap = static_cast<std::uint8_t>(bytes[0] >> 6),
        .version = static_cast<std::uint8_t>(bytes[0] >> 3 & 7),
        .mode = static_cast<std::uint8_t>(bytes[0] & 7),
        .stratum = bytes[1],
        .poll = bytes[2],
        .precision = static_cast<std::int8_t>(bytes[3]),
        .root_delay = static_cast<std::int32_t>(get_word(bytes, 4)),
        .root_dispersion = static_cast<std::int32_t>(get_word(bytes, 8)),
        .reference_id = get_word(bytes, 12),
        .reference = timestamp_at(16),
        .originate = timestamp_at(24),
        .receive = timestamp_at(32),
        .transmit = timestamp_at(40),
    };
}

exchange_intervals measure_exchange(const ntp_reply &reply, ntp_timestamp arrival) noexcept {
    const double elapsed = microseconds_between(arrival, reply.originate);
    const double stall = microseconds_between(reply.transmit, reply.receive);
    const double there = microseconds_between(reply.receive, reply.originate);
    const double back = microseconds_between(arrival, reply.transmit);
    return {elapsed, stall, elapsed - stall, (there - back) / 2};
}
