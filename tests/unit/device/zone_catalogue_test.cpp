// SPDX-License-Identifier: GPL-2.0-or-later
#include "zone_catalogue/zone_catalogue.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "common/temp_folder.h"
#include "offered_locations.h"
#include "zone_catalogue/find_zone.h"
#include "zone_catalogue/moved_zones.h"

namespace {

namespace fs = std::filesystem;

const fs::path zoneinfo = "/usr/share/zoneinfo";

const zone_catalogue_entry *look_up(const std::string &key) {
    return get_zone_info_by_continent_city(key.c_str(), nullptr, nullptr);
}

std::vector<std::string> split(std::string_view text) {
    std::istringstream words{std::string(text)};
    return {std::istream_iterator<std::string>(words), {}};
}

std::string text_of(const zone_catalogue_entry *entry) {
    if (!entry)
        return "none";
    std::string text;
    for (const char *part :
         {entry->continent, entry->location, entry->path, entry->offset, entry->short_name})
        text += (text.empty() ? "" : " ") + std::string(part);
    return text;
}

// Calls `check` with the key of every location on offer.
template <typename Check> void for_each_offered(Check check) {
    for (const auto &[continent, help] : offered)
        for (const std::string &location : locations_in(help))
            check(std::string(continent), location);
}

// Calls `check` with continent word and location of every zone file installed.
template <typename Check> void for_each_installed(Check check) {
    for (const auto &[continent, help] : offered) {
        const fs::path folder =
            zoneinfo / (continent == "Indian_Ocean" ? "Indian" : std::string(continent));
        for (const auto &file : fs::recursive_directory_iterator(folder))
            if (file.is_regular_file())
                check(std::string(continent), file.path().lexically_relative(folder).string());
    }
}

// The system library's opinion: the lesser of January's and July's offset, by the
// rule that holds after all changes that the file knows of.
std::string standard_time_of(const std::string &path) {
    const char *former = std::getenv("TZ");
    const std::string kept = former ? former : "";
    setenv("TZ", (":" + path).c_str(), 1);
    tzset();
    tm found{};
    for (const std::time_t time : {16726478400, 16742116800}) { // 15 January and 15 July 2500
        tm local{};
        localtime_r(&time, &local);
        if (!found.tm_zone || local.tm_gmtoff < found.tm_gmtoff)
            found = local;
    }
    char text[64];
    const long minutes = std::labs(found.tm_gmtoff) / 60;
    std::snprintf(text, sizeof text, "GMT%c%02ld%02ld %s", found.tm_gmtoff < 0 ? '-' : '+',
                  minutes / 60, minutes % 60, found.tm_zone);
    former ? setenv("TZ", kept.c_str(), 1) : unsetenv("TZ");
    tzset();
    return text;
}

TEST(ZoneCatalogue, EveryOfferedLocationIsThere) {
    int count = 0;
    for_each_offered([&count](const std::string &continent, const std::string &location) {
        const auto *entry = look_up(continent + " " + location);
        ASSERT_TRUE(entry) << continent << ' ' << location;
        EXPECT_EQ(entry->continent, continent);
        EXPECT_EQ(entry->location, location);
        EXPECT_TRUE(fs::is_regular_file(entry->path)) << entry->path;
        ++count;
    });
    EXPECT_EQ(count, 480);
}

// The full set of zone files has one for each location, called like it.
TEST(ZoneCatalogue, EveryOfferedLocationIsInAFileOfItsName) {
    for_each_offered([](const std::string &continent, const std::string &location) {
        EXPECT_EQ(fs::path(look_up(continent + " " + location)->path).filename(), location);
    });
}

TEST(ZoneCatalogue, EveryInstalledZoneIsThereUnderItsOwnPath) {
    int count = 0;
    for_each_installed([&count](const std::string &continent, const std::string &location) {
        const auto *entry = look_up(continent + " " + location);
        ASSERT_TRUE(entry) << continent << ' ' << location;
        const std::string folder = continent == "Indian_Ocean" ? "Indian" : continent;
        EXPECT_EQ(entry->path, (zoneinfo / folder / location).string());
        ++count;
    });
    EXPECT_GT(count, 400);
}

TEST(ZoneCatalogue, OffsetsAndNamesAreTheSystemLibrarys) {
    const auto check = [](const std::string &continent, const std::string &location) {
        const auto *entry = look_up(continent + " " + location);
        ASSERT_TRUE(entry);
        EXPECT_EQ(std::string(entry->offset) + " " + entry->short_name,
                  standard_time_of(entry->path))
            << entry->path;
    };
    for_each_offered(check);
    for_each_installed(check);
}

TEST(ZoneCatalogue, WellKnownEntries) {
    for (const char *expected : {
             "Africa Egypt /usr/share/zoneinfo/Egypt GMT+0200 EET",
             "Africa Libya /usr/share/zoneinfo/Libya GMT+0200 EET",
             "Africa Zulu /usr/share/zoneinfo/Zulu GMT+0000 UTC",
             "America Acre /usr/share/zoneinfo/Brazil/Acre GMT-0500 -05",
             "America Alaska /usr/share/zoneinfo/US/Alaska GMT-0900 AKST",
             "America Argentina/Salta /usr/share/zoneinfo/America/Argentina/Salta GMT-0300 -03",
             "America BajaNorte /usr/share/zoneinfo/Mexico/BajaNorte GMT-0800 PST",
             "America Beulah /usr/share/zoneinfo/America/North_Dakota/Beulah GMT-0600 CST",
             "America Hawaii /usr/share/zoneinfo/US/Hawaii GMT-1000 HST",
             "America Newfoundland /usr/share/zoneinfo/Canada/Newfoundland GMT-0330 NST",
             "America Port-au-Prince /usr/share/zoneinfo/America/Port-au-Prince GMT-0500 EST",
             "America Salta /usr/share/zoneinfo/America/Argentina/Salta GMT-0300 -03",
             "Indian_Ocean Chagos /usr/share/zoneinfo/Indian/Chagos GMT+0600 +06",
             "Asia Japan /usr/share/zoneinfo/Japan GMT+0900 JST",
             "Asia Kathmandu /usr/share/zoneinfo/Asia/Kathmandu GMT+0545 +0545",
             "Asia Iran /usr/share/zoneinfo/Iran GMT+0330 +0330",
             "Atlantic Azores /usr/share/zoneinfo/Atlantic/Azores GMT-0100 -01",
             "Europe Paris /usr/share/zoneinfo/Europe/Paris GMT+0100 CET",
             "Europe London /usr/share/zoneinfo/Europe/London GMT+0000 GMT",
             "Europe Eire /usr/share/zoneinfo/Eire GMT+0000 GMT",
             "Australia Eucla /usr/share/zoneinfo/Australia/Eucla GMT+0845 +0845",
             "Australia Lord_Howe /usr/share/zoneinfo/Australia/Lord_Howe GMT+1030 +1030",
             "Pacific Kiritimati /usr/share/zoneinfo/Pacific/Kiritimati GMT+1400 +14",
             "Pacific Marquesas /usr/share/zoneinfo/Pacific/Marquesas GMT-0930 -0930",
             "Pacific Samoa /usr/share/zoneinfo/Pacific/Samoa GMT-1100 SST",
         }) {
        const std::string line = expected;
        EXPECT_EQ(text_of(look_up(line.substr(0, line.find(" /")))), line);
    }
}

TEST(ZoneCatalogue, UnknownPairsAreNotThere) {
    for (const char *key : {"",
                            " ",
                            "Europe",
                            "Europe ",
                            " Paris",
                            "Europe Pariss",
                            "Europe paris",
                            "europe Paris",
                            "Europe  Paris",
                            "Europe Paris ",
                            " Europe Paris",
                            "Europe\tParis",
                            "Europe/Paris",
                            "Indian Chagos",
                            "Antarctica Troll",
                            "Etc UTC",
                            "US Hawaii",
                            "Eur Paris",
                            "EuropeX Paris",
                            "America Argentina",
                            "America Argentina/",
                            "America Argentina//Salta",
                            "America /Lima",
                            "Europe ../Europe/Paris",
                            "Europe ./Paris",
                            "Europe .",
                            "Europe ..",
                            "America Argentina/../Lima",
                            "Europe Paris/",
                            "Europe Paris/.",
                            "Europe Par\xc3\xads",
                            "Europe %s",
                            "Africa Africa/Egypt"})
        EXPECT_EQ(text_of(look_up(key)), "none") << key;
    EXPECT_EQ(get_zone_info_by_continent_city(nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(look_up("Europe " + std::string(100000, 'x')), nullptr);
}

// Below here: private folders of zone files.

class ZoneFolder : public testing::Test {
  protected:
    void install(const std::string &zone) { install(zone, zone); }
    void install(const std::string &as, const std::string &zone) {
        fs::create_directories((root / as).parent_path());
        fs::copy_file(zoneinfo / zone, root / as, fs::copy_options::overwrite_existing);
    }
    const zone_catalogue_entry *find(const std::string &key) const {
        return find_zone(root.c_str(), key.c_str());
    }

    temp_folder folder;
    const fs::path &root = folder.path();
};

// Every offered location is there with the files of `zones` alone, and keeps the
// time that it has with all files.
class ZoneSubset : public ZoneFolder {
  protected:
    void expect_all_offered(const std::set<std::string> &zones) {
        for (const std::string &zone : zones) {
            fs::create_directories((root / zone).parent_path());
            fs::create_symlink(zoneinfo / zone, root / zone);
        }
        for_each_offered([this](const std::string &continent, const std::string &location) {
            const std::string key = continent + " " + location;
            const auto *entry = find(key);
            const auto *usual = look_up(key);
            ASSERT_TRUE(entry && usual) << key;
            EXPECT_EQ(entry->location, location);
            EXPECT_STREQ(entry->offset, usual->offset) << key;
            EXPECT_STREQ(entry->short_name, usual->short_name) << key;
        });
    }
};

TEST_F(ZoneSubset, WithoutTheFilesOfOldNames) {
    std::set<std::string> zones;
    std::ifstream source(zoneinfo / "tzdata.zi");
    for (std::string line; std::getline(source, line);)
        if (line.starts_with("Z "))
            zones.insert(split(line)[1]);
    ASSERT_GT(zones.size(), 300u);
    expect_all_offered(zones);
}

TEST_F(ZoneSubset, WithOnlyTheZonesThatDifferSince1970) {
    std::set<std::string> zones{"Etc/GMT", "Etc/UTC"};
    std::ifstream table(zoneinfo / "zone1970.tab");
    for (std::string line; std::getline(table, line);)
        if (!line.starts_with('#'))
            zones.insert(split(line)[2]);
    ASSERT_GT(zones.size(), 300u);
    expect_all_offered(zones);
}

TEST_F(ZoneFolder, AFileOfTheSameNameComesFirst) {
    install("Africa/Cairo");
    const auto *replaced = find("Africa Egypt");
    ASSERT_TRUE(replaced);
    EXPECT_EQ(replaced->path, (root / "Africa/Cairo").string());
    install("Egypt", "Africa/Cairo");
    EXPECT_EQ(find("Africa Egypt")->path, (root / "Egypt").string());
    install("Africa/Egypt", "Africa/Cairo");
    EXPECT_EQ(find("Africa Egypt")->path, (root / "Africa/Egypt").string());
}

TEST_F(ZoneFolder, AnUpdatedFileGivesANewEntryAndKeepsTheOld) {
    install("Europe/Paris");
    const auto *before = find("Europe Paris");
    ASSERT_TRUE(before);
    EXPECT_EQ(find("Europe Paris"), before);

    install("Europe/Paris", "Europe/London");
    const auto *after = find("Europe Paris");
    ASSERT_TRUE(after);
    EXPECT_STREQ(after->offset, "GMT+0000");
    EXPECT_STREQ(before->offset, "GMT+0100");
    EXPECT_STREQ(before->short_name, "CET");

    fs::remove(root / "Europe/Paris");
    EXPECT_EQ(find("Europe Paris"), nullptr);
    install("Europe/Paris");
    EXPECT_EQ(find("Europe Paris"), before);
}

TEST_F(ZoneFolder, OnlyRegularZoneFilesOfSensibleSizeCount) {
    fs::create_directories(root / "Europe/Folder");
    ASSERT_EQ(mkfifo((root / "Europe/Fifo").c_str(), 0600), 0); // must not wait for a writer
    fs::create_symlink("/dev/zero", root / "Europe/Device");
    fs::create_symlink("nowhere", root / "Europe/Dangling");
    fs::create_symlink("Loop", root / "Europe/Loop");
    std::ofstream(root / "Europe/Empty").flush();
    std::ofstream(root / "Europe/Text") << "no zone file\n";
    install("Europe/Huge", "Europe/Paris");
    fs::resize_file(root / "Europe/Huge", 32767);
    EXPECT_NE(find("Europe Huge"), nullptr);
    fs::resize_file(root / "Europe/Huge", 32768);
    for (const char *location :
         {"Folder", "Fifo", "Device", "Dangling", "Loop", "Empty", "Text", "Huge"})
        EXPECT_EQ(find(std::string("Europe ") + location), nullptr) << location;
}

TEST_F(ZoneFolder, AFifoDoesNotCountEvenWithAZoneInIt) {
    fs::create_directories(root / "Europe");
    ASSERT_EQ(mkfifo((root / "Europe/Fifo").c_str(), 0600), 0);
    // The reader keeps what the writer leaves, for whoever else opens the FIFO.
    const int reader = open((root / "Europe/Fifo").c_str(), O_RDONLY | O_NONBLOCK);
    {
        std::ifstream zone(zoneinfo / "Europe/Paris", std::ios::binary);
        std::ofstream(root / "Europe/Fifo", std::ios::binary) << zone.rdbuf();
    }
    EXPECT_EQ(find("Europe Fifo"), nullptr);
    close(reader);
}

TEST_F(ZoneFolder, ABrokenFileGivesWayToTheNext) {
    install("Egypt", "Africa/Cairo");
    fs::create_directories(root / "Africa");
    std::ofstream(root / "Africa/Egypt") << "TZif";
    EXPECT_EQ(find("Africa Egypt")->path, (root / "Egypt").string());
}

TEST_F(ZoneFolder, KeysHaveAtMost63Characters) {
    const std::string longest(63 - std::string("Europe ").size(), 'x');
    install("Europe/" + longest, "Europe/Paris");
    install("Europe/" + longest + "x", "Europe/Paris");
    const auto *entry = find("Europe " + longest);
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->location, longest);
    EXPECT_EQ(find("Europe " + longest + "x"), nullptr);
    EXPECT_EQ(find_zone(std::string(10000, '/').c_str(), "Europe Paris"), nullptr);
}

TEST_F(ZoneFolder, ThreadsGetTheSameEntry) {
    install("Europe/Paris");
    std::vector<const zone_catalogue_entry *> found(8);
    std::vector<std::thread> running;
    for (auto &entry : found)
        running.emplace_back([this, &entry] { entry = find("Europe Paris"); });
    for (std::thread &one : running)
        one.join();
    EXPECT_NE(found[0], nullptr);
    EXPECT_EQ(std::count(found.begin(), found.end(), found[0]), 8);
}

TEST(MovedZones, AreFoundByTheirWholeNameOnly) {
    EXPECT_EQ(moved_zone_files("Africa/Egypt"), "Egypt Africa/Cairo");
    EXPECT_EQ(moved_zone_files("Pacific/Yap"), "Pacific/Chuuk Pacific/Port_Moresby");
    for (const char *name : {"", "Africa", "Africa/Egyp", "Africa/Egypt ", "Egypt", "Africa/Cairo"})
        EXPECT_EQ(moved_zone_files(name), "") << name;
}

} // namespace
