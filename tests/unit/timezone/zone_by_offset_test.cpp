// SPDX-License-Identifier: GPL-2.0-or-later
//
// Zones by offset: what is exported and what is recorded for each text.
#include <array>
#include <span>
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

    struct accepted {
        const char *text;
        const char *tz;
        int east, hour, minute, offset;
    };
    /// Sets a zone by a function; nothing else is printed.
    void expect_set(int32_t (*set)(const char *), std::span<const accepted> cases) {
        for (const accepted &each : cases) {
            SCOPED_TRACE(each.text);
            tz_guard::set("before");
            EXPECT_EQ(printed_by([&] { EXPECT_EQ(set(each.text), 0); }), "");
            EXPECT_STREQ(getenv("TZ"), each.tz);
            expect_record(each.east, each.hour, each.minute, each.offset);
        }
    }
    struct refused {
        const char *text;
        const char *message;
    };
    void expect_refused(int32_t (*set)(const char *), int32_t result,
                        std::span<const refused> cases) {
        tz_guard::set("before");
        put("/etc/TZ", "before");
        for (const refused &each : cases) {
            SCOPED_TRACE(each.text != nullptr ? each.text : "null");
            EXPECT_EQ(printed_by([&] { EXPECT_EQ(set(each.text), result); }), each.message);
            EXPECT_STREQ(getenv("TZ"), "before");
            EXPECT_EQ(contents("/etc/TZ"), "before");
        }
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
    const accepted cases[] = {
        {"8", "UTC-8:0", 1, 8, 0, 0},
        {"+8", "UTC-8:0", 1, 8, 0, 0},
        {"08", "UTC-8:0", 1, 8, 0, 0},
        {"8:30", "UTC-8:30", 1, 8, 30, 0},
        {"8:5", "UTC-8:5", 1, 8, 5, 0},
        {"8:0-2", "UTC-8:0", 1, 8, 0, 2},
        {"8-2", "UTC-8:0", 1, 8, 0, 2},
        {"8-12", "UTC-8:0", 1, 8, 0, 12},
        {"-5", "UTC+5:0", 0, 5, 0, 0},
        {"-5:30", "UTC+5:30", 0, 5, 30, 0},
        {"-5:0-3", "UTC+5:0", 0, 5, 0, 3},
        {"-5-123", "UTC+5:0", 0, 5, 0, 123},
        {"12:59", "UTC-12:59", 1, 12, 59, 0},
        {"-12:59", "UTC+12:59", 0, 12, 59, 0},
        {"0", "UTC-0:0", 1, 0, 0, 0},
        {"-0", "UTC+0:0", 0, 0, 0, 0},
        // What does not begin with a number is 0.
        {"", "UTC-0:0", 1, 0, 0, 0},
        {"-", "UTC+0:0", 0, 0, 0, 0},
        {"zulu", "UTC-0:0", 1, 0, 0, 0},
        {"8:", "UTC-8:0", 1, 8, 0, 0},
        {"8:x", "UTC-8:0", 1, 8, 0, 0},
        {"8-", "UTC-8:0", 1, 8, 0, 0},
        // Nobody looks at what follows a number.
        {"8:5:70", "UTC-8:5", 1, 8, 5, 0},
        {"8h30m", "UTC-8:0", 1, 8, 0, 0},
        // Nor at hours behind a sign that are no number with it.
        {"--99", "UTC+-99:0", 0, -99, 0, 99},
        {"- 99", "UTC+99:0", 0, 99, 0, 0},
    };
    expect_set(set_system_timezone, cases);
}

TEST_F(ZoneByOffset, OldFormatErrors) {
    constexpr char form[] = "\r\nerror time zone format\r\n";
    constexpr char hours[] = "\r\nerror time zone format h\r\n";
    const std::string long_text(100, 'x');
    const refused cases[] = {
        {nullptr, ""},     {"8:00-10", form},         {"1234567", form},
        {"-12:590", form}, {long_text.c_str(), form}, {"13", hours},
        {"-13", hours},    {"13:00", hours},          {"999999", hours},
        {"-99999", hours}, {"24:-1", hours},
    };
    expect_refused(set_system_timezone, -1, cases);
    expect_record(0, 0, 0, 0);
}

TEST_F(ZoneByOffset, OldFormatStoresEastBeforeTheMinute) {
    constexpr char minutes[] = "\r\nerror time zone format m\r\n";
    set_system_timezone("7:5-4");
    for (const char *text : {"-5:60", "-5:-9", "-5:999"}) {
        set_timezone_east(1);
        expect_refused(set_system_timezone, -1, std::array{refused{text, minutes}});
        expect_record(0, 7, 5, 4);
        expect_refused(set_system_timezone, -1, std::array{refused{text + 1, minutes}});
        expect_record(1, 7, 5, 4);
    }
}

TEST_F(ZoneByOffset, OldFormatRecordsEvenWhatIsNotExported) {
    std::filesystem::create_directory("/etc/TZ");
    complained_by([] { EXPECT_EQ(set_system_timezone("9:15-3"), 0); });
    expect_record(1, 9, 15, 3);
}

TEST_F(ZoneByOffset, NewFormat) {
    const accepted cases[] = {
        {"+0800", "UTC-08:00", 1, 8, 0, 0},   {"-0530", "UTC+05:30", 0, 5, 30, 0},
        {"+0800x3", "UTC-08:00", 1, 8, 0, 3}, {"+0800-1", "UTC-08:00", 1, 8, 0, 1},
        {"-0800;9", "UTC+08:00", 0, 8, 0, 9}, {"+0845x", "UTC-08:45", 1, 8, 45, 0},
        {"+0800xy", "UTC-08:00", 1, 8, 0, 0}, {"+0000", "UTC-00:00", 1, 0, 0, 0},
        {"-0000", "UTC+00:00", 0, 0, 0, 0},   {"+1200", "UTC-12:00", 1, 12, 0, 0},
        {"-1200", "UTC+12:00", 0, 12, 0, 0},  {"+1260", "UTC-12:60", 1, 12, 60, 0},
        {"-0060", "UTC+00:60", 0, 0, 60, 0},  {"+-500", "UTC--5:00", 1, -5, 0, 0},
        {"-+500", "UTC++5:00", 0, 5, 0, 0},
    };
    expect_set(set_system_timezone_new, cases);
}

TEST_F(ZoneByOffset, NewFormatErrors) {
    constexpr char length[] = "\r\nWrong time zone format: too long or too short!\r\n";
    constexpr char range[] = "\r\nWrong time zone format: hour should between -12 and +12, "
                             "minute should between 00 and 60!\r\n";
    constexpr char sign[] = "\r\nWrong time zone format: Should start with '-' or '+'!\r\n";
    const std::string long_text(300, '+');
    const refused cases[] = {
        {nullptr, "\r\nWrong time zone format:NULL!\r\n"},
        {"", length},
        {"+080", length},
        {"+0800x34", length},
        {long_text.c_str(), length},
        {"+1261", range},
        {"+1300", range},
        {"-1300", range},
        {"08000", range},
        {"+08-1", range},
        {"+0099-1", range},
        {"00800", sign},
        {"01200x1", sign},
        {" 0800", sign},
        {"x0800", sign},
        {"12:00", sign},
    };
    expect_refused(set_system_timezone_new, -2, cases);
    expect_record(0, get_system_timezone().hour, get_system_timezone().minute, 0);
}

TEST_F(ZoneByOffset, NewFormatRecordsOnlyWhatIsExported) {
    set_system_timezone("3:15-4");
    std::filesystem::remove("/etc/TZ");
    std::filesystem::create_directory("/etc/TZ");
    complained_by([] { EXPECT_EQ(set_system_timezone_new("-0900x7"), 0); });
    expect_record(1, 3, 15, 4);
    // Digits are taken as typed: what may not be written into a shell command is refused
    // where it would be exported.
    for (const char *text : {"+ 800", "+;l00", "+$(00", "+08`0", "-080\n"}) {
        const std::string said = printed_by([&] { EXPECT_EQ(set_system_timezone_new(text), 0); });
        EXPECT_TRUE(said.starts_with("\r\nThe format of time zone is invalid! It can't contain "));
        expect_record(1, 3, 15, 4);
    }
}

TEST_F(ZoneByOffset, Accessors) {
    EXPECT_EQ(set_timezone_offset(10), 0);
    EXPECT_EQ(get_timezone_offset(), 10);
    for (const uint32_t number : {11U, 12U, 2147483648U, 4294967295U})
        EXPECT_EQ(printed_by([&] { EXPECT_EQ(set_timezone_offset(number), -2); }),
                  "Error:set time zone offset.\r\n");
    EXPECT_EQ(get_timezone_offset(), 10);
    for (const int32_t east : {1, -1, 77, INT32_MAX, INT32_MIN}) {
        set_timezone_east(0);
        EXPECT_EQ(set_timezone_east(east), 0);
        EXPECT_EQ(get_timezone_east(), 1);
    }
}

} // namespace
