// SPDX-License-Identifier: GPL-2.0-or-later
//
// The lines of a dump, byte for byte.
#include <cstring>
#include <filesystem>
#include <string>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "common/output.h"
#include "common/private_folder.h"
#include "common/zone_fixture.h"
#include "timezone/dump_file.h"
#include "tz/build_index.h"

namespace {

constexpr std::int64_t london_change = 1585443600; // 2020-03-29 01:00:00 UTC

const std::string cannot_write = "********zdump:fopen(\"/tmp/dstconfig\", \"cw\") error..!";

class DumpFile : public testing::Test {
  protected:
    void SetUp() override { warn_again(); }

    std::string line_of(const char *name, std::int64_t time, int width = 0) {
        const auto zone = open_zone(name);
        remove_dump();
        append_instant({name, width, zone.get()}, utc_.get(), time);
        return contents(dump_path);
    }
    std::string plain_line_of(const char *name, std::int64_t time, int width = 0) {
        const auto zone = open_zone(name);
        remove_dump();
        append_local_time({name, width, zone.get()}, time);
        return contents(dump_path);
    }

    private_folder tmp_{"/tmp"};
    owned_zone utc_ = open_zone("UTC0");
};

TEST_F(DumpFile, LineOfAnInstant) {
    EXPECT_EQ(line_of("Europe/London", london_change - 1),
              "Europe/London  Sun Mar 29 00:59:59 2020 UT = Sun Mar 29 00:59:59 2020 GMT isdst=0 "
              "gmtoff=0\n");
    EXPECT_EQ(line_of("Europe/London", london_change),
              "Europe/London  Sun Mar 29 01:00:00 2020 UT = Sun Mar 29 02:00:00 2020 BST isdst=1 "
              "gmtoff=3600\n");
    EXPECT_EQ(line_of("<-0930>9:30", 951782400), "<-0930>9:30  Tue Feb 29 00:00:00 2000 UT = "
                                                 "Mon Feb 28 14:30:00 2000 -0930 isdst=0 "
                                                 "gmtoff=-34200\n");
}

TEST_F(DumpFile, IsMadeForAll) {
    const mode_t before = umask(0);
    line_of("UTC0", 0);
    umask(before);
    struct stat status = {};
    ASSERT_EQ(stat(dump_path, &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0666U);
}

TEST_F(DumpFile, NameIsFilledUp) {
    EXPECT_EQ(line_of("UTC0", 0, 10),
              "UTC0        Thu Jan  1 00:00:00 1970 UT = Thu Jan  1 00:00:00 1970 UTC isdst=0 "
              "gmtoff=0\n");
    EXPECT_EQ(plain_line_of("UTC0", 0, 6), "UTC0    Thu Jan  1 00:00:00 1970 UTC\n");
}

TEST_F(DumpFile, YearsOfAnyLength) {
    EXPECT_EQ(plain_line_of("UTC0", -62167219200), "UTC0  Sat Jan  1 00:00:00 0 UTC\n");
    EXPECT_EQ(plain_line_of("UTC0", -62167219201), "UTC0  Fri Dec 31 23:59:59 -1 UTC\n");
    EXPECT_EQ(plain_line_of("UTC0", -62482752000), "UTC0  Mon Jan  1 00:00:00 -10 UTC\n");
    EXPECT_EQ(plain_line_of("UTC0", 253402300800), "UTC0  Sat Jan  1 00:00:00 10000 UTC\n");
    EXPECT_EQ(plain_line_of("UTC0", 67768036191676799),
              "UTC0  Wed Dec 31 23:59:59 2147485547 UTC\n");
}

TEST_F(DumpFile, WhereThereIsNoTime) {
    EXPECT_EQ(line_of("UTC0", INT64_MIN), "UTC0  -9223372036854775808 = NULL\n");
    EXPECT_EQ(line_of("UTC0", INT64_MAX), "UTC0  9223372036854775807 = NULL\n");
    EXPECT_EQ(plain_line_of("UTC0", INT64_MAX), "UTC0  NULL\n");
    // Each half for itself.
    EXPECT_EQ(line_of("<+05>-5", 67768036191676799),
              "<+05>-5  Wed Dec 31 23:59:59 2147485547 UT = NULL\n");
    EXPECT_EQ(line_of("<+05>-5", -67768040609740801),
              "<+05>-5  -67768040609740801 = Thu Jan  1 04:59:59 -2147481748 +05 isdst=0 "
              "gmtoff=18000\n");
}

TEST_F(DumpFile, LongNamesAreCut) {
    const std::string name(300, 'x');
    remove_dump();
    append_instant({name.c_str(), 300, utc_.get()}, utc_.get(), 0);
    EXPECT_EQ(contents(dump_path), std::string(255, 'x') + "Thu Jan  1 00:00:00 1970 UT = "
                                                           "Thu Jan  1 00:00:00 1970 UTC isdst=0 "
                                                           "gmtoff=0\n");
    // A name that fills its width exactly still has its blanks.
    EXPECT_EQ(line_of("UTC0", 0, 253).substr(0, 256), "UTC0" + std::string(251, ' ') + "T");
}

TEST_F(DumpFile, WithoutAUtcZone) {
    const auto zone = open_zone("<+05>-5");
    append_instant({"Z", 0, zone.get()}, nullptr, 0);
    EXPECT_EQ(contents(dump_path), "Z  Thu Jan  1 00:00:00 1970 UT = Thu Jan  1 05:00:00 1970 +05 "
                                   "isdst=0 gmtoff=18000\n");
}

TEST_F(DumpFile, LinesAreAppended) {
    const auto zone = open_zone("UTC0");
    append_local_time({"A", 0, zone.get()}, 0);
    append_local_time({"B", 0, zone.get()}, 0);
    EXPECT_EQ(contents(dump_path),
              "A  Thu Jan  1 00:00:00 1970 UTC\nB  Thu Jan  1 00:00:00 1970 UTC\n");
    remove_dump();
    EXPECT_FALSE(std::filesystem::exists(dump_path));
    remove_dump(); // not there: nothing is said
}

TEST_F(DumpFile, LineThatCannotBeWrittenIsDropped) {
    std::filesystem::create_directory(dump_path);
    const auto zone = open_zone("UTC0");
    EXPECT_EQ(printed_by([&] {
                  append_local_time({"A", 0, zone.get()}, 0);
                  append_instant({"A", 0, zone.get()}, utc_.get(), 0);
              }),
              cannot_write + cannot_write);
}

TEST_F(DumpFile, NoLinkIsFollowed) {
    put("/tmp/target", "precious");
    std::filesystem::create_symlink("/tmp/target", dump_path);
    const auto zone = open_zone("UTC0");
    EXPECT_EQ(printed_by([&] { append_local_time({"A", 0, zone.get()}, 0); }), cannot_write);
    EXPECT_EQ(contents("/tmp/target"), "precious");
}

std::string warning(const std::string &zone, const std::string &name, const std::string &reason) {
    return "(null): warning: zone \"" + zone + "\" abbreviation \"" + name + "\" " + reason + "\n";
}

TEST_F(DumpFile, WarnsOfUnusualAbbreviations) {
    const auto warned_of = [&](const char *name) {
        warn_again();
        return complained_by([&] { plain_line_of(name, 0); });
    };
    EXPECT_EQ(warned_of("AB3"), warning("AB3", "AB", "has fewer than 3 characters"));
    EXPECT_EQ(warned_of("<A>3"), warning("<A>3", "A", "has fewer than 3 characters"));
    EXPECT_EQ(warned_of("ABCDEFG3"), warning("ABCDEFG3", "ABCDEFG", "has more than 6 characters"));
    EXPECT_EQ(warned_of("ABC3"), "");
    EXPECT_EQ(warned_of("ABCDEF3"), "");
    EXPECT_EQ(warned_of("<+1-Az9>3"), "");
}

TEST_F(DumpFile, WarnsOfOtherCharacters) {
    // Such names are only found in zone objects that were made by hand.
    auto zone = new_state();
    zone->type_count = 1;
    for (const char *name : {"A:", "ABC DEFGH", "AB\xc3\xa4"}) {
        std::strcpy(zone->abbreviations, name);
        make_ready(*zone);
        warn_again();
        EXPECT_EQ(complained_by([&] {
                      append_local_time({"Z", 0, zone.get()}, 0);
                  }),
                  warning("Z", name, "has characters other than ASCII alphanumerics, '-' or '+'"));
    }
    zone->abbreviations[0] = '\0'; // no name, no warning, no blank
    remove_dump();
    EXPECT_EQ(complained_by([&] { append_local_time({"Z", 0, zone.get()}, 0); }), "");
    EXPECT_EQ(contents(dump_path), "Z  Thu Jan  1 00:00:00 1970\n");
}

TEST_F(DumpFile, WarnsOnceUntilToldAgain) {
    EXPECT_NE(complained_by([&] { line_of("AB3", 0); }), "");
    EXPECT_EQ(complained_by([&] { line_of("AB3", 0); }), "");
    EXPECT_EQ(complained_by([&] { line_of("CD3", 0); }), "");
    warn_again();
    EXPECT_NE(complained_by([&] { line_of("CD3", 0); }), "");
    warn_again();
    EXPECT_EQ(complained_by([&] { line_of("AB3", INT64_MIN); }), ""); // there is no time
}

} // namespace
