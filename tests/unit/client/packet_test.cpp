// SPDX-License-Identifier: GPL-2.0-or-later
#include "client/packet.h"

#include <vector>

#include <gtest/gtest.h>

namespace {

TEST(Request, IsTheseBytes) {
    const request_bytes expected{
        0x1B,
        0,
        4,
        0xFA, // leap 0, version 3, mode 3; stratum; poll; precision -6
        0x00,
        0x01,
        0x00,
        0x00, // root delay 1 s
        0x00,
        0x01,
        0x00,
        0x00, // root dispersion 1 s
        0,
        0,
        0,
        0, // reference identifier
        0,
        0,
        0,
        0,
        0,
        0,
        0,
        0, // reference
        0,
        0,
        0,
        0,
        0,
        0,
        0,
        0, // originate
        0,
        0,
        0,
        0,
        0,
        0,
        0,
        0, // receive
        // transmit: 2025-01-01 00:00:00.5 UTC
        0xEB,
        0x1F,
        0x04,
        0x00,
        0x7F,
        0xFF,
        0xFF,
        0xFA,
    };
    EXPECT_EQ(make_request({1735689600, 500000}), expected);
}

TEST(Request, WrapsItsTimeAfter2036) {
    const request_bytes bytes = make_request({2085978497, 0});
    EXPECT_EQ(std::vector<std::uint8_t>(bytes.begin() + 40, bytes.end()),
              (std::vector<std::uint8_t>{0, 0, 0, 1, 0, 0, 0, 0}));
}

std::array<std::uint8_t, ntp_packet_size> numbered_bytes() {
    std::array<std::uint8_t, ntp_packet_size> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>(0xA0 + i);
    return bytes;
}

TEST(Reply, EveryFieldComesFromItsPlace) {
    auto bytes = numbered_bytes();
    bytes[0] = 0b11'100'101;
    const ntp_reply reply = parse_reply(bytes);
    EXPECT_EQ(reply.leap, 3);
    EXPECT_EQ(reply.version, 4);
    EXPECT_EQ(reply.mode, 5);
    EXPECT_EQ(reply.stratum, 0xA1);
    EXPECT_EQ(reply.poll, 0xA2); // never negative
    EXPECT_EQ(reply.precision, 0xA3 - 256);
    EXPECT_EQ(reply.root_delay, static_cast<std::int32_t>(0xA4A5A6A7U));
    EXPECT_EQ(reply.root_dispersion, static_cast<std::int32_t>(0xA8A9AAABU));
    EXPECT_EQ(reply.reference_id, 0xACADAEAFU);
    EXPECT_EQ(reply.reference, (ntp_timestamp{0xB0B1B2B3U, 0xB4B5B6B7U}));
    EXPECT_EQ(reply.originate, (ntp_timestamp{0xB8B9BABBU, 0xBCBDBEBFU}));
    EXPECT_EQ(reply.receive, (ntp_timestamp{0xC0C1C2C3U, 0xC4C5C6C7U}));
    EXPECT_EQ(reply.transmit, (ntp_timestamp{0xC8C9CACBU, 0xCCCDCECFU}));
}

TEST(Reply, LengthsFrom48To1299AreAccepted) {
    EXPECT_FALSE(is_reply_length(0));
    EXPECT_FALSE(is_reply_length(47));
    EXPECT_TRUE(is_reply_length(48));
    EXPECT_TRUE(is_reply_length(1299));
    EXPECT_FALSE(is_reply_length(1300));
}

TEST(Reply, OnlyItsTransmitSecondsDecide) {
    ntp_reply reply = parse_reply(numbered_bytes());
    EXPECT_TRUE(has_usable_transmit_time(reply));
    reply.transmit.seconds = 0;
    EXPECT_FALSE(has_usable_transmit_time(reply));
    reply.transmit.seconds = 0xFFFFFFFFU;
    EXPECT_FALSE(has_usable_transmit_time(reply));
    reply.transmit.seconds = 0xFFFFFFFEU;
    EXPECT_TRUE(has_usable_transmit_time(reply));

    ntp_reply odd{};
    odd.leap = 3;
    odd.transmit = {1, 0};
    EXPECT_TRUE(has_usable_transmit_time(odd));
}

TEST(Reply, RootValuesAreSignedFixedPoint) {
    EXPECT_EQ(microseconds_from_short(0x00010000), 1000000.0);
    EXPECT_EQ(microseconds_from_short(1), 15.2587890625);
    EXPECT_EQ(microseconds_from_short(-0x00008000), -500000.0);
}

TEST(Intervals, ComeFromTheFourTimestamps) {
    ntp_reply reply{};
    reply.originate = {100, 0};           // T1 100.0
    reply.receive = {110, 0x40000000U};   // T2 110.25
    reply.transmit = {110, 0x80000000U};  // T3 110.5
    const ntp_timestamp arrival{101, 0U}; // T4 101.0
    const exchange_intervals intervals = measure_exchange(reply, arrival);
    EXPECT_EQ(intervals.elapsed, 1000000.0);
    EXPECT_EQ(intervals.stall, 250000.0);
    EXPECT_EQ(intervals.slop, 750000.0);
    // ((T2 - T1) - (T4 - T3)) / 2, the second difference with a borrow
    EXPECT_NEAR(intervals.skew, (10250000.0 - -9500000.0) / 2, 0.001);
}

} // namespace
