// SPDX-License-Identifier: GPL-2.0-or-later
//
// Zones by offset: what is exported and what is recorded for each text.
#include <string>

#include <gtest/gtest.h>

#include "common/child_process.h"
#include "common/output.h"
#include "common/private_folder.h"
#include "common/zone_fixture.h"
#include "horad/timezone.h"

namespace {

class ZoneByOffset : public testing::Test {
  protected:
    void SetUp() override {
        set_system_timezone("0");
        for (const char *written : {"/etc/TZ", "/etc/profile"})
            std::filesystem::remove(written);
        set_timezone_east(0);
        set_timezone_offset(0);
    }

    /// Sets a zone by a function; nothing else is printed.
    void expect_set(int32_t (*set)(const char *), const char *text, const std::string &tz) {
        tz_guard::set("before");
        EXPECT_EQ(printed_by([&] { EXPECT_EQ(set(text), 0) << text; }), "") << text;
        EXPECT_STREQ(getenv("TZ"), tz.c_str()) << text;
    }
    void expect_refused(int32_t (*set)(const char *), const char *text, int32_t result,
                        const std::string &message) {
        tz_guard::set("before");
        put("/etc/TZ", "before");
        EXPECT_EQ(printed_by([&] { EXPECT_EQ(set(text), result) << text; }), message) << text;
        EXPECT_STREQ(getenv("TZ"), "before") << text;
        EXPECT_EQ(contents("/etc/TZ"), "before") << text;
    }
    void expect_record(int east, int hour, int minute, int offset) {
        const sys_timezone_info info = get_system_timezone();
        EXPECT_EQ(info.east, east);
        EXPECT_EQ(info.hour, hour);
        EXPECT_EQ(info.minute, minute);
        EXPECT_EQ(get_timezone_east(), east);
        EXPECT_EQ(get_timezone_offset(), offset);
    }

    private_folder etc_{"/etc"};
    tz_guard guard_;
};

TEST(ZoneByOffsetAtFirst, NothingIsRecorded) {
    CHECK_IN_FRESH_PROCESS({
        const sys_timezone_info info = get_system_timezone();
        EXPECT_EQ(info.east + info.hour + info.minute + get_timezone_offset(), 0);
    });
}

TEST_F(ZoneByOffset, OldFormat) {
    const auto set = set_system_timezone;
    expect_set(set, "8", "UTC-8:0");
    expect_record(1, 8, 0, 0);
    expect_set(set, "8:30", "UTC-8:30");
    expect_record(1, 8, 30, 0);
    expect_set(set, "-5", "UTC+5:0");
    expect_record(0, 5, 0, 0);
    expect_set(set, "-5:30", "UTC+5:30");
    expect_record(0, 5, 30, 0);
    expect_set(set, "8:0-2", "UTC-8:0");
    expect_record(1, 8, 0, 2);
    expect_set(set, "-5-123", "UTC+5:0");
    expect_record(0, 5, 0, 123);
    expect_set(set, "12", "UTC-12:0");
    expect_set(set, "-12", "UTC+12:0");
    expect_set(set, "+08", "UTC-8:0");
    expect_set(set, "0", "UTC-0:0");
    expect_set(set, "5:59", "UTC-5:59");
    expect_record(1, 5, 59, 0);
}

TEST_F(ZoneByOffset, OldFormatTakesWhatIsNoNumberAsZero) {
    const auto set = set_system_timezone;
    expect_set(set, "", "UTC-0:0");
    expect_set(set, "abc", "UTC-0:0");
    expect_set(set, "5:", "UTC-5:0");
    expect_set(set, "5:x", "UTC-5:0");
    expect_set(set, "5-", "UTC-5:0");
    expect_record(1, 5, 0, 0);
}

TEST_F(ZoneByOffset, OldFormatErrors) {
    const auto set = set_system_timezone;
    expect_refused(set, nullptr, -1, "");
    expect_refused(set, "8:00-12", -1, "\r\nerror time zone format\r\n");
    expect_refused(set, "13", -1, "\r\nerror time zone format h\r\n");
    expect_refused(set, "-13", -1, "\r\nerror time zone format h\r\n");
    expect_refused(set, "999999", -1, "\r\nerror time zone format h\r\n");
    expect_record(0, 0, 0, 0);
}

TEST_F(ZoneByOffset, OldFormatStoresEastBeforeTheMinute) {
    const auto set = set_system_timezone;
    const std::string message = "\r\nerror time zone format m\r\n";
    set_timezone_offset(7);
    expect_refused(set, "5:60", -1, message);
    expect_record(1, 0, 0, 7);
    expect_refused(set, "-5:60", -1, message);
    expect_record(0, 0, 0, 7);
    expect_refused(set, "5:-1", -1, message);
    expect_refused(set, "5:9999", -1, message);
}

TEST_F(ZoneByOffset, OldFormatRecordsEvenWhatIsNotExported) {
    std::filesystem::create_directory("/etc/TZ");
    complained_by([] { EXPECT_EQ(set_system_timezone("9:15-3"), 0); });
    expect_record(1, 9, 15, 3);
}

TEST_F(ZoneByOffset, NewFormat) {
    const auto set = set_system_timezone_new;
    expect_set(set, "+0800", "UTC-08:00");
    expect_record(1, 8, 0, 0);
    expect_set(set, "-0530", "UTC+05:30");
    expect_record(0, 5, 30, 0);
    expect_set(set, "+0800x3", "UTC-08:00");
    expect_record(1, 8, 0, 3);
    expect_set(set, "+0800-1", "UTC-08:00");
    expect_record(1, 8, 0, 1);
    expect_set(set, "+0800-", "UTC-08:00"); // no digit after it
    expect_record(1, 8, 0, 0);
    expect_set(set, "+1260", "UTC-12:60");
    expect_record(1, 12, 60, 0);
    expect_set(set, "-1200", "UTC+12:00");
    expect_record(0, 12, 0, 0);
}

TEST_F(ZoneByOffset, NewFormatErrors) {
    const auto set = set_system_timezone_new;
    const std::string length = "\r\nWrong time zone format: too long or too short!\r\n";
    const std::string range = "\r\nWrong time zone format: hour should between -12 and +12, "
                              "minute should between 00 and 60!\r\n";
    const std::string sign = "\r\nWrong time zone format: Should start with '-' or '+'!\r\n";
    expect_refused(set, nullptr, -2, "\r\nWrong time zone format:NULL!\r\n");
    expect_refused(set, "", -2, length);
    expect_refused(set, "+080", -2, length);
    expect_refused(set, "+0800-12", -2, length);
    expect_refused(set, "+1261", -2, range);
    expect_refused(set, "+1300", -2, range);
    expect_refused(set, "-1300", -2, range);
    expect_refused(set, "08000", -2, range);
    expect_refused(set, "+08-1", -2, range);
    expect_refused(set, "00800", -2, sign);
    expect_refused(set, "x0800", -2, sign);
    expect_refused(set, " 0800", -2, sign);
    expect_record(0, get_system_timezone().hour, get_system_timezone().minute, 0);
}

TEST_F(ZoneByOffset, NewFormatRecordsOnlyWhatIsExported) {
    set_system_timezone("3:15-4");
    std::filesystem::remove("/etc/TZ");
    std::filesystem::create_directory("/etc/TZ");
    complained_by([] { EXPECT_EQ(set_system_timezone_new("-0900x7"), 0); });
    expect_record(1, 3, 15, 4);
    // Nor what may not be written into a shell command.
    printed_by([] { EXPECT_EQ(set_system_timezone_new("+`;00"), 0); });
    expect_record(1, 3, 15, 4);
}

TEST_F(ZoneByOffset, Accessors) {
    EXPECT_EQ(set_timezone_offset(10), 0);
    EXPECT_EQ(get_timezone_offset(), 10);
    for (const uint32_t number : {11U, 4294967295U})
        EXPECT_EQ(printed_by([&] { EXPECT_EQ(set_timezone_offset(number), -2); }),
                  "Error:set time zone offset.\r\n");
    EXPECT_EQ(get_timezone_offset(), 10);
    for (const int east : {1, -1, 77}) {
        set_timezone_east(0);
        EXPECT_EQ(set_timezone_east(east), 0);
        EXPECT_EQ(get_timezone_east(), 1);
    }
}

} // namespace
