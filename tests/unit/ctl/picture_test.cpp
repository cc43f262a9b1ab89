// SPDX-License-Identifier: GPL-2.0-or-later
#include "picture.h"

#include <cmath>
#include <gtest/gtest.h>
#include <sstream>
#include <vector>

namespace {

constexpr std::int64_t a_week = 604800;

std::string draw(const std::vector<step> &steps) { return steps_as_svg(steps, fit_drift(steps)); }

int count(const std::string &text, const std::string &part) {
    int found = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++found;
    return found;
}

/// The numbers in an element's attribute, in order.
std::vector<double> numbers_of(const std::string &svg, const std::string &css_class) {
    std::string path = svg.substr(svg.find("<path class=\"" + css_class + "\""));
    path = path.substr(path.find("d=\"") + 3);
    path = path.substr(0, path.find('"'));
    for (char &c : path)
        if (c >= 'A' && c <= 'Z')
            c = ' ';
    std::istringstream stream(path);
    std::vector<double> numbers;
    for (double number = 0; stream >> number;)
        numbers.push_back(number);
    return numbers;
}

TEST(Picture, OfNothingSaysSo) {
    const std::string svg = draw({});
    EXPECT_NE(svg.find("no steps recorded"), std::string::npos);
    EXPECT_EQ(count(svg, "<circle"), 0);
    EXPECT_TRUE(svg.starts_with("<svg ") && svg.ends_with("</svg>\n"));
}

TEST(Picture, OfOneStepIsADot) {
    const std::string svg = draw({{1795420800, 2220}});
    EXPECT_EQ(count(svg, "<circle"), 1);
    EXPECT_EQ(count(svg, "<path class=\"fit\""), 0);
    EXPECT_NE(svg.find("drift unknown"), std::string::npos);
    EXPECT_NE(svg.find(">11-23 12:00"), std::string::npos);
}

TEST(Picture, IsAStaircaseOfAllButTheFirst) {
    const std::string svg = draw({{0, 2220}, {a_week, 10}, {2 * a_week, 10}});
    EXPECT_EQ(count(svg, "<circle"), 3);
    // Begin, then along and up for each of two steps of the same size.
    const std::vector<double> at = numbers_of(svg, "steps");
    ASSERT_EQ(at.size(), 6U);
    EXPECT_DOUBLE_EQ(at[0], 70);
    EXPECT_DOUBLE_EQ(at[1], 330);
    EXPECT_DOUBLE_EQ(at[2], 455);
    EXPECT_DOUBLE_EQ(at[4], 840);
    EXPECT_NEAR(at[1] - at[3], at[3] - at[5], 0.15);
    EXPECT_GT(at[1] - at[3], 80);
}

TEST(Picture, HasTheFitWithinItsSigma) {
    const std::vector<step> steps{{0, 0}, {a_week, 10}, {2 * a_week, 12}, {3 * a_week, 11}};
    const std::string svg = draw(steps);
    const std::vector<double> fit = numbers_of(svg, "fit");
    const std::vector<double> stairs = numbers_of(svg, "steps");
    const std::vector<double> sigma = numbers_of(svg, "sigma");
    ASSERT_EQ(fit.size(), 4U);
    ASSERT_EQ(sigma.size(), 6U);
    // 33 s in all, at 11 a week: the line ends where the staircase does.
    EXPECT_NEAR(fit[3], stairs.back(), 0.15);
    EXPECT_GT(sigma[3], fit[3]);
    EXPECT_LT(sigma[5], fit[3]);
}

TEST(Picture, HasALineForEachRoundNumber) {
    const std::string svg = draw({{0, 0}, {0, 5}});
    for (const char *number : {">0<", ">1<", ">2<", ">3<", ">4<", ">5<"})
        EXPECT_EQ(count(svg, number), 1) << number;
    // Sigma reaches a little below nothing.
    const std::string below = draw({{0, 0}, {a_week, 10}, {2 * a_week, -1}, {3 * a_week, 0}});
    EXPECT_EQ(count(below, ">0<"), 1);
    EXPECT_EQ(count(below, ">-0<") + count(below, ">-5<"), 0);
}

TEST(Picture, OfAFastClockGoesDown) {
    const std::vector<double> fit = numbers_of(draw({{0, 0}, {a_week, -10}}), "fit");
    EXPECT_LT(fit[1], fit[3]);
}

TEST(Picture, StaysOnItsPaper) {
    const std::vector<std::vector<step>> cases{
        {{0, 0}, {1, 1}},
        {{0, 0}, {0, 0}},
        {{0, 0}, {10, 0}, {5, 3}, {20, -7}},
        {{0, 5}, {a_week, 0}, {2 * a_week, 0}},
        {{0, 0}, {a_week * 52 * 30, 1000000000}},
        {{INT64_MIN, INT64_MIN}, {INT64_MAX, INT64_MAX}},
        {{INT64_MAX - 10, 0}, {INT64_MAX, 0}},
        {{INT64_MIN, 0}, {INT64_MIN + 10, 0}},
    };
    for (const auto &steps : cases) {
        const std::string svg = draw(steps);
        EXPECT_EQ(count(svg, "nan"), 0) << svg;
        EXPECT_EQ(count(svg, "inf"), 0) << svg;
        EXPECT_LT(svg.size(), 10000U);
        const std::vector<double> at = numbers_of(svg, "steps");
        for (std::size_t i = 0; i < at.size(); i += 2) {
            EXPECT_GE(at[i], 69.9);
            EXPECT_LE(at[i], 840.1);
            EXPECT_GE(at[i + 1], 69.9);
            EXPECT_LE(at[i + 1], 330.1);
        }
        EXPECT_GE(count(svg, "text-anchor=\"middle\""), 1);
        EXPECT_LE(count(svg, "text-anchor=\"middle\""), 8);
        EXPECT_GE(count(svg, "text-anchor=\"end\""), 2);
        EXPECT_LE(count(svg, "text-anchor=\"end\""), 8);
    }
}

TEST(Picture, OfTheLastTimesHasNoneBefore1970) {
    const std::string svg = draw({{INT64_MAX - 10, 0}, {INT64_MAX, 0}});
    EXPECT_GE(count(svg, ">@9223372036854"), 1);
    EXPECT_EQ(count(svg, ">@-"), 0);
}

} // namespace
