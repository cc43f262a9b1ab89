// SPDX-License-Identifier: GPL-2.0-or-later
//
// Reading a dump, and the judgement.
#include <array>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/zone_fixture.h"
#include "timezone/year_changes.h"

namespace {

using lines = std::vector<dump_line>;

/// A text of at most 255 characters as it is kept.
dump_line slot(const std::string &text) {
    dump_line kept{};
    EXPECT_LT(text.size(), kept.size());
    text.copy(kept.data(), kept.size() - 1);
    return kept;
}

const dump_line lowest = slot("Z  -9223372036854775808 = NULL\n");
const dump_line second_lowest = slot("Z  -9223372036854689408 = NULL\n");
const dump_line highest = slot("Z  9223372036854689407 = NULL\n");

/// A line for "HH:MM:SS" of a day in UTC and in local time.
dump_line line(const std::string &utc, const std::string &local) {
    return slot("Z  Sun " + utc + " UT = Sun " + local + " ABC isdst=1 gmtoff=3600\n");
}

lines northern() {
    return {lowest,
            second_lowest,
            line("Mar 29 00:59:59 2020", "Mar 29 00:59:59 2020"),
            line("Mar 29 01:00:00 2020", "Mar 29 02:00:00 2020"),
            line("Oct 25 00:59:59 2020", "Oct 25 01:59:59 2020"),
            line("Oct 25 01:00:00 2020", "Oct 25 01:00:00 2020"),
            highest,
            highest};
}

lines southern() {
    return {lowest,
            second_lowest,
            line("Apr  4 15:59:59 2020", "Apr  5 02:59:59 2020"),
            line("Apr  4 16:00:00 2020", "Apr  5 02:00:00 2020"),
            line("Oct  3 15:59:59 2020", "Oct  4 01:59:59 2020"),
            line("Oct  3 16:00:00 2020", "Oct  4 03:00:00 2020"),
            highest,
            highest};
}

class YearChanges : public testing::Test {
  protected:
    void SetUp() override {
        tz_guard::set("UTC0");
        tzset();
    }
    tz_guard guard_;
};

std::int64_t at(int year, int month, int day, int hour, int minute, int second) {
    return time_of(nullptr, civil(year, month, day, hour, minute, second));
}

TEST_F(YearChanges, AreThereWhenOnlyTheThirdLineNamesTheYear) {
    EXPECT_TRUE(shows_changes(northern(), 2020));
    EXPECT_FALSE(shows_changes(northern(), 2021));
    EXPECT_FALSE(shows_changes({}, 2020));
    lines dump = northern();
    dump[0] = line("Jan  1 00:00:00 2020", "Jan  1 00:00:00 2020");
    EXPECT_FALSE(shows_changes(dump, 2020));
    dump = northern();
    dump[1] = line("Jan  1 00:00:00 2020", "Jan  1 00:00:00 2020");
    EXPECT_FALSE(shows_changes(dump, 2020));
    dump = northern();
    dump[2] = highest;
    EXPECT_FALSE(shows_changes(dump, 2020));
    for (const std::size_t count : {0U, 1U, 2U}) {
        dump = northern();
        dump.resize(count);
        EXPECT_FALSE(shows_changes(dump, 2020)) << count;
    }
    dump = northern();
    dump.resize(3);
    EXPECT_TRUE(shows_changes(dump, 2020));
}

TEST_F(YearChanges, AreInYearsOfFourDigitsAtMost) {
    lines dump = northern();
    dump[2] = line("Mar 29 00:59:59 10000", "Mar 29 00:59:59 10000");
    EXPECT_TRUE(shows_changes(dump, 1000)); // a part of it
    EXPECT_FALSE(shows_changes(dump, 10000));
    EXPECT_FALSE(shows_changes(dump, -1000));
}

TEST_F(YearChanges, YearIsLookedForAnywhere) {
    lines dump = northern();
    dump[0] = slot("Zone2020  -9223372036854775808 = NULL\n");
    EXPECT_FALSE(shows_changes(dump, 2020));
    // It is in the number of the lowest instant.
    dump = northern();
    dump[2] = line("Mar 30 00:59:59 2036", "Mar 30 00:59:59 2036");
    EXPECT_FALSE(shows_changes(dump, 2036));
}

TEST_F(YearChanges, AreRead) {
    const year_changes changes = read_changes(northern());
    EXPECT_EQ(changes[0].utc, at(2020, 3, 29, 0, 59, 59));
    EXPECT_EQ(changes[0].local, at(2020, 3, 29, 0, 59, 59));
    EXPECT_EQ(changes[1].utc, at(2020, 3, 29, 1, 0, 0));
    EXPECT_EQ(changes[1].local, at(2020, 3, 29, 2, 0, 0));
    EXPECT_EQ(changes[2].utc, at(2020, 10, 25, 0, 59, 59));
    EXPECT_EQ(changes[2].local, at(2020, 10, 25, 1, 59, 59));
    EXPECT_EQ(changes[3].local, at(2020, 10, 25, 1, 0, 0));
}

TEST_F(YearChanges, AreReadAsTimesOfTheProcessZone) {
    tz_guard::set("AAA-3");
    EXPECT_EQ(read_changes(northern())[0].utc, at(2020, 3, 28, 21, 59, 59));
    // 02:00:00 is skipped there: standard time, 01:00:00 UTC.
    tz_guard::set("Europe/Paris");
    EXPECT_EQ(read_changes(northern())[1].local, at(2020, 3, 29, 1, 0, 0));
    EXPECT_EQ(hemisphere_of(read_changes(northern())), hemisphere::northern);
}

TEST_F(YearChanges, BoundThatTheProcessZoneSkipsIsReadInStandardTime) {
    // West of UTC the last second before a change can read, in UTC, like one of those
    // that the change skips: from 00:00:00 to 00:59:59 there.
    tz_guard::set("Atlantic/Azores");
    lines dump = northern();
    dump[2] = line("Mar 29 00:59:59 2020", "Mar 28 23:59:59 2020");
    dump[3] = line("Mar 29 01:00:00 2020", "Mar 29 01:00:00 2020");
    const year_changes changes = read_changes(dump);
    EXPECT_EQ(changes[0].utc, at(2020, 3, 29, 1, 59, 59));
    EXPECT_EQ(changes[0].local, at(2020, 3, 29, 0, 59, 59));
    EXPECT_EQ(changes[1].utc, at(2020, 3, 29, 1, 0, 0)); // not skipped: daylight-saving time
    EXPECT_EQ(hemisphere_of(changes), hemisphere::northern);
}

TEST_F(YearChanges, LastSecondOf1969IsATimeLikeAnyOther) {
    // It is -1, which mktime() returns for a skipped one too.
    tz_guard::set("AAA0BBB,M10.1.0,M3.1.0");
    lines dump = southern();
    dump[2] = line("Jan  1 00:59:59 1970", "Jan  1 00:59:59 1970");
    EXPECT_EQ(read_changes(dump)[0].utc, -1);
}

TEST_F(YearChanges, LineThatDoesNotParseKeepsWhatWasThere) {
    lines dump = northern();
    dump.resize(4);
    dump.push_back(highest); // month "=", nothing after it
    dump.push_back(highest);
    year_changes changes = read_changes(dump);
    EXPECT_EQ(changes[2].utc, at(2021, 1, 29, 1, 0, 0)); // a 13th month
    EXPECT_EQ(changes[2].local, changes[1].local);

    dump.resize(4); // lines that are missing
    changes = read_changes(dump);
    EXPECT_EQ(changes[2].utc, changes[1].utc);
    EXPECT_EQ(changes[3].local, changes[1].local);

    dump[3] = slot("Z  Sun Mar 30 01");
    changes = read_changes(dump);
    EXPECT_EQ(changes[1].utc, at(2020, 3, 30, 1, 59, 59));
    EXPECT_EQ(changes[1].local, changes[0].local);
}

TEST_F(YearChanges, UnreadableLinesAreSurvived) {
    for (const std::string &text :
         {std::string(), std::string("\n"), std::string(255, 'x'), std::string(255, ' '),
          std::string("Z Sun Mar 9999999999999999999 9:9:9 -99999999999 UT = Sun X -1 -1:-1:-1 -1"),
          std::string("Z  Sun ") + std::string(240, 'M')})
        static_cast<void>(
            read_changes(lines{lowest, lowest, slot(text), slot(text), slot(text), slot(text)}));
}

TEST_F(YearChanges, NorthernBoundsAreOutside) {
    const year_changes changes = read_changes(northern());
    EXPECT_EQ(hemisphere_of(changes), hemisphere::northern);
    const std::int64_t first = at(2020, 3, 29, 0, 59, 59);
    const std::int64_t second = at(2020, 10, 25, 0, 59, 59);
    EXPECT_FALSE(is_daylight_saving(changes, first - 1));
    EXPECT_FALSE(is_daylight_saving(changes, first));
    EXPECT_TRUE(is_daylight_saving(changes, first + 1));
    EXPECT_TRUE(is_daylight_saving(changes, second - 1));
    EXPECT_FALSE(is_daylight_saving(changes, second));
    EXPECT_FALSE(is_daylight_saving(changes, second + 1));
}

TEST_F(YearChanges, SouthernBoundsAreStandardTime) {
    const year_changes changes = read_changes(southern());
    EXPECT_EQ(hemisphere_of(changes), hemisphere::southern);
    const std::int64_t first = at(2020, 4, 4, 15, 59, 59);
    const std::int64_t second = at(2020, 10, 3, 15, 59, 59);
    EXPECT_TRUE(is_daylight_saving(changes, first - 1));
    EXPECT_FALSE(is_daylight_saving(changes, first));
    EXPECT_FALSE(is_daylight_saving(changes, second));
    EXPECT_TRUE(is_daylight_saving(changes, second + 1));
}

TEST_F(YearChanges, EqualReadingsAreNorthern) {
    year_changes changes{};
    changes[0].local = changes[1].local = 5;
    EXPECT_EQ(hemisphere_of(changes), hemisphere::northern);
}

TEST_F(YearChanges, MonthsDifferByAnyLetter) {
    constexpr std::array names{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                               "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    for (int month = 1; month <= 12; ++month) {
        lines dump = northern();
        const std::string day = names[static_cast<std::size_t>(month - 1)] + std::string(" 11 ");
        dump[2] = line(day + "00:59:59 2020", day + "01:00:00 2020");
        const year_changes changes = read_changes(dump);
        EXPECT_EQ(changes[0].utc, at(2020, month, 11, 0, 59, 59)) << day;
        EXPECT_EQ(changes[0].local, at(2020, month, 11, 1, 0, 0)) << day;
    }
}

} // namespace
