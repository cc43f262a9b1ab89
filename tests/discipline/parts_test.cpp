// SPDX-License-Identifier: GPL-2.0-or-later
//
// The parts of the frequency discipline, cases worked by hand.
#include <array>
#include <cmath>
#include <cstdint>
#include <string>

#include "discipline/discipline_fixture.h"

namespace {

// --- the ring -----------------------------------------------------------------

TEST(Discipline, TheRingIsClosed) {
    EXPECT_EQ(next_up(0), 1);
    EXPECT_EQ(next_up(14), 15);
    EXPECT_EQ(next_up(15), 0);
    EXPECT_EQ(next_dn(15), 14);
    EXPECT_EQ(next_dn(1), 0);
    EXPECT_EQ(next_dn(0), 15);
}

// --- search -------------------------------------------------------------------

void put_slot(int slot, std::uint32_t time, double low, double high) {
    discipline_sample &sample = d_ring[slot];
    sample.time = time;
    sample.bounds[lower] = low;
    sample.bounds[upper] = high;
}

/// Four samples, ten seconds apart, from a slot on.
void put_four(int slot, std::uint32_t time) {
    constexpr std::array<std::array<double, 2>, 4> ends{{{0, 10}, {5, 20}, {-10, 30}, {15, 25}}};
    for (const auto &[low, high] : ends) {
        put_slot(slot, time, low, high);
        slot = (slot + 1) % ring_size;
        time += 10;
    }
    put_slot(slot, time, -1e9, 1e9); // behind the newest: of no concern
}

TEST(DisciplineSearch, EveryPairOfBounds) {
    put_four(0, 100);
    segment line{};
    EXPECT_EQ(search(3, 0, upper, upper, smallest, &line), 3); // 1, 1, 0.5
    EXPECT_EQ(line.slope, 0.5);
    EXPECT_EQ(line.value, 25);
    EXPECT_EQ(search(3, 0, lower, lower, smallest, &line), 2); // 0.5, -0.5, 0.5
    EXPECT_EQ(line.slope, -0.5);
    EXPECT_EQ(line.value, -15);
    EXPECT_EQ(search(3, 0, lower, upper, smallest, &line), 2); // -0.5, -1, 1/6
    EXPECT_EQ(line.slope, -1);
    EXPECT_EQ(line.value, -20);
    EXPECT_EQ(search(3, 0, upper, lower, largest, &line), 1); // 2, 1.5, 5/6
    EXPECT_EQ(line.slope, 2);
    EXPECT_EQ(line.value, 60);
}

TEST(DisciplineSearch, OfEqualSlopesTheEarliestSmallestAndTheLatestLargest) {
    put_four(0, 100);
    segment line{};
    EXPECT_EQ(search(3, 0, upper, upper, largest, &line), 2); // 1, 1, 0.5
    EXPECT_EQ(line.slope, 1);
    EXPECT_EQ(line.value, 40);
    EXPECT_EQ(search(3, 0, lower, lower, largest, &line), 3); // 0.5, -0.5, 0.5
    EXPECT_EQ(line.value, 15);
    for (int slot = 0; slot < 4; slot++)
        put_slot(slot, 100U + 10U * static_cast<std::uint32_t>(slot), 0, 10.0 + 10 * slot);
    EXPECT_EQ(search(3, 0, upper, upper, smallest, &line), 1);
    EXPECT_EQ(search(3, 0, upper, upper, largest, &line), 3);
    EXPECT_EQ(line.value, 40);
}

TEST(DisciplineSearch, AcrossTheEndOfTheRingAndOfTime) {
    put_four(14, 4294967286U); // the third sample's time is 10
    segment line{};
    EXPECT_EQ(search(1, 14, upper, upper, smallest, &line), 1);
    EXPECT_EQ(line.slope, 0.5);
    EXPECT_EQ(line.value, 25);
    EXPECT_EQ(search(1, 14, upper, lower, largest, &line), 15);
    EXPECT_EQ(line.slope, 2);
}

TEST(DisciplineSearch, FromTheLastButOne) {
    put_four(0, 100);
    segment line{};
    EXPECT_EQ(search(3, 2, upper, upper, smallest, &line), 3);
    EXPECT_EQ(line.slope, -0.5);
    EXPECT_EQ(line.value, 25);
    EXPECT_EQ(search(3, 2, lower, lower, largest, &line), 3);
    EXPECT_EQ(line.slope, 2.5);
    EXPECT_EQ(line.value, 15);
}

TEST(DisciplineSearch, GetsOnWithoutNumbers) {
    for (int slot = 0; slot < 4; slot++)
        put_slot(slot, 100, no_number, no_number);
    segment line{};
    EXPECT_EQ(search(3, 0, upper, upper, smallest, &line), 1);
    EXPECT_TRUE(std::isnan(line.slope));
    EXPECT_EQ(search(3, 0, upper, upper, largest, &line), 1);
}

// --- the limits ---------------------------------------------------------------

TEST(DisciplineShift, TheLesserOfTheTwo) {
    EXPECT_DOUBLE_EQ(find_shift(2, 0), 2);
    EXPECT_DOUBLE_EQ(find_shift(2, 600), 1);
    EXPECT_DOUBLE_EQ(find_shift(2, -600), 2.4);     // not 3
    EXPECT_DOUBLE_EQ(find_shift(2, -200), 7.0 / 3); // both
    EXPECT_DOUBLE_EQ(find_shift(-0.2, -300), 0.15); // not 0.3
}

TEST(DisciplineShift, NeverNegative) {
    EXPECT_EQ(find_shift(-1, 0), 0);
    EXPECT_EQ(find_shift(0.5, 600), 0);
    EXPECT_EQ(find_shift(-infinite, 0), 0);
    EXPECT_EQ(find_shift(0, infinite), 0);
    EXPECT_EQ(find_shift(no_number, 0), 0);
    EXPECT_EQ(find_shift(infinite, 0), infinite);
}

TEST(DisciplineShift, TheTraceHasItAsItWas) {
    const traced now;
    EXPECT_EQ(printed_by([] { find_shift(-1, 300); }),
              "find_shift -1.000000 300.000000 -> -1.500000\n");
    EXPECT_EQ(printed_by([] { find_shift(2, -600); }),
              "find_shift 2.000000 -600.000000 -> 2.400000\n");
}

void expect_limits(double left, double right) {
    EXPECT_DOUBLE_EQ(df.left, left);
    EXPECT_DOUBLE_EQ(df.right, right);
}

void corner(double slope, double value) {
    const segment line{slope, value};
    polygon_point(&line);
}

TEST(DisciplinePolygon, Reset) {
    df = {1, 2};
    polygon_reset();
    expect_limits(20, 20);
}

TEST(DisciplinePolygon, OneCorner) {
    polygon_reset();
    corner(5, 0);
    expect_limits(0, 5);
    polygon_reset();
    corner(-2, 0);
    expect_limits(2, 0);
    polygon_reset();
    corner(3, 600); // 3 + 1, 3 + 0.3 + 0.1
    expect_limits(0, 3.4);
    polygon_reset();
    corner(3, -600); // 3 - 1, 3 + 0.3 - 0.1
    expect_limits(0, 2);
    polygon_reset();
    corner(-3, -600);
    expect_limits(3.4, 0);
    polygon_reset();
    corner(-30, 0); // no farther than twenty
    expect_limits(20, 0);
}

TEST(DisciplinePolygon, TheNarrowestCornerCounts) {
    polygon_reset();
    corner(5, 0);
    corner(8, 0);
    expect_limits(0, 5);
    corner(4, 0);
    expect_limits(0, 4);
    corner(-1, 0);
    expect_limits(0, 0);
}

TEST(DisciplinePolygon, Trace) {
    polygon_reset();
    const traced now;
    EXPECT_EQ(printed_by([] { corner(3, 600); }), "loop 3.000000 600.000000\n"
                                                  "find_shift -3.000000 600.000000 -> -4.000000\n"
                                                  "find_shift 3.000000 -600.000000 -> 3.400000\n"
                                                  "constraint left:  0.000000 0.000000 \n"
                                                  "constraint right: 3.400000 3.400000 \n");
    EXPECT_EQ(printed_by([] { corner(10, 600); }),
              "loop 10.000000 600.000000\n"
              "find_shift -10.000000 600.000000 -> -11.000000\n"
              "find_shift 10.000000 -600.000000 -> 10.400000\n"
              "constraint left:  0.000000 0.000000 \n"
              "constraint right: 10.400000 3.400000 \n");
}

TEST(DisciplineCorrection, ByTheLimits) {
    int both = 7;
    df = {0, 0};
    EXPECT_EQ(find_df(&both), 0);
    df = {0, 3};
    EXPECT_EQ(find_df(&both), -3);
    df = {2, 0};
    EXPECT_EQ(find_df(&both), 2);
    EXPECT_EQ(both, 7);
    df = {2, 3};
    EXPECT_EQ(find_df(&both), 0);
    EXPECT_EQ(both, 1);
}

/// Both lines with one slope.
double centre(double slope, double ya, double yb, double d = 0) {
    const segment mincross{slope, ya};
    const segment maxcross{slope, yb};
    return find_df_center(&mincross, &maxcross, d);
}

TEST(DisciplineCentre, BelowNoOffset) {
    // The middle is -1800: a = 3 - slope, b = 1 - slope.
    EXPECT_DOUBLE_EQ(centre(4, -2700, -900), -1 * (1000.0 / 2800)); // a
    EXPECT_EQ(centre(3, -2700, -900), 0);
    EXPECT_EQ(centre(2, -2700, -900), 0);
    EXPECT_EQ(centre(1, -2700, -900), 0);
    EXPECT_DOUBLE_EQ(centre(0, -2700, -900), 1 * (1000.0 / 2800)); // b
}

TEST(DisciplineCentre, AboveNoOffset) {
    // The middle is 1800: a = -3 - slope, b = -1 - slope.
    EXPECT_DOUBLE_EQ(centre(-4, 900, 2700), 1 * (1000.0 / 2800)); // a
    EXPECT_EQ(centre(-3, 900, 2700), 0);
    EXPECT_EQ(centre(-2, 900, 2700), 0);
    EXPECT_EQ(centre(-1, 900, 2700), 0);
    EXPECT_DOUBLE_EQ(centre(0, 900, 2700), -1 * (1000.0 / 2800)); // b
}

TEST(DisciplineCentre, AtNoOffset) {
    EXPECT_EQ(centre(0, 0, 0), 0);
    EXPECT_EQ(centre(2, 0, 0), -2);
    EXPECT_EQ(centre(-2, 0, 0), 2);
}

TEST(DisciplineCentre, WhatIsCorrectedAlreadyCounts) {
    EXPECT_EQ(centre(2, 0, 0, -2), 0);
    EXPECT_EQ(centre(2, 0, 0, -3), 1);
    EXPECT_EQ(centre(2, 0, 0, 1), -3);
}

TEST(DisciplineCentre, ALargePolygonCountsLess) {
    const segment mincross{1, -300};
    const segment maxcross{3, 300};
    // x = 2; 600 of height, 1000, and a width of 2.
    EXPECT_DOUBLE_EQ(find_df_center(&mincross, &maxcross, 0), -2 * (1000.0 / 4000));
}

TEST(DisciplineCentre, FarFromNoOffset) {
    EXPECT_DOUBLE_EQ(centre(0, -1000, -1000), 1000.0 / 1800);
    EXPECT_EQ(centre(0, -1000.5, -1000.5), 0);
    EXPECT_DOUBLE_EQ(centre(0, 1000, 1000), -1000.0 / 1800);
    EXPECT_EQ(centre(0, 1000.5, 1000.5), 0);
    // One line near it is enough.
    EXPECT_NE(centre(0, -5000, -1000), 0);
    EXPECT_NE(centre(0, 1000, 5000), 0);
}

TEST(DisciplineCentre, Trace) {
    const traced now;
    EXPECT_EQ(printed_by([] { centre(0, 900, 2700); }), "find_df_center -1.000000 0.357143\n");
    EXPECT_EQ(printed_by([] { centre(0, 1001, 2700); }), "");
}

TEST(DisciplineInterpolate, OnAndBeyond) {
    const point p{1, 10};
    const point q{3, 20};
    EXPECT_EQ(interpolate(&p, &q, 1), 10);
    EXPECT_EQ(interpolate(&p, &q, 2), 15);
    EXPECT_EQ(interpolate(&p, &q, 3), 20);
    EXPECT_EQ(interpolate(&p, &q, 7), 40);
    EXPECT_EQ(interpolate(&q, &p, 0), 5);
}

} // namespace
