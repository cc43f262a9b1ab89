// SPDX-License-Identifier: GPL-2.0-or-later
//
// From a zone's name to its file.
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "common/child_process.h"
#include "common/private_folder.h"
#include "common/zone_fixture.h"

namespace {

/// A zone file that can be told from others by its offset.
std::vector<unsigned char> file_with_offset(std::int32_t offset) {
    tzif_file file;
    file.wide.types = {{offset, 0, 0}};
    return file.bytes();
}

int load_name(const char *name, bool extend = true) {
    return load_zone(name, new_state().get(), extend);
}

/// The offset of the zone that a name leads to.
std::int64_t offset_of(const char *name) {
    const auto state = new_state();
    EXPECT_EQ(load_zone(name, state.get(), true), 0) << name;
    return state->types[0].utc_offset;
}

TEST(ZoneNames, RelativeAbsoluteAndColon) {
    const private_folder zoneinfo(zoneinfo_folder);
    zoneinfo.write("Some/Where", file_with_offset(11));
    EXPECT_EQ(offset_of("Some/Where"), 11);
    EXPECT_EQ(offset_of(":Some/Where"), 11);
    EXPECT_EQ(offset_of("/usr/share/zoneinfo/Some/Where"), 11);
    EXPECT_EQ(offset_of(":/usr/share/zoneinfo/Some/Where"), 11);
    EXPECT_EQ(load_name("::Some/Where"), ENOENT) << "one colon is skipped";
}

TEST(ZoneNames, NullIsTheDefaultZone) {
    const private_folder etc("/etc");
    EXPECT_EQ(load_name(nullptr), ENOENT);
    etc.write("localtime", file_with_offset(22));
    EXPECT_EQ(offset_of(nullptr), 22);
}

TEST(ZoneNames, ErrorsOfTheFileSystem) {
    const private_folder zoneinfo(zoneinfo_folder);
    zoneinfo.write("Area/City", file_with_offset(0));
    std::filesystem::create_symlink("Loop", zoneinfo.path() / "Loop");
    EXPECT_EQ(load_name("Nowhere"), ENOENT);
    EXPECT_EQ(load_name("/usr/share/zoneinfo/Nowhere"), ENOENT);
    EXPECT_EQ(load_name("Area/City/Street"), ENOTDIR);
    EXPECT_EQ(load_name("/usr/share/zoneinfo/Area/City/Street"), ENOTDIR);
    EXPECT_EQ(load_name("Loop"), ELOOP);
    EXPECT_EQ(load_name("../nowhere"), ENOENT);
}

TEST(ZoneNames, AFolderIsNoZone) {
    const private_folder zoneinfo(zoneinfo_folder);
    zoneinfo.write("Area/City", file_with_offset(0));
    EXPECT_EQ(load_name("Area"), EISDIR);
    EXPECT_EQ(load_name("/usr/share/zoneinfo/Area"), EISDIR);
    EXPECT_EQ(load_name(""), EISDIR);
    EXPECT_EQ(load_name(":"), EISDIR);
    EXPECT_EQ(load_name(".."), EISDIR);
}

TEST(ZoneNames, ShortAndForeignFiles) {
    const private_folder zoneinfo(zoneinfo_folder);
    zoneinfo.write("Empty", {});
    auto bytes = file_with_offset(0);
    bytes.resize(43);
    zoneinfo.write("Short", bytes);
    zoneinfo.write("Text", std::vector<unsigned char>(4000, 'x'));
    EXPECT_EQ(load_name("Empty"), EINVAL);
    EXPECT_EQ(load_name("Short"), EINVAL);
    EXPECT_EQ(load_name("Text"), EINVAL);
}

TEST(ZoneNames, WhatLiesPastTheReadLimitIsNotSeen) {
    const private_folder zoneinfo(zoneinfo_folder);
    auto bytes = file_with_offset(33);
    bytes.resize(200000, 'x');
    zoneinfo.write("Large", bytes);
    EXPECT_EQ(offset_of("Large"), 33);
}

TEST(ZoneNames, AFifoDoesNotHang) {
    const private_folder zoneinfo(zoneinfo_folder);
    const auto fifo = zoneinfo.path() / "Fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0644), 0);
    check_in_child([] {
        EXPECT_NE(load_name("Fifo"), 0);
        EXPECT_NE(load_name("/usr/share/zoneinfo/Fifo"), 0);
        EXPECT_EQ(tzalloc("Fifo"), nullptr);
        EXPECT_NE(errno, 0);
    });
}

TEST(ZoneNames, LongNames) {
    // The longest name that is looked up; the file system refuses it alike.
    EXPECT_EQ(load_name(std::string(84531, 'x').c_str()), ENAMETOOLONG);
    EXPECT_EQ(load_name(std::string(84532, 'x').c_str()), ENAMETOOLONG);
    EXPECT_EQ(load_name((":" + std::string(84532, 'x')).c_str()), ENAMETOOLONG);
    EXPECT_EQ(load_name(("../" + std::string(84529, 'x')).c_str()), ENAMETOOLONG);
    EXPECT_EQ(load_name(std::string(1000000, 'x').c_str()), ENAMETOOLONG);
    EXPECT_EQ(load_name(("/" + std::string(1000000, 'x')).c_str()), ENAMETOOLONG);
    EXPECT_EQ(load_name(std::string(256, 'x').c_str()), ENAMETOOLONG) << "one component";
}

/// access() goes by the real user, open() by the effective one: with root only
/// as the effective user, a private file tells which names are tested first.
void expect_when_loaded(const char *name, int error) {
    check_in_child([=] {
        ASSERT_EQ(setreuid(65534, 0), 0);
        EXPECT_EQ(load_name(name), error) << (name != nullptr ? name : "null");
    });
}
void expect_tested(const char *name) { expect_when_loaded(name, EACCES); }
void expect_untested(const char *name) { expect_when_loaded(name, 0); }

class ZoneNameTest : public testing::Test {
  protected:
    ZoneNameTest() {
        std::filesystem::create_directories(zoneinfo.path() / "sub");
        for (const char *name :
             {"x", "a..b", "..x", "x..", "...", "sub/..x", "sub/x..", "sub/...", ".x", "sub/a..b"})
            make_private(zoneinfo.write(name, file_with_offset(0)));
        make_private(etc.write("localtime", file_with_offset(0)));
    }

    static void make_private(const std::string &file) { ASSERT_EQ(chmod(file.c_str(), 0600), 0); }

    private_folder zoneinfo{zoneinfo_folder};
    private_folder etc{"/etc"};
};

TEST_F(ZoneNameTest, PlainRelativeNamesAreOpenedUntested) {
    for (const char *name : {"x", ":x", "a..b", "..x", "x..", "...", "sub/..x", "sub/x..",
                             "sub/...", ".x", "sub/a..b", "./x", "sub/./..x"})
        expect_untested(name);
}

TEST_F(ZoneNameTest, NamesThatClimbAreTested) {
    for (const char *name : {"../zoneinfo/x", "sub/../x", ":../zoneinfo/x",
                             "../../share/zoneinfo/x", "sub//../x", "./../zoneinfo/x"})
        expect_tested(name);
}

TEST_F(ZoneNameTest, AbsoluteNamesAndTheDefaultAreTested) {
    expect_tested("/usr/share/zoneinfo/x");
    expect_tested(":/usr/share/zoneinfo/x");
    expect_tested(nullptr);
}

TEST(InitZone, EmptyNameIsUtcWithoutAnyFile) {
    const private_folder zoneinfo(zoneinfo_folder); // nothing in it
    const auto state = new_state();
    state->leap_count = state->transition_count = state->type_count = state->char_count = 7;
    state->go_back = state->go_ahead = true;
    state->default_type = 3;
    state->types[0] = {3600, true, 5, true, true};
    ASSERT_EQ(init_zone(state.get(), ""), 0);
    EXPECT_EQ(state->leap_count, 0);
    EXPECT_EQ(state->transition_count, 0);
    EXPECT_EQ(state->type_count, 0);
    EXPECT_EQ(state->char_count, 0);
    EXPECT_FALSE(state->go_back);
    EXPECT_FALSE(state->go_ahead);
    EXPECT_EQ(state->types[0].utc_offset, 0);
    EXPECT_FALSE(state->types[0].is_dst);
    EXPECT_EQ(state->types[0].abbr_index, 0);
    EXPECT_STREQ(state->abbreviations, "GMT");
    EXPECT_EQ(state->default_type, 0);
    EXPECT_EQ(local_text(state.get(), 0), "1970-01-01 00:00:00 GMT dst=0 0 Thu 0");
}

TEST(InitZone, AFileComesBeforeARuleString) {
    const private_folder zoneinfo(zoneinfo_folder);
    const auto state = new_state();
    ASSERT_EQ(init_zone(state.get(), "AAA3"), 0);
    EXPECT_EQ(state->types[0].utc_offset, -10800);
    zoneinfo.write("AAA3", file_with_offset(44));
    ASSERT_EQ(init_zone(state.get(), "AAA3"), 0);
    EXPECT_EQ(state->types[0].utc_offset, 44);
    zoneinfo.write("AAA3", {});
    ASSERT_EQ(init_zone(state.get(), "AAA3"), 0) << "a broken file is as good as none";
    EXPECT_EQ(state->types[0].utc_offset, -10800);
}

TEST(InitZone, AColonRulesOutARuleString) {
    const private_folder zoneinfo(zoneinfo_folder);
    const auto state = new_state();
    EXPECT_EQ(init_zone(state.get(), ":AAA3"), ENOENT);
    EXPECT_EQ(init_zone(state.get(), ":"), EISDIR);
}

TEST(InitZone, ReportsTheLoadersErrorWhenNothingFits) {
    const private_folder zoneinfo(zoneinfo_folder);
    zoneinfo.write("Broken", std::vector<unsigned char>(100, 0xff));
    zoneinfo.write("Area/City", file_with_offset(0));
    const auto state = new_state();
    EXPECT_EQ(init_zone(state.get(), "Nowhere"), ENOENT);
    EXPECT_EQ(init_zone(state.get(), "Broken"), EINVAL);
    EXPECT_EQ(init_zone(state.get(), "Area"), EISDIR);
    EXPECT_EQ(init_zone(state.get(), std::string(100000, 'x').c_str()), ENAMETOOLONG);
}

TEST(InitZone, UsesTheFooter) {
    const private_folder zoneinfo(zoneinfo_folder);
    tzif_file file;
    file.footer = "\nAAA3\n";
    zoneinfo.write("Zone", file.bytes());
    const auto state = new_state();
    ASSERT_EQ(init_zone(state.get(), "Zone"), 0);
    EXPECT_EQ(state->type_count, 2);
}

TEST(LoadUtc, FromTheFileOrFromTheRule) {
    const private_folder zoneinfo(zoneinfo_folder);
    const auto state = new_state();
    load_utc(state.get());
    EXPECT_EQ(state->type_count, 1);
    EXPECT_EQ(state->types[0].utc_offset, 0);
    EXPECT_STREQ(state->abbreviations, "GMT");
    EXPECT_EQ(state->leap_count, 0);

    tzif_file file;
    file.wide.abbreviations = std::string("FILE\0", 5);
    zoneinfo.write("GMT", file.bytes());
    load_utc(state.get());
    EXPECT_STREQ(state->abbreviations, "FILE");
}

} // namespace
