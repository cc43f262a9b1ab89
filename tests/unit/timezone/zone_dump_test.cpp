// SPDX-License-Identifier: GPL-2.0-or-later
//
// The zone dump as a whole: its arguments, its file, its results.
#include <algorithm>
#include <ctime>
#include <initializer_list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/output.h"
#include "common/private_folder.h"
#include "common/zone_fixture.h"
#include "horad/timezone.h"
#include "timezone/dump_file.h"

namespace {

constexpr char two_letters[] = "AB3CDE,M3.2.0,M11.1.0";

int run(std::initializer_list<const char *> words) {
    std::vector<std::string> copies;
    std::vector<char *> argv;
    copies.reserve(words.size());
    for (const char *word : words)
        argv.push_back(word ? copies.emplace_back(word).data() : nullptr);
    const auto count = static_cast<int32_t>(argv.size());
    argv.push_back(nullptr);
    return zdump_main(count, argv.data());
}

std::size_t line_count() {
    const std::string text = contents(dump_path);
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

class ZoneDump : public testing::Test {
  protected:
    private_folder tmp_{"/tmp"};
};

TEST_F(ZoneDump, OneYearOfLondon) {
    EXPECT_EQ(run({"zdump", "-c", "2020,2021", "-v", "Europe/London"}), 0);
    EXPECT_EQ(contents(dump_path),
              "Europe/London  -9223372036854775808 = NULL\n"
              "Europe/London  -9223372036854689408 = NULL\n"
              "Europe/London  Sun Mar 29 00:59:59 2020 UT = Sun Mar 29 00:59:59 2020 GMT isdst=0 "
              "gmtoff=0\n"
              "Europe/London  Sun Mar 29 01:00:00 2020 UT = Sun Mar 29 02:00:00 2020 BST isdst=1 "
              "gmtoff=3600\n"
              "Europe/London  Sun Oct 25 00:59:59 2020 UT = Sun Oct 25 01:59:59 2020 BST isdst=1 "
              "gmtoff=3600\n"
              "Europe/London  Sun Oct 25 01:00:00 2020 UT = Sun Oct 25 01:00:00 2020 GMT isdst=0 "
              "gmtoff=0\n"
              "Europe/London  9223372036854689407 = NULL\n"
              "Europe/London  9223372036854775807 = NULL\n");
}

TEST_F(ZoneDump, ZoneWithoutChanges) {
    EXPECT_EQ(run({"zdump", "-c", "2020,2021", "-v", "UTC0"}), 0);
    EXPECT_EQ(contents(dump_path), "UTC0  -9223372036854775808 = NULL\n"
                                   "UTC0  -9223372036854689408 = NULL\n"
                                   "UTC0  9223372036854689407 = NULL\n"
                                   "UTC0  9223372036854775807 = NULL\n");
}

TEST_F(ZoneDump, CutOffs) {
    EXPECT_EQ(run({"zdump", "-c", "1850", "-v", "Europe/London"}), 0);
    EXPECT_EQ(line_count(), 6); // the end of local mean time
    const std::string from_500_bc = contents(dump_path);
    EXPECT_EQ(run({"zdump", "-c", "-500,1850", "-v", "Europe/London"}), 0);
    EXPECT_EQ(contents(dump_path), from_500_bc);

    EXPECT_EQ(run({"zdump", "-c", nullptr, "-v", "Europe/London"}), 0);
    const std::string by_default = contents(dump_path);
    EXPECT_EQ(run({"zdump", "-c", "-500,2500", "-v", "Europe/London"}), 0);
    EXPECT_EQ(contents(dump_path), by_default);
    EXPECT_EQ(run({"zdump", "-x", "2020,2021", "-v", "Europe/London"}), 0);
    EXPECT_EQ(contents(dump_path), by_default);
    EXPECT_EQ(run({"zdump", nullptr, "2020,2021", "-v", "Europe/London"}), 0);
    EXPECT_EQ(contents(dump_path), by_default);
}

TEST_F(ZoneDump, FirstSecondOfTheHighYearBelongsToIt) {
    EXPECT_EQ(run({"zdump", "-c", "2021,2022", "-v", "AAA0BBB,J1/0,J100"}), 0);
    EXPECT_NE(contents(dump_path).find("Sat Jan  1 00:00:00 2022 UT"), std::string::npos);
    EXPECT_EQ(contents(dump_path).find("Fri Jan  1 00:00:00 2021 UT"), std::string::npos);
}

TEST_F(ZoneDump, BadCutOffLeavesNoFile) {
    for (const char *cut_off : {"2020,", "x", "", ",2021", "2020,2021x"}) {
        put(dump_path, "of the run before");
        std::string said;
        EXPECT_EQ(complained_by([&] {
                      said = printed_by([&] {
                          EXPECT_EQ(run({"zdump", "-c", cut_off, "-v", "UTC0"}), 1);
                      });
                  }) + said,
                  "");
        EXPECT_FALSE(std::filesystem::exists(dump_path)) << cut_off;
    }
    // Nobody looks at it in plain mode.
    EXPECT_EQ(run({"zdump", "-c", "x", "-V", "UTC0"}), 0);
    EXPECT_EQ(line_count(), 1);
}

TEST_F(ZoneDump, EachRunBeginsAnew) {
    put(dump_path, "of the run before\n");
    EXPECT_EQ(run({"zdump", "-c", "2020,2021", "-v", "UTC0"}), 0);
    EXPECT_EQ(line_count(), 4);
    EXPECT_EQ(run({"zdump", "-c", "2020,2021", "-v"}), 0); // no zone, no file
    EXPECT_FALSE(std::filesystem::exists(dump_path));
}

TEST_F(ZoneDump, NamesAreAsWideAsTheLongest) {
    EXPECT_EQ(run({"zdump", "-c", "2020,2021", "-v", "UTC0", "<LONGER>0"}), 0);
    const std::string text = contents(dump_path);
    EXPECT_EQ(text.find("UTC0       -9223"), 0);
    EXPECT_NE(text.find("\n<LONGER>0  -9223"), std::string::npos);
    EXPECT_EQ(run({"zdump", "-c", "2020,2021", "-v", "UTC0"}), 0); // not remembered
    EXPECT_EQ(contents(dump_path).find("UTC0  -9223"), 0);
}

TEST_F(ZoneDump, UnknownZoneEndsTheRun) {
    std::string said = complained_by([] {
        EXPECT_EQ(run({"zdump", "-c", "2020,2021", "-v", "UTC0", "No/Such", "UTC0"}), 1);
    });
    EXPECT_EQ(said, "No/Such: No such file or directory\n");
    EXPECT_EQ(line_count(), 4);
    EXPECT_EQ(contents(dump_path).find("UTC0     -9223"), 0);
}

TEST_F(ZoneDump, PlainMode) {
    const time_t before = time(nullptr);
    EXPECT_EQ(run({"zdump", "", "", "", "Europe/London", "UTC0"}), 0);
    const std::string text = contents(dump_path);
    const time_t after = time(nullptr);
    std::vector<std::string> allowed;
    for (time_t now = before; now <= after; ++now) {
        std::string expected;
        for (const char *name : {"Europe/London", "UTC0"}) {
            const auto zone = open_zone(name);
            struct tm tm = {};
            char line[100];
            localtime_rz(zone.get(), &now, &tm);
            strftime(line, sizeof line, "  %a %b %e %H:%M:%S %Y %Z\n", &tm);
            expected += (name + std::string(13 - strlen(name), ' ')) + line;
        }
        allowed.push_back(expected);
    }
    EXPECT_NE(std::find(allowed.begin(), allowed.end(), text), allowed.end()) << text;
}

TEST_F(ZoneDump, OneWarningForEachZone) {
    const std::string said = complained_by([] {
        run({"zdump", "-c", "2020,2021", "-v", two_letters, "Europe/London",
             "CD3EF,M3.2.0,M11.1.0"});
    });
    EXPECT_EQ(said, "(null): warning: zone \"AB3CDE,M3.2.0,M11.1.0\" abbreviation \"AB\" has fewer "
                    "than 3 characters\n"
                    "(null): warning: zone \"CD3EF,M3.2.0,M11.1.0\" abbreviation \"CD\" has fewer "
                    "than 3 characters\n");
}

TEST_F(ZoneDump, PlainModeDoesNotWarnAgain) {
    EXPECT_NE(complained_by([] { run({"zdump", "-c", "2020,2021", "-v", two_letters}); }), "");
    EXPECT_EQ(complained_by([] { run({"zdump", "", "", "", two_letters}); }), "");
    EXPECT_NE(complained_by([] { run({"zdump", "-c", "2020,2021", "-v", two_letters}); }), "");
}

TEST_F(ZoneDump, TooFewArgumentsAreRefused) {
    put(dump_path, "kept");
    const auto refused = [](std::initializer_list<const char *> words) {
        return complained_by([&] { EXPECT_EQ(run(words), 1); });
    };
    EXPECT_NE(refused({}), "");
    EXPECT_NE(refused({"zdump"}), "");
    EXPECT_NE(refused({"zdump", "-c", "2020,2021"}), "");
    EXPECT_NE(refused({"zdump", "-c", "2020,2021", "-v", "UTC0", nullptr}), "");
    EXPECT_EQ(contents(dump_path), "kept");
}

TEST_F(ZoneDump, ProcessZoneIsLeftAlone) {
    tz_guard guard;
    tz_guard::set("AAA-7");
    tzset();
    const std::string before = tzname[0];
    run({"zdump", "-c", "2020,2021", "-v", "Europe/London"});
    const time_t epoch = 0;
    struct tm tm = {};
    EXPECT_EQ(to_text(localtime_r(&epoch, &tm)), "1970-01-01 07:00:00 AAA dst=0 25200 Thu 0");
    EXPECT_EQ(tzname[0], before);
}

} // namespace
