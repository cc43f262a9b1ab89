// SPDX-License-Identifier: GPL-2.0-or-later
//
// The parts of the frequency discipline, cases worked by hand.
#include <array>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <ostream>

#include "discipline/discipline_fixture.h"

namespace {

constexpr int ring_size = 16;

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

constexpr std::array<bounds, 4> four{{{0, 10}, {5, 20}, {-10, 30}, {15, 25}}};

/// Gives sixteen samples, as many as the ring has, or more: the last ones are ten seconds
/// apart and have these intervals, those before are of no concern.  In a child, as the
/// discipline never forgets.  The ring begins anew with every sixteenth.
void give_last(const std::array<bounds, 4> &last, std::uint32_t time, int count = ring_size) {
    static_cast<void>(printed_by([&] {
        for (int i = 4; i < count; ++i)
            give(time, {-1e9, 1e9});
        for (const bounds &ends : last) {
            give(time, ends);
            time += 10;
        }
    }));
}

TEST(DisciplineSearch, EveryPairOfBounds) {
    check_in_child([] {
        give_last(four, 100);
        segment line{};
        EXPECT_EQ(search(15, 12, upper, upper, smallest, &line), 15); // 1, 1, 0.5
        EXPECT_EQ(line.slope, 0.5);
        EXPECT_EQ(line.value, 25);
        EXPECT_EQ(search(15, 12, lower, lower, smallest, &line), 14); // 0.5, -0.5, 0.5
        EXPECT_EQ(line.slope, -0.5);
        EXPECT_EQ(line.value, -15);
        EXPECT_EQ(search(15, 12, lower, upper, smallest, &line), 14); // -0.5, -1, 1/6
        EXPECT_EQ(line.slope, -1);
        EXPECT_EQ(line.value, -20);
        EXPECT_EQ(search(15, 12, upper, lower, largest, &line), 13); // 2, 1.5, 5/6
        EXPECT_EQ(line.slope, 2);
        EXPECT_EQ(line.value, 60);
        EXPECT_EQ(search(15, 14, upper, upper, smallest, &line), 15);
        EXPECT_EQ(line.slope, -0.5);
        EXPECT_EQ(line.value, 25);
        EXPECT_EQ(search(15, 14, lower, lower, largest, &line), 15);
        EXPECT_EQ(line.slope, 2.5);
        EXPECT_EQ(line.value, 15);
    });
}

TEST(DisciplineSearch, OfEqualSlopesTheEarliestSmallestAndTheLatestLargest) {
    check_in_child([] {
        give_last(four, 100);
        segment line{};
        EXPECT_EQ(search(15, 12, upper, upper, largest, &line), 14); // 1, 1, 0.5
        EXPECT_EQ(line.slope, 1);
        EXPECT_EQ(line.value, 40);
        EXPECT_EQ(search(15, 12, lower, lower, largest, &line), 15); // 0.5, -0.5, 0.5
        EXPECT_EQ(line.value, 15);
        give_last({{{0, 10}, {0, 20}, {0, 30}, {0, 40}}}, 200);
        EXPECT_EQ(search(15, 12, upper, upper, smallest, &line), 13);
        EXPECT_EQ(search(15, 12, upper, upper, largest, &line), 15);
        EXPECT_EQ(line.value, 40);
    });
}

TEST(DisciplineSearch, AcrossTheEndOfTheRingAndOfTime) {
    check_in_child([] {
        give_last(four, 4294967286U, 18); // the third sample's time is 10
        segment line{};
        EXPECT_EQ(search(1, 14, upper, upper, smallest, &line), 1);
        EXPECT_EQ(line.slope, 0.5);
        EXPECT_EQ(line.value, 25);
        EXPECT_EQ(search(1, 14, upper, lower, largest, &line), 15);
        EXPECT_EQ(line.slope, 2);
    });
}

TEST(DisciplineSearch, GetsOnWithoutNumbers) {
    check_in_child([] {
        constexpr bounds none{no_number, no_number};
        give_last({none, none, none, none}, 100);
        segment line{};
        EXPECT_EQ(search(15, 12, upper, upper, smallest, &line), 13);
        EXPECT_TRUE(std::isnan(line.slope));
        EXPECT_EQ(search(15, 12, upper, upper, largest, &line), 13);
    });
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

void corner(double slope, double value) {
    const segment line{slope, value};
    polygon_point(&line);
}

/// What these corners alone allow: a correction in one direction, of so much; or in both,
/// or in none.
struct allowed {
    double correction;
    bool both = false;
    bool operator==(const allowed &) const = default;
};
allowed by(std::initializer_list<segment> corners) {
    polygon_reset();
    for (const segment &line : corners)
        polygon_point(&line);
    int both = 7;
    const double correction = find_df(&both);
    EXPECT_TRUE(both == 7 || both == 1);
    return {correction, both == 1};
}
std::ostream &operator<<(std::ostream &out, const allowed &value) {
    return out << value.correction << (value.both ? ", both" : "");
}

TEST(DisciplinePolygon, OneCorner) {
    EXPECT_EQ(by({{5, 0}}), allowed{-5});
    EXPECT_EQ(by({{-2, 0}}), allowed{2});
    EXPECT_EQ(by({{3, 600}}), allowed{-(3 + 0.3 + 0.1)}); // less than 3 + 1
    EXPECT_EQ(by({{3, -600}}), allowed{-2});              // 3 - 1, less than 3 + 0.3 - 0.1
    EXPECT_EQ(by({{-3, -600}}), allowed{3 + 0.3 + 0.1});
    EXPECT_EQ(by({{-30, 0}}), allowed{20}); // no farther than twenty
    EXPECT_EQ(by({{30, 0}}), allowed{-20});
    EXPECT_EQ(by({{0, 0}}), allowed{0});
}

TEST(DisciplinePolygon, TheNarrowestCornerCounts) {
    EXPECT_EQ(by({{5, 0}, {8, 0}}), allowed{-5});
    EXPECT_EQ(by({{5, 0}, {8, 0}, {4, 0}}), allowed{-4});
    EXPECT_EQ(by({{5, 0}, {8, 0}, {4, 0}, {-1, 0}}), allowed{0});
    EXPECT_EQ(by({}), (allowed{0, true})) << "begun anew";
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
