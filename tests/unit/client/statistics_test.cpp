// SPDX-License-Identifier: GPL-2.0-or-later
#include "client/statistics.h"

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

namespace {

/// What a printer writes.
template <typename Printer> std::string printed(Printer print) {
    char *text = nullptr;
    std::size_t size = 0;
    std::FILE *out = open_memstream(&text, &size);
    print(out);
    std::fclose(out);
    std::string result(text, size);
    std::free(text);
    return result;
}

ntp_reply sample_reply() {
    ntp_reply reply{};
    reply.leap = 1;
    reply.version = 3;
    reply.mode = 4;
    reply.stratum = 2;
    reply.poll = 200;
    reply.precision = -20;
    reply.root_delay = 0x00008000;
    reply.root_dispersion = -0x00000001;
    reply.reference_id = 0xC0A80A01U;
    reply.reference = {3913056000U, 1};
    reply.originate = {3913056001U, 22};
    reply.receive = {3913056002U, 333};
    reply.transmit = {3913056003U, 4294967295U};
    return reply;
}

constexpr ntp_timestamp arrival{3913055999U, 4294962990U};
constexpr exchange_intervals intervals{1000.26, 20.5, 979.76, -123456.7};

TEST(Statistics, TheLine) {
    EXPECT_EQ(printed([](std::FILE *out) {
                  print_statistics_line(out, sample_reply(), arrival, intervals, -65536);
              }),
              "45289 86399.999    1000.3     20.5  -123456.7    -15.3    -65536\n");
}

TEST(Statistics, TheLineAtMidnight) {
    EXPECT_EQ(printed([](std::FILE *out) {
                  print_statistics_line(out, ntp_reply{}, {0, 0}, {}, 0);
              }),
              "0 00000.000       0.0      0.0       0.0      0.0         0\n");
}

TEST(Statistics, AFullFractionIsAThousandMilliseconds) {
    // 0xFFFFFFFF / 4294967 is 1000: the width grows, the second does not.
    EXPECT_EQ(printed([](std::FILE *out) {
                  print_statistics_line(out, ntp_reply{}, {1, 0xFFFFFFFFU}, {}, 0);
              }),
              "0 00001.1000       0.0      0.0       0.0      0.0         0\n");
}

TEST(Statistics, TheExchange) {
    EXPECT_EQ(printed([](std::FILE *out) {
                  print_exchange(out, {1735689600, 42}, sample_reply(), arrival);
              }),
              "set time to 1735689600.000042\n"
              "LI=1  VN=3  Mode=4  Stratum=2  Poll=200  Precision=-20\n"
              "Delay=500000.0  Dispersion=-15.3  Refid=192.168.10.1\n"
              "Reference 3913056000.0000000001\n"
              "Originate 3913056001.0000000022\n"
              "Receive   3913056002.0000000333\n"
              "Transmit  3913056003.4294967295\n"
              "Our recv  3913055999.4294962990\n");
}

TEST(Statistics, TheIntervals) {
    EXPECT_EQ(printed([](std::FILE *out) { print_intervals(out, intervals, 12345); }),
              "Total elapsed:   1000.26\n"
              "Server stall:      20.50\n"
              "Slop:             979.76\n"
              "Skew:          -123456.70\n"
              "Frequency:         12345\n"
              " day   second     elapsed    stall     skew  dispersion  freq\n");
}

} // namespace
