// SPDX-License-Identifier: GPL-2.0-or-later
#include "config_db/config_db.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <ctime>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "common/child_process.h"
#include "common/private_folder.h"
#include "database_fixture.h"

namespace {

class ConfigDb : public database_fixture {};

mode_t mode_of(const std::filesystem::path &path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

TEST_F(ConfigDb, StoresStepsWithTheirTime) {
    ASSERT_EQ(database_init(&db), 0);
    const std::time_t before = std::time(nullptr);
    EXPECT_EQ(db_olt_ntp_set_ntp_diff_time(&db, -3600, 4, 1), 0);
    EXPECT_EQ(db_olt_ntp_set_ntp_diff_time(&db, 0, 7, 9), 0);
    const std::time_t after = std::time(nullptr);

    const peer reader(file);
    EXPECT_EQ(reader.run("SELECT seq, diff, area, id FROM clock_step ORDER BY seq"),
              (std::vector<row>{{"1", "-3600", "4", "1"}, {"2", "0", "7", "9"}}));
    for (const row &one : reader.run("SELECT time, utc FROM clock_step")) {
        const std::time_t time = std::stoll(one[0]);
        EXPECT_GE(time, before);
        EXPECT_LE(time, after);
        char utc[32];
        std::strftime(utc, sizeof utc, "%F %T", std::gmtime(&time));
        EXPECT_EQ(one[1], utc);
    }
}

TEST_F(ConfigDb, KeepsTheWholeRangeOfItsArguments) {
    ASSERT_EQ(database_init(&db), 0);
    EXPECT_EQ(db_olt_ntp_set_ntp_diff_time(&db, INT32_MIN, INT32_MAX, INT32_MIN), 0);
    EXPECT_EQ(peer(file).run("SELECT diff, area, id FROM clock_step"),
              (std::vector<row>{{"-2147483648", "2147483647", "-2147483648"}}));
}

TEST_F(ConfigDb, CreatesFolderAndFileWithLeastRights) {
    const mode_t mask = umask(0);
    EXPECT_EQ(database_init(&db), 0);
    umask(mask);
    EXPECT_EQ(mode_of(file), 0640u);
    EXPECT_EQ(mode_of(file.parent_path()), 0750u);
    EXPECT_EQ(peer(file).run("PRAGMA journal_mode"), (std::vector<row>{{"wal"}}));
}

TEST_F(ConfigDb, DisconnectEmptiesTheHandle) {
    ASSERT_EQ(database_init(&db), 0);
    EXPECT_EQ(database_disconnect(&db), 0);
    const config_db empty{};
    EXPECT_EQ(std::memcmp(&db, &empty, sizeof db), 0);
    expect_failure([this] { return store(1); }, "(none)", "not initialised");
    EXPECT_EQ(count_steps(), "0");
}

TEST_F(ConfigDb, ASecondInitKeepsWhatIsThere) {
    ASSERT_EQ(database_init(&db), 0);
    ASSERT_EQ(store(5), 0);
    config_db again{};
    ASSERT_EQ(database_init(&again), 0);
    EXPECT_EQ(count_steps(), "1");
}

TEST_F(ConfigDb, ARelativePathIsBoundToTheFolderOfInit) {
    const auto home = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    use(":memory:"); // no special name here: a file like any other
    const int result = database_init(&db);
    std::filesystem::current_path(home);
    ASSERT_EQ(result, 0);
    EXPECT_EQ(store(1), 0);
    EXPECT_EQ(peer(folder.path() / ":memory:").run("SELECT count(*) FROM clock_step")[0][0], "1");
}

TEST_F(ConfigDb, APathThatDoesNotFitIsRefused) {
    const std::string longest(sizeof db.path - 1, 'x');
    for (const std::string &path : {"/" + longest, longest}) {
        use(path.c_str());
        expect_failure([this] { return database_init(&db); }, "(none)", "too long");
        expect_failure([this] { return store(1); }, "(none)", "not initialised");
    }
}

TEST_F(ConfigDb, AnEmptyPathIsTheUsualOne) {
    const private_folder state("/var/lib");
    use("");
    ASSERT_EQ(database_init(&db), 0);
    EXPECT_TRUE(std::filesystem::exists("/var/lib/horad/config.db"));
    ASSERT_EQ(database_disconnect(&db), 0);
}

TEST_F(ConfigDb, ARemovedFileIsMadeAnew) {
    ASSERT_EQ(database_init(&db), 0);
    ASSERT_EQ(store(1), 0);
    std::filesystem::remove_all(file.parent_path());
    EXPECT_EQ(store(2), 0);
    EXPECT_EQ(peer(file).run("SELECT diff FROM clock_step"), (std::vector<row>{{"2"}}));
}

TEST_F(ConfigDb, AFailedInitLeavesAUsableHandle) {
    std::ofstream(file.parent_path()) << "in the way\n";
    expect_failure([this] { return database_init(&db); }, file, "Not a directory");
    std::filesystem::remove(file.parent_path());
    EXPECT_EQ(store(1), 0);
    EXPECT_EQ(count_steps(), "1");
}

TEST_F(ConfigDb, AFolderInsteadOfTheFileIsRefused) {
    std::filesystem::create_directories(file);
    expect_failure([this] { return database_init(&db); }, file, "Is a directory");
    expect_failure([this] { return store(1); }, file, "Is a directory");
}

TEST_F(ConfigDb, AFileOfSomethingElseIsRefusedAndKept) {
    std::filesystem::create_directories(file.parent_path());
    const std::string text(5000, 'x');
    std::ofstream(file) << text;
    expect_failure([this] { return database_init(&db); }, file, "not a database");
    expect_failure([this] { return store(1); }, file, "not a database");
    std::string kept;
    std::getline(std::ifstream(file), kept);
    EXPECT_EQ(kept, text);
}

TEST_F(ConfigDb, DamagedPagesAreRefused) {
    ASSERT_EQ(database_init(&db), 0);
    ASSERT_EQ(store(1), 0);
    std::fstream damaged(file, std::ios::in | std::ios::out | std::ios::binary);
    const std::string garbage(std::filesystem::file_size(file) - 100, '\xa5');
    damaged.seekp(100); // beyond the file's header
    damaged << garbage << std::flush;
    expect_failure([this] { return store(2); }, file, "malformed");
    expect_failure([this] { return database_init(&db); }, file, "malformed");
}

TEST_F(ConfigDb, AMissingTableIsRefused) {
    ASSERT_EQ(database_init(&db), 0);
    peer(file).run("DROP TABLE clock_step");
    expect_failure([this] { return store(1); }, file, "no such table");
}

TEST_F(ConfigDb, TablesOfALaterVersionAreLeftAlone) {
    ASSERT_EQ(database_init(&db), 0);
    EXPECT_EQ(peer(file).run("PRAGMA user_version"), (std::vector<row>{{"1"}}));
    peer(file).run("PRAGMA user_version = 2");
    expect_failure([this] { return database_init(&db); }, file, "later version");
    expect_failure([this] { return store(1); }, file, "later version");
    EXPECT_EQ(count_steps(), "0");
    peer(file).run("PRAGMA user_version = -5");
    expect_failure([this] { return database_init(&db); }, file, "unknown version");
}

// As a copy by VACUUM INTO is, put in place.
TEST_F(ConfigDb, AReaderOfAFileInAnotherModeIsNotWaitedForTwice) {
    ASSERT_EQ(database_init(&db), 0);
    {
        const peer reader(file);
        EXPECT_EQ(reader.run("PRAGMA journal_mode = DELETE"), (std::vector<row>{{"delete"}}));
        reader.run("BEGIN");
        EXPECT_EQ(reader.run("SELECT count(*) FROM clock_step"), (std::vector<row>{{"0"}}));
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(database_init(&db), 0);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
        expect_failure([this] { return store(1); }, file, "locked");
    }
    EXPECT_EQ(store(2), 0);
    EXPECT_EQ(peer(file).run("PRAGMA journal_mode"), (std::vector<row>{{"wal"}}));
}

TEST_F(ConfigDb, ALockIsWaitedForAboutASecond) {
    ASSERT_EQ(database_init(&db), 0);
    const auto expect_lock = [this](auto operation) {
        const auto start = std::chrono::steady_clock::now();
        expect_failure(operation, file, "locked");
        const auto waited = std::chrono::steady_clock::now() - start;
        EXPECT_GE(waited, std::chrono::milliseconds(500));
        EXPECT_LE(waited, std::chrono::milliseconds(3000));
    };
    {
        const peer writer(file);
        writer.run("BEGIN IMMEDIATE");
        expect_lock([this] { return store(1); });
    }
    {
        const peer owner(file); // keeps even readers out
        owner.run("PRAGMA locking_mode = EXCLUSIVE");
        owner.run("BEGIN EXCLUSIVE");
        expect_lock([this] { return database_init(&db); });
    }
    EXPECT_EQ(store(2), 0);
    EXPECT_EQ(peer(file).run("SELECT diff FROM clock_step"), (std::vector<row>{{"2"}}));
}

TEST_F(ConfigDb, AReaderIsNotInTheWay) {
    ASSERT_EQ(database_init(&db), 0);
    ASSERT_EQ(store(1), 0);
    const peer reader(file);
    reader.run("BEGIN");
    EXPECT_EQ(reader.run("SELECT count(*) FROM clock_step")[0][0], "1");
    EXPECT_EQ(store(2), 0);
    EXPECT_EQ(reader.run("SELECT count(*) FROM clock_step")[0][0], "1");
    reader.run("COMMIT");
    EXPECT_EQ(reader.run("SELECT count(*) FROM clock_step")[0][0], "2");
}

TEST_F(ConfigDb, AFullDiskStoresNothing) {
    ASSERT_EQ(database_init(&db), 0);
    ASSERT_EQ(store(1), 0);

    // No file may grow beyond a kilobyte: as good as a full disk, without one.
    rlimit usual{};
    getrlimit(RLIMIT_FSIZE, &usual);
    const rlimit tight{1024, usual.rlim_max};
    const auto former = std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &tight);
    expect_failure([this] { return store(2); }, file, "(File too large)");
    setrlimit(RLIMIT_FSIZE, &usual);
    std::signal(SIGXFSZ, former);

    EXPECT_EQ(store(3), 0);
    const peer reader(file);
    EXPECT_EQ(reader.run("SELECT diff FROM clock_step"), (std::vector<row>{{"1"}, {"3"}}));
    EXPECT_EQ(reader.run("PRAGMA integrity_check"), (std::vector<row>{{"ok"}}));
}

// Runs `operation` as an ordinary user, whom file rights bind, and returns what
// it said on standard error.
template <typename Operation> std::string as_ordinary_user(Operation operation) {
    return written_by_child(STDERR_FILENO, [&operation] {
        constexpr uid_t nobody = 65534;
        if (geteuid() == 0 && setresuid(nobody, nobody, nobody) != 0)
            _exit(1);
        operation();
    });
}

TEST_F(ConfigDb, MissingRightsAreTold) {
    namespace fs = std::filesystem;
    ASSERT_EQ(database_init(&db), 0);
    ASSERT_EQ(store(1), 0);
    fs::permissions(folder.path(), fs::perms(0755));
    const std::string told = "horad: configuration database " + file.string() + ": ";
    const auto try_to_store = [this] { store(2); };

    fs::permissions(file.parent_path(), fs::perms(0777));
    fs::permissions(file, fs::perms(0444));
    const std::string read_only = told + "attempt to write a readonly database\n";
    EXPECT_EQ(as_ordinary_user(try_to_store), read_only);
    EXPECT_EQ(as_ordinary_user([this] { database_init(&db); }), read_only);

    fs::permissions(file, fs::perms(0666));
    fs::permissions(file.parent_path(), fs::perms(0555));
    EXPECT_EQ(as_ordinary_user(try_to_store), read_only);

    fs::permissions(file.parent_path(), fs::perms(0755));
    fs::remove(file);
    fs::permissions(file.parent_path(), fs::perms(0555));
    EXPECT_EQ(as_ordinary_user(try_to_store), told + "Permission denied\n");
    fs::permissions(file.parent_path(), fs::perms(0755));
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(ConfigDb, ThreadsMayShareAHandleFromFirstUseOn) {
    ASSERT_EQ(database_init(&db), 0);
    std::filesystem::remove_all(file.parent_path());
    constexpr int threads = 4;
    constexpr int steps = 5;
    int failures[threads] = {};
    std::vector<std::thread> running;
    for (int &failed : failures)
        running.emplace_back([this, &failed] {
            for (int i = 0; i < steps; ++i)
                failed += store(i) != 0;
        });
    for (std::thread &one : running)
        one.join();
    for (const int failed : failures)
        EXPECT_EQ(failed, 0);
    EXPECT_EQ(count_steps(), std::to_string(threads * steps));
}

TEST_F(ConfigDb, AStoredStepSurvivesBeingKilled) {
    for (int round = 0; round < 5; ++round) {
        std::filesystem::remove_all(file.parent_path());
        ASSERT_EQ(database_init(&db), 0);
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const pid_t child = fork();
        if (child == 0) {
            for (int i = 0; store(i) == 0; ++i)
                if (write(ends[1], "", 1) != 1)
                    break;
            _exit(1);
        }
        close(ends[1]);
        int confirmed = 0;
        char byte;
        while (confirmed < 10 + round && read(ends[0], &byte, 1) == 1)
            ++confirmed;
        usleep(static_cast<useconds_t>(round) * 700); // to strike at different places
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status));
        while (read(ends[0], &byte, 1) == 1)
            ++confirmed;
        close(ends[0]);

        const peer reader(file);
        EXPECT_EQ(reader.run("PRAGMA integrity_check"), (std::vector<row>{{"ok"}}));
        const auto rows = reader.run("SELECT diff FROM clock_step ORDER BY seq");
        const int stored = static_cast<int>(rows.size());
        EXPECT_TRUE(stored == confirmed || stored == confirmed + 1) << stored << ' ' << confirmed;
        for (int i = 0; i < stored; ++i)
            EXPECT_EQ(rows[static_cast<std::size_t>(i)][0], std::to_string(i));
        EXPECT_EQ(store(-1), 0);
    }
}

} // namespace
