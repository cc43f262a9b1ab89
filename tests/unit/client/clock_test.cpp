// SPDX-License-Identifier: GPL-2.0-or-later
#include "client/clock.h"

#include <cstring>

#include <gtest/gtest.h>

namespace {

timeval target_of(std::uint32_t seconds, std::uint32_t fraction) {
    ntp_reply reply{};
    reply.transmit = {seconds, fraction};
    return target_time(reply);
}

TEST(Target, IsTheTransmitTimeAsItStands) {
    const timeval target = target_of(0xEB1F0400U, 0x80000000U);
    EXPECT_EQ(target.tv_sec, 1735689600);
    EXPECT_EQ(target.tv_usec, 500000);
}

TEST(Target, GoesOnBeyond2036) {
    EXPECT_EQ(target_of(0xFFFFFFFEU, 0).tv_sec, 2085978494);
    EXPECT_EQ(target_of(1, 0).tv_sec, 2085978497);
    // A time before 1970 is taken for one in 2106.
    EXPECT_EQ(target_of(2208988799U, 0).tv_sec, 4294967295);
}

TEST(ChangeRecord, OverwritesTheRequestUpToItsReceiveTime) {
    request_bytes request{};
    request.fill(0xEE);
    const cli_log_record record = clock_change_record(request);
    std::uint16_t module = 0;
    std::uint32_t action = 0;
    std::memcpy(&module, record.bytes, sizeof module);
    std::memcpy(&action, record.bytes + 28, sizeof action);
    EXPECT_EQ(module, 62);
    EXPECT_EQ(action, 2U);
    for (int i = 2; i < 28; ++i)
        EXPECT_EQ(record.bytes[i], 0) << i;
    for (int i = 32; i < 48; ++i)
        EXPECT_EQ(record.bytes[i], 0xEE) << i;
}

TEST(Delay, IsCutTowardsZeroBeforeItIsJudged) {
    EXPECT_EQ(judge_delay(0.0), reply_outcome::clock_set);
    EXPECT_EQ(judge_delay(123.4), reply_outcome::clock_set);
    EXPECT_EQ(judge_delay(-0.99), reply_outcome::clock_set);
    EXPECT_EQ(judge_delay(-1.0), reply_outcome::negative_delay);
    EXPECT_EQ(judge_delay(-1.99), reply_outcome::negative_delay);
    EXPECT_EQ(judge_delay(-2.0), reply_outcome::negative_delay_of_two);
    EXPECT_EQ(judge_delay(-2.99), reply_outcome::negative_delay_of_two);
    EXPECT_EQ(judge_delay(-3.0), reply_outcome::negative_delay);
}

TEST(Delay, SaturatesAtTheEnds) {
    EXPECT_EQ(judge_delay(4e15), reply_outcome::clock_set);
    EXPECT_EQ(judge_delay(-4e15), reply_outcome::negative_delay);
}

} // namespace
