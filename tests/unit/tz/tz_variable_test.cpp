// SPDX-License-Identifier: GPL-2.0-or-later
//
// Where TZ is found: always what getenv() finds.
#include <array>
#include <cstdlib>
#include <random>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include "common/child_process.h"
#include "common/zone_fixture.h"
#include "tz/tz_variable.h"

namespace {

/// A test in a process of its own: what it does to the environment ends with it.
#define IN_A_FRESH_PROCESS(name)                                      \
    void name##_body();                                               \
    TEST(TzVariable, name) { CHECK_IN_FRESH_PROCESS(name##_body()); } \
    void name##_body()

IN_A_FRESH_PROCESS(ASetAChangedAndAnUnsetOne) {
    setenv("TZ", "AAA-1", 1);
    EXPECT_STREQ(recall_tz(), "AAA-1");
    setenv("TZ", "BBB-2", 1);
    EXPECT_STREQ(recall_tz(), "BBB-2");
    unsetenv("TZ");
    EXPECT_EQ(recall_tz(), nullptr);
    EXPECT_EQ(find_tz(), nullptr);
    setenv("TZ", "", 1);
    EXPECT_STREQ(recall_tz(), "");
}

IN_A_FRESH_PROCESS(ItsTextMayChangeWhereItIs) {
    static char entry[] = "TZ=AAA-1";
    putenv(entry);
    EXPECT_STREQ(recall_tz(), "AAA-1");
    entry[7] = '2';
    EXPECT_STREQ(recall_tz(), "AAA-2");
    entry[1] = 'X'; // and then it is another variable
    EXPECT_EQ(recall_tz(), nullptr);
}

IN_A_FRESH_PROCESS(NamesThatAreMerelySimilar) {
    unsetenv("TZ");
    for (const char *name : {"T", "TZZ", "TZDIR", "XTZ", "tz", "ZT"})
        setenv(name, "AAA-1", 1);
    EXPECT_EQ(recall_tz(), nullptr);
}

IN_A_FRESH_PROCESS(AnotherEnvironmentIsNoticed) {
    setenv("TZ", "AAA-1", 1);
    EXPECT_STREQ(recall_tz(), "AAA-1");
    static char other[] = "TZ=BBB-2";
    static std::array<char *, 2> environment = {other, nullptr};
    char **const before = environ;
    environ = environment.data();
    EXPECT_STREQ(recall_tz(), "BBB-2");
    environ = before;
    EXPECT_STREQ(recall_tz(), "AAA-1");
    environ = nullptr;
    EXPECT_EQ(recall_tz(), nullptr);
}

IN_A_FRESH_PROCESS(TheFirstOfTwoCounts) {
    static char name[] = "A=1";
    static char first[] = "TZ=AAA-1";
    static char second[] = "TZ=BBB-2";
    static std::array<char *, 4> environment = {name, second, nullptr, nullptr};
    environ = environment.data();
    EXPECT_STREQ(recall_tz(), "BBB-2");
    environment = {name, first, second, nullptr};
    EXPECT_STREQ(recall_tz(), "AAA-1");
    unsetenv("A"); // moves the second one to where the first one was
    EXPECT_STREQ(recall_tz(), "AAA-1");
}

IN_A_FRESH_PROCESS(AnEarlierOneWrittenByHandIsNoticed) {
    static char name[] = "A=1";
    static char other_name[] = "B=1";
    static char earlier[] = "TZ=BBB-2";
    static char tz[] = "TZ=AAA-1";
    static std::array<char *, 4> environment = {name, other_name, tz, nullptr};
    environ = environment.data();
    EXPECT_STREQ(recall_tz(), "AAA-1");
    environment[1] = earlier;
    EXPECT_STREQ(recall_tz(), "BBB-2");
}

IN_A_FRESH_PROCESS(AnEntryTurnedIntoTzIsFoundByTzset) {
    static char name[] = "AB=BBB-2";
    static char tz[] = "TZ=AAA-1";
    static std::array<char *, 3> environment = {name, tz, nullptr};
    environ = environment.data();
    EXPECT_STREQ(recall_tz(), "AAA-1");
    name[0] = 'T';
    name[1] = 'Z';
    EXPECT_STREQ(recall_tz(), "AAA-1") << "the one thing that is not noticed";
    tzset();
    EXPECT_STREQ(tzname[0], "BBB");
    EXPECT_STREQ(recall_tz(), "BBB-2");
}

IN_A_FRESH_PROCESS(AfterAsManyOthersAsAreKnownByHeart) {
    clearenv();
    for (int i = 0; i < 70; ++i) {
        unsetenv("TZ");
        setenv("TZ", "AAA-1", 1);
        ASSERT_EQ(recall_tz(), getenv("TZ")) << i;
        ASSERT_EQ(recall_tz(), getenv("TZ")) << i;
        setenv(("NAME_" + std::to_string(i)).c_str(), "value", 1);
    }
}

// The C library keeps the texts that it made, and may put a new array where an old one was.
IN_A_FRESH_PROCESS(AnEmptiedEnvironmentThatBeginsAsBeforeIsNotReadBeyondItsEnd) {
    for (int others = 0; others < 400; others = others * 5 / 4 + 1) {
        clearenv();
        for (int i = 0; i < others; ++i)
            setenv(("NAME_" + std::to_string(i)).c_str(), "value", 1);
        setenv("TZ", "AAA-1", 1);
        ASSERT_STREQ(recall_tz(), "AAA-1");
        clearenv();
        ASSERT_EQ(recall_tz(), nullptr);
        setenv("NAME_0", "value", 1);
        ASSERT_EQ(recall_tz(), nullptr) << "after " << others << " others";
    }
}

IN_A_FRESH_PROCESS(AfterAnySequenceOfChanges) {
    std::mt19937 random(1);
    const auto below = [&](int limit) {
        return std::uniform_int_distribution<>(0, limit - 1)(random);
    };
    static std::array<char, 8> entries[] = {{"TZ="}, {"V1="}, {"V2="}};
    for (int i = 0; i < 20000; ++i) {
        const std::string name = below(3) == 0 ? "TZ" : "V" + std::to_string(below(40));
        const std::string value = std::to_string(below(4));
        switch (below(20)) {
        case 0:
            clearenv();
            break;
        case 1: {
            auto &entry = entries[static_cast<std::size_t>(below(3))];
            entry[3] = value[0]; // also where it is part of the environment already
            putenv(entry.data());
            break;
        }
        case 2:
        case 3:
        case 4:
        case 5:
            unsetenv(name.c_str());
            break;
        default:
            setenv(name.c_str(), value.c_str(), below(2));
        }
        if (below(3) > 0) {
            ASSERT_EQ(recall_tz(), getenv("TZ")) << "after " << i << " changes";
        }
    }
}

} // namespace
