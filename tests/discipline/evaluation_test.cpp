// SPDX-License-Identifier: GPL-2.0-or-later
//
// Whole evaluations, cases worked by hand.  Whatever calls contemplate_data() runs
// in a child of its own, as the estimator never forgets.
#include <array>
#include <cmath>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "client/frequency_discipline.h"
#include "discipline/discipline_fixture.h"

namespace {

constexpr std::uint32_t start = 1700000000;
constexpr std::uint32_t interval = 64;

std::uint32_t time_of(std::size_t i) { return start + static_cast<std::uint32_t>(i) * interval; }

/// Sixteen samples, all at one frequency.
using sixteen = std::array<bounds, 16>;

/// All within 120 us around a slope that ends at no offset.  Lines that pass them
/// all are up to 0.25 ppm steeper and shallower.
sixteen even(double slope) {
    sixteen samples{};
    for (std::size_t i = 0; i < 16; i++) {
        const double middle = slope * interval * (static_cast<double>(i) - 15);
        samples[i] = {middle - 120, middle + 120};
    }
    return samples;
}

/// Gives sixteen samples to a process that had none.
struct outcome {
    std::int32_t result = 0;
    std::string printed;
};

enum class tracing { off, on };

outcome of(const sixteen &samples, std::int32_t frequency = 0, tracing trace = tracing::off) {
    outcome got;
    for (std::size_t i = 0; i < 15; i++)
        give(time_of(i), samples[i], frequency);
    debug = trace == tracing::on;
    got.printed = printed_by([&] { got.result = give(time_of(15), samples[15], frequency); });
    debug = 0;
    return got;
}

sixteen mirrored(sixteen samples) {
    for (bounds &ends : samples)
        ends = {-ends.high, -ends.low};
    return samples;
}

std::vector<std::string> lines_with(const std::string &text, const std::string &begin) {
    std::vector<std::string> found;
    std::istringstream input(text);
    for (std::string line; std::getline(input, line);)
        if (line.compare(0, begin.size(), begin) == 0)
            found.push_back(line);
    return found;
}

TEST(Discipline, FifteenSamplesAreTooFew) {
    check_in_child([] {
        for (std::size_t i = 0; i < 15; i++)
            EXPECT_EQ(printed_by([i] {
                          EXPECT_EQ(give(time_of(i), {1e9, 2e9}, 99999999), 99999999);
                      }),
                      "");
    });
    check_in_child([] {
        const traced now;
        for (int i = 0; i < 15; i++)
            EXPECT_EQ(printed_by([] { contemplate_data(4294967295U, -1.5, 900.25, -65536); }),
                      "xontemplate 4294967295 -1.5 900.2 -65536\n");
    });
}

TEST(Discipline, AGoodClockIsLeftAlone) {
    check_in_child([] {
        const outcome got = of(even(0), 1234);
        EXPECT_EQ(got.result, 1234);
        EXPECT_EQ(got.printed, "# box [( -0.250 , -120.0 )  ( 0.250 , 120.0 )]  "
                               "delta_f 0.000  computed_freq 1234\n");
    });
}

// The offset is the server's time less the clock's: it grows when the clock is slow.
// Limit: 4.75 - 120 / 600 = 4.55.  Centre: 0.45 ppm are left, times 1000 / 1840.
TEST(Discipline, ASlowClockIsMadeFaster) {
    check_in_child([] {
        const outcome got = of(even(5));
        EXPECT_EQ(got.result, 314216);
        EXPECT_EQ(got.printed, "# box [( 4.750 , -120.0 )  ( 5.250 , 120.0 )]  "
                               "delta_f -4.795  computed_freq 314216\n");
    });
}

// The half that is added before the fraction is cut off makes it one more.
TEST(Discipline, AFastClockIsMadeSlower) {
    check_in_child([] {
        const outcome got = of(even(-5));
        EXPECT_EQ(got.result, -314217);
        EXPECT_EQ(got.printed, "# box [( -5.250 , -120.0 )  ( -4.750 , 120.0 )]  "
                               "delta_f 4.795  computed_freq -314217\n");
    });
}

TEST(Discipline, ACorrectionByTheLimitsIsAtMostTwenty) {
    check_in_child([] {
        // The limits say 20; the centre, 80 ppm off, adds 80 * 1000 / 1840.
        const outcome got = of(even(100));
        EXPECT_NE(got.printed.find("delta_f -63.478 "), std::string::npos) << got.printed;
    });
}

TEST(Discipline, NoFrequencyBeyondTheLimit) {
    check_in_child([] {
        const outcome got = of(even(5), 16383000);
        EXPECT_EQ(got.result, 16384000);
        EXPECT_NE(got.printed.find("computed_freq 16697216\n"), std::string::npos);
    });
    check_in_child([] {
        const outcome got = of(even(-5), -16383000);
        EXPECT_EQ(got.result, -16384000);
        EXPECT_NE(got.printed.find("computed_freq -16697217\n"), std::string::npos);
    });
}

TEST(Discipline, FrequenciesAtTheEndsOfAnInt) {
    check_in_child([] {
        const outcome got = of(even(5), 2147483647);
        EXPECT_EQ(got.result, 16384000);
        EXPECT_NE(got.printed.find("computed_freq 2147483647\n"), std::string::npos);
    });
    check_in_child([] {
        const outcome got = of(even(-5), -2147483647 - 1);
        EXPECT_EQ(got.result, -16384000);
        EXPECT_NE(got.printed.find("computed_freq -2147483648\n"), std::string::npos);
    });
    check_in_child([] { // as far from one another as can be
        for (std::uint32_t i = 0; i < 15; i++)
            give(start + i * interval, {-120, 120}, 2147483647);
        const traced now;
        const std::string printed = printed_by([] {
            give(start + 15 * interval, {-120, 120}, -2147483647 - 1);
        });
        const std::vector<std::string> history = lines_with(printed, "hist ");
        ASSERT_EQ(history.size(), 16U);
        EXPECT_EQ(history[1], "hist 14 -64 0.000000 -120.000000 120.000000");
        EXPECT_EQ(history[2], "hist 13 -128 4194303.999023 -4194423.999023 -4194183.999023");
    });
}

TEST(Discipline, FrequenciesFartherApartThanAnInt) {
    check_in_child([] {
        for (std::size_t i = 0; i < 15; i++)
            give(time_of(i), {-120, 120}, -2147483647 - 1);
        const traced now;
        const std::string printed = printed_by([] { give(time_of(15), {-120, 120}, 2147483647); });
        // 64 s at 4294967295 / 65536 ppm less
        EXPECT_TRUE(
            lines_with(printed, "hist ").at(2).starts_with("hist 13 -128 -4194303.999023 "));
    });
}

// Several lines cross only where times go back.
TEST(Discipline, OfSeveralCrossingLinesTheSmallestSlopeCounts) {
    static constexpr std::array<std::uint32_t, 16> times{4990, 5000, 5000, 5010, 5020, 5020,
                                                         5030, 5040, 5040, 5030, 5040, 5050,
                                                         5020, 5030, 5040, 5050};
    static constexpr std::array<double, 16> lows{-80, -70, -70, -80, -70, -70, -30, -50,
                                                 -50, -40, -90, -70, -70, -40, -80, -60};
    check_in_child([] {
        std::int32_t result = 0;
        const traced now;
        const std::string printed = printed_by([&] {
            for (std::size_t i = 0; i < 16; i++)
                result = give(times[i], {lows[i], lows[i] + 120});
        });
        EXPECT_EQ(result, -18565);
        EXPECT_EQ(lines_with(printed, "mincross ").at(0), "mincross -1.666667 *x+ -60.000000");
    });
}

TEST(Discipline, NoLinePassesAll) {
    check_in_child([] {
        sixteen samples = even(0);
        samples[7] = {1000, 1240};
        const outcome got = of(samples, 20000000);
        EXPECT_EQ(got.result, 20000000) << "as it was, beyond the limit too";
        EXPECT_EQ(got.printed, "# inconsistent\n");
    });
}

TEST(Discipline, NoLineAsSteepAs500IsLookedAt) {
    for (const int sign : {-1, 1}) {
        check_in_child([sign] { // 499.75 at the steepest
            EXPECT_EQ(lines_with(of(even(sign * 499.5)).printed, "# box").size(), 1U);
        });
        check_in_child([sign] { // 500
            EXPECT_EQ(of(even(sign * 499.75)).printed, "# inconsistent\n");
        });
    }
}

TEST(Discipline, ErrorBarsWithinTheAllowance) {
    check_in_child([] {
        outcome got;
        got.printed = printed_by([&got] {
            for (std::uint32_t i = 0; i < 16; i++)
                got.result = contemplate_data(start + i * interval, 0, 799, 5);
        });
        EXPECT_EQ(got.result, 5);
        EXPECT_EQ(got.printed, "# inconsistent\n");
    });
}

TEST(Discipline, TheSeventeenthSampleReplacesTheFirst) {
    check_in_child([] {
        sixteen samples = even(0);
        samples[0] = {1e6, 2e6};
        EXPECT_EQ(of(samples).printed, "# inconsistent\n");
        EXPECT_EQ(printed_by([] {
                      give(time_of(16), {-120, 120});
                  }),
                  "# box [( -0.250 , -120.0 )  ( 0.250 , 120.0 )]  "
                  "delta_f 0.000  computed_freq 0\n");
    });
}

TEST(Discipline, TimeMayWrapAround) {
    check_in_child([] {
        std::int32_t result = 0;
        const sixteen samples = even(5);
        const std::string printed = printed_by([&] {
            for (std::uint32_t i = 0; i < 16; i++)
                result = contemplate_data(4294967000U + i * interval, samples[i].low + 120, 920, 0);
        });
        EXPECT_EQ(result, 314216);
    });
}

// A frequency belongs to the time before its sample.  The crystal loses 1 ppm; from
// the ninth sample on the frequency makes up for it.
TEST(Discipline, PastFrequenciesCount) {
    check_in_child([] {
        std::string printed;
        debug = 1;
        for (std::uint32_t i = 0; i < 16; i++)
            printed = printed_by([i] {
                contemplate_data(start + i * interval, i < 8 ? 64.0 * i : 448.0, 920,
                                 i < 8 ? 0 : 65536);
            });
        const std::vector<std::string> history = lines_with(printed, "hist ");
        ASSERT_EQ(history.size(), 16U);
        for (const std::string &line : history)
            EXPECT_TRUE(line.ends_with(" 328.000000 568.000000")) << line;
        EXPECT_EQ(history[0], "hist 15 0 0.000000 328.000000 568.000000");
        EXPECT_EQ(history[8], "hist 7 -512 0.000000 328.000000 568.000000");
        EXPECT_EQ(history[9], "hist 6 -576 -64.000000 328.000000 568.000000");
        EXPECT_EQ(history[15], "hist 0 -960 -448.000000 328.000000 568.000000");
    });
}

void expect_segment(const segment &line, double slope, double value) {
    EXPECT_DOUBLE_EQ(line.slope, slope);
    EXPECT_DOUBLE_EQ(line.value, value);
}

TEST(Discipline, TheHullsWhenDone) {
    check_in_child([] {
        of(even(0));
        expect_segment(maxseg[0], -0.25, -120);
        expect_segment(minseg[0], 0.25, 120);
        for (int k = 1; k <= 15; k++) // of equal slopes the earliest sample
            expect_segment(maxseg[k], 0, 120);
        expect_segment(maxseg[16], 0.25, 120);
        expect_segment(minseg[1], 0, -120); // of equal slopes the latest sample
        expect_segment(minseg[2], 0.25, 120);
        expect_segment(minseg[3], 0, 0);
    });
}

// One wide sample at first: the first segment of a hull is steeper than any line
// that passes all.  The upper hull then starts where it is still of use, the lower
// one always at 0.
TEST(Discipline, TheHullsWithASegmentCutOff) {
    sixteen samples = even(0);
    samples[0].high = 10000;
    check_in_child([samples] {
        of(samples);
        expect_segment(maxseg[0], 0, 0);
        expect_segment(maxseg[1], -240.0 / 896, -120);
        expect_segment(maxseg[2], 0, 120);
        expect_segment(maxseg[16], 0.25, 120);
    });
    check_in_child([samples] {
        of(mirrored(samples));
        expect_segment(minseg[0], 240.0 / 896, 120);
        expect_segment(minseg[1], 9880.0 / 64, 9880.0 / 64 * 960 - 10000);
        expect_segment(minseg[2], 0, -120);
        expect_segment(minseg[3], 240.0 / 896, 120);
    });
}

// Lines pass all samples, but the shallowest and the steepest go through one corner
// of the upper hull: none of its segments lies between them.
TEST(Discipline, NoSegmentBetweenTheCrossingLines) {
    sixteen samples{};
    for (std::size_t i = 0; i < 16; i++)
        samples[i] = {-2000, 64 * std::fabs(static_cast<double>(i) - 8)};
    samples[0].low = samples[15].low = -100;
    check_in_child([samples] {
        const outcome got = of(samples, 77, tracing::on);
        EXPECT_EQ(got.result, 77);
        EXPECT_EQ(lines_with(got.printed, "found ").size(), 1U);
        EXPECT_EQ(lines_with(got.printed, "found maxseg vs. save_min inconsistency").size(), 1U);
        EXPECT_EQ(lines_with(got.printed, "mincross ").at(0), "mincross -0.223214 *x+ -100.000000");
        EXPECT_EQ(lines_with(got.printed, "maxcross ").at(0), "maxcross 0.195312 *x+ 87.500000");
        EXPECT_EQ(lines_with(got.printed, "#"), std::vector<std::string>{"# inconsistent"});
    });
    check_in_child([samples] {
        const outcome got = of(mirrored(samples), 77, tracing::on);
        EXPECT_EQ(got.result, 77);
        EXPECT_EQ(lines_with(got.printed, "found ").size(), 1U);
        EXPECT_EQ(lines_with(got.printed, "found minseg vs. save_max inconsistency").size(), 1U);
        EXPECT_EQ(lines_with(got.printed, "loop ").back(), "loop -0.195312 -87.500000");
        EXPECT_EQ(lines_with(got.printed, "#"), std::vector<std::string>{"# inconsistent"});
    });
    check_in_child([samples] { EXPECT_EQ(of(samples, 77).printed, "# inconsistent\n"); });
}

TEST(Discipline, Trace) {
    check_in_child([] {
        const outcome got = of(even(5), 0, tracing::on);
        EXPECT_EQ(got.result, 314216) << "as without it";
        EXPECT_EQ(lines_with(got.printed, "xontemplate ").at(0),
                  "xontemplate 1700000960 0.0 920.0 0");
        EXPECT_EQ(lines_with(got.printed, "hist ").at(15),
                  "hist 0 -960 0.000000 -4920.000000 -4680.000000");
        const std::vector<std::string> above = lines_with(got.printed, "maxseg[");
        ASSERT_EQ(above.size(), 15U);
        EXPECT_EQ(above.front(), "maxseg[1] = 5.000000 *x+ 120.000000");
        EXPECT_EQ(above.back(), "maxseg[15] = 5.000000 *x+ 120.000000");
        EXPECT_EQ(lines_with(got.printed, "minseg["),
                  std::vector<std::string>{"minseg[1] = 5.000000 *x+ -120.000000"});
        EXPECT_EQ(lines_with(got.printed, "mincross ").at(0), "mincross 4.750000 *x+ -120.000000");
        EXPECT_EQ(lines_with(got.printed, "maxcross ").at(0), "maxcross 5.250000 *x+ 120.000000");
        // Around the polygon and, only when traced, to its first corner again.
        const std::vector<std::string> corners = lines_with(got.printed, "loop ");
        ASSERT_EQ(corners.size(), 1U + 15 + 1 + 1 + 1);
        EXPECT_EQ(corners[0], "loop 4.750000 -120.000000");
        EXPECT_EQ(corners[15], "loop 5.000000 120.000000");
        EXPECT_EQ(corners[16], "loop 5.250000 120.000000");
        EXPECT_EQ(corners[17], "loop 5.000000 -120.000000");
        EXPECT_EQ(corners[18], "loop 4.750000 -120.000000");
        const std::string end = "find_df_center -0.450000 0.543478\n"
                                "find_df() = -4.550000e+00\n"
                                "delta_f -4.794565  delta_freq -314216  bsn 0\n"
                                "# box [( 4.750 , -120.0 )  ( 5.250 , 120.0 )]  "
                                "delta_f -4.795  computed_freq 314216\n";
        ASSERT_GT(got.printed.size(), end.size());
        EXPECT_EQ(got.printed.substr(got.printed.size() - end.size()), end);
    });
}

TEST(Discipline, NothingButNonsense) {
    for (const double value : {no_number, infinite, -infinite, 1e308, -1e308})
        check_in_child([value] {
            std::int32_t result = 0;
            const std::string printed = printed_by([&] {
                for (std::uint32_t i = 0; i < 40; i++)
                    result = contemplate_data(start - i * i, i % 3 == 0 ? value : 0,
                                              i % 2 == 0 ? value : 900, 5);
            });
            EXPECT_EQ(result, 5);
            EXPECT_EQ(lines_with(printed, "# inconsistent").size(), 25U);
        });
}

TEST(Discipline, TimeStandsStill) {
    check_in_child([] {
        std::int32_t result = 0;
        const std::string printed = printed_by([&] {
            for (int i = 0; i < 16; i++)
                result = contemplate_data(start, i, 900, 5);
        });
        EXPECT_EQ(result, 5);
        EXPECT_EQ(printed, "# inconsistent\n");
    });
}

} // namespace
