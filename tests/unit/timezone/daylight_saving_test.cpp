// SPDX-License-Identifier: GPL-2.0-or-later
//
// Daylight-saving discovery as a whole.
#include <chrono>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "common/output.h"
#include "common/private_folder.h"
#include "common/zone_fixture.h"
#include "horad/timezone.h"
#include "timezone/dump_file.h"

namespace {

constexpr char northern_message[] = "--------location in Northern and in dst time \r\n";
constexpr char southern_message[] = "location in Southern and in dst time ";

std::int64_t noon(int year, int month, int day) {
    return time_of(nullptr, civil(year, month, day, 12));
}

bool ends_with(const std::string &text, const std::string &end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

class DaylightSaving : public testing::Test {
  protected:
    void SetUp() override {
        tz_guard::set("UTC0");
        tzset();
    }

    int ask(int year, std::int64_t now, const char *location) {
        int answer = -99;
        printed_ = printed_by([&] { answer = systemGetDstCfg(year, now, location); });
        return answer;
    }

    std::string printed_;
    private_folder tmp_{"/tmp"};
    tz_guard guard_;
};

TEST_F(DaylightSaving, North) {
    EXPECT_EQ(ask(2020, noon(2020, 7, 15), "Europe/London"), 1);
    EXPECT_TRUE(ends_with(printed_, northern_message));
    EXPECT_EQ(ask(2020, noon(2020, 1, 15), "Europe/London"), 0);
    EXPECT_EQ(printed_.find("North"), std::string::npos);
}

TEST_F(DaylightSaving, TheDumpIsGivenATenthOfASecond) {
    const auto begin = std::chrono::steady_clock::now();
    ask(2020, noon(2020, 7, 15), "Europe/London");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(100));
}

TEST_F(DaylightSaving, South) {
    EXPECT_EQ(ask(2020, noon(2020, 1, 15), "Australia/Sydney"), 1);
    EXPECT_TRUE(ends_with(printed_, southern_message));
    EXPECT_EQ(ask(2020, noon(2020, 7, 15), "Australia/Sydney"), 0);
}

TEST_F(DaylightSaving, ChangeThatTheProcessZoneSkips) {
    tz_guard::set("Atlantic/Azores");
    const char *const azores = "Atlantic/Azores";
    EXPECT_EQ(ask(2020, noon(2020, 1, 15), azores), 0);
    EXPECT_EQ(ask(2020, noon(2020, 3, 28), azores), 0);
    EXPECT_EQ(ask(2020, noon(2020, 3, 30), azores), 1);
    EXPECT_EQ(ask(2020, noon(2020, 12, 15), azores), 0);
}

TEST_F(DaylightSaving, NoChangesInTheYear) {
    EXPECT_EQ(ask(2020, noon(2020, 7, 15), "UTC0"), 0);
    EXPECT_EQ(ask(2020, noon(2020, 7, 15), "Asia/Tokyo"), 0);
}

TEST_F(DaylightSaving, DumpIsShown) {
    ask(2020, noon(2020, 1, 15), "Europe/London");
    EXPECT_EQ(printed_.find("acDstDump[0]: Europe/London  -9223372036854775808 = NULL\n\r\n"
                            "acDstDump[1]: Europe/London  -9223372036854689408 = NULL\n\r\n"
                            "acDstDump[2]: Europe/London  Sun Mar 29 00:59:59 2020 UT = "),
              0);
    EXPECT_TRUE(
        ends_with(printed_, "acDstDump[7]: Europe/London  9223372036854775807 = NULL\n\r\n"));
}

TEST_F(DaylightSaving, OnlyEightLinesCount) {
    // Four changes a year there: daylight-saving time is suspended for a month.
    ask(2018, noon(2018, 7, 15), "Africa/Casablanca");
    EXPECT_NE(printed_.find("acDstDump[7]: "), std::string::npos);
    EXPECT_EQ(printed_.find("acDstDump[8]: "), std::string::npos);
}

TEST_F(DaylightSaving, EmptyLocation) {
    put(dump_path, "kept");
    for (const char *location : {"", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(ask(2020, 0, location), -1);
        EXPECT_EQ(printed_, "\r\nThe location where you need to get daylight saving time is "
                            "empty.\r\n");
    }
    EXPECT_EQ(contents(dump_path), "kept");
}

TEST_F(DaylightSaving, YearsOfFourDigitsOnly) {
    put(dump_path, "kept");
    EXPECT_EQ(ask(10000, 0, "Europe/London"), -1);
    EXPECT_EQ(printed_, "\r\nThe year 10000 is out of range: 0 to 9999.\r\n");
    EXPECT_EQ(ask(-1, 0, "Europe/London"), -1);
    EXPECT_EQ(printed_, "\r\nThe year -1 is out of range: 0 to 9999.\r\n");
    EXPECT_EQ(contents(dump_path), "kept");
    EXPECT_EQ(ask(9999, noon(9999, 7, 15), "Europe/London"), 1);
    EXPECT_EQ(ask(1000, noon(1000, 7, 15), "Europe/London"), 0);
    EXPECT_EQ(ask(0, 0, "Europe/London"), 0);
}

TEST_F(DaylightSaving, Year2036IsInTheLowestInstant) {
    EXPECT_EQ(ask(2035, noon(2035, 7, 15), "Europe/London"), 1);
    EXPECT_EQ(ask(2036, noon(2036, 7, 15), "Europe/London"), 0);
    EXPECT_EQ(ask(2037, noon(2037, 7, 15), "Europe/London"), 1);
}

TEST_F(DaylightSaving, WithoutADump) {
    const std::string said = complained_by([&] { EXPECT_EQ(ask(2020, 0, "No/Such"), 0); });
    EXPECT_EQ(said, "No/Such: No such file or directory\n");
    EXPECT_EQ(printed_, "");
    std::filesystem::create_directory(dump_path);
    EXPECT_EQ(ask(2020, noon(2020, 7, 15), "Europe/London"), 0);
}

TEST_F(DaylightSaving, LongLocation) {
    const std::string location(5000, 'x');
    complained_by([&] { EXPECT_EQ(ask(2020, 0, location.c_str()), 0); });
}

} // namespace
