// SPDX-License-Identifier: GPL-2.0-or-later
#include "steps_text.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

const std::vector<step> none;
const std::vector<step> one{{1795420800, 2220}};
const std::vector<step> two{{1795420800, 2220}, {1796025600, 12}};

TEST(StepsText, Table) {
    EXPECT_EQ(steps_as_table(two, fit_drift(two)),
              "time                      seconds        ppm\n"
              "2026-11-23T08:00:00Z         2220          -\n"
              "2026-11-30T08:00:00Z           12      19.84\n"
              "drift 19.84 +/- 0.68 ppm: the clock runs slow, by 12.0 s in a week\n");
}

TEST(StepsText, TableWithoutADrift) {
    EXPECT_EQ(steps_as_table(one, fit_drift(one)),
              "time                      seconds        ppm\n"
              "2026-11-23T08:00:00Z         2220          -\n"
              "drift unknown: it takes two steps with time between them\n");
    EXPECT_EQ(steps_as_table(none, fit_drift(none)), "no steps recorded\n");
}

TEST(StepsText, AFastClock) {
    EXPECT_EQ(drift_in_words({-20, 0.5, -12.096}),
              "drift -20.00 +/- 0.50 ppm: the clock runs fast, by 12.1 s in a week");
}

TEST(StepsText, AClockThatIsRight) {
    const std::string right = "drift 0.00 +/- 0.68 ppm: the clock runs neither slow nor fast";
    EXPECT_EQ(drift_in_words({0, 0.675, 0}), right);
    EXPECT_EQ(drift_in_words({0.004, 0.675, 0.0024}), right);
    EXPECT_EQ(drift_in_words({-0.004, 0.675, -0.0024}), right);
    EXPECT_EQ(drift_in_words({-0.006, 0.675, -0.0036}),
              "drift -0.01 +/- 0.68 ppm: the clock runs fast, by 0.0 s in a week");
}

TEST(StepsText, Csv) {
    EXPECT_EQ(steps_as_csv(two),
              "time,seconds\n2026-11-23T08:00:00Z,2220\n2026-11-30T08:00:00Z,12\n");
    EXPECT_EQ(steps_as_csv(none), "time,seconds\n");
}

TEST(StepsText, Json) {
    EXPECT_EQ(steps_as_json(two, fit_drift(two)), R"({
  "steps":[
    {
      "time":"2026-11-23T08:00:00Z",
      "seconds":2220
    },
    {
      "time":"2026-11-30T08:00:00Z",
      "seconds":12
    }
  ],
  "driftPpm":19.84127,
  "driftPpmUncertainty":0.675014,
  "errorBeforeNextSeconds":12
}
)");
}

TEST(StepsText, JsonWithoutADrift) {
    // White space in an empty list is as json-c's release has it.
    std::string text = steps_as_json(none, fit_drift(none));
    std::erase_if(text, [](char c) { return c == ' ' || c == '\n'; });
    EXPECT_EQ(text, R"({"steps":[],"driftPpm":null,"driftPpmUncertainty":null,)"
                    R"("errorBeforeNextSeconds":null})");
    EXPECT_NE(steps_as_json(one, fit_drift(one)).find("\"driftPpm\":null"), std::string::npos);
}

} // namespace
