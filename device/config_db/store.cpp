// SPDX-License-Identifier: GPL-2.0-or-later
#include "config_db/store.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <optional>
#include <sys/stat.h>

namespace {

/// Long enough for another writer's commit, short enough for the NTP client,
/// which waits it out.
constexpr int busy_timeout_ms = 1000;

/// Readable by the file's group, e.g. for a backup; nobody else's business.
constexpr mode_t file_mode = 0640;
constexpr mode_t folder_mode = 0750;

constexpr int schema_version = 1;

/// The log is to be safe from a slip; whoever may write the file can do what they want.
constexpr char schema[] = R"(
BEGIN IMMEDIATE;
CREATE TABLE IF NOT EXISTS clock_step (
    seq   INTEGER PRIMARY KEY,
    time  INTEGER NOT NULL,
    utc   TEXT AS (datetime(time, 'unixepoch')),
    diff  INTEGER NOT NULL,
    area  INTEGER NOT NULL,
    id    INTEGER NOT NULL
) STRICT;
CREATE TABLE IF NOT EXISTS change_log (
    seq    INTEGER PRIMARY KEY,
    time   INTEGER NOT NULL,
    utc    TEXT AS (datetime(time, 'unixepoch')),
    kind   INTEGER NOT NULL,
    value  INTEGER NOT NULL,
    record BLOB NOT NULL,
    text   TEXT NOT NULL
) STRICT;
CREATE TRIGGER IF NOT EXISTS change_log_keeps_rows BEFORE DELETE ON change_log
    BEGIN SELECT RAISE(ABORT, 'change_log is append-only'); END;
CREATE TRIGGER IF NOT EXISTS change_log_keeps_values BEFORE UPDATE ON change_log
    BEGIN SELECT RAISE(ABORT, 'change_log is append-only'); END;
PRAGMA user_version = 1;
COMMIT;
)";

void create_folders(const char *path) noexcept {
    char folder[PATH_MAX];
    if (std::snprintf(folder, sizeof folder, "%s", path) >= static_cast<int>(sizeof folder))
        return;
    for (char *end = std::strchr(folder + 1, '/'); end != nullptr;
         end = std::strchr(end + 1, '/')) {
        *end = '\0';
        mkdir(folder, folder_mode);
        *end = '/';
    }
}

/// SQLite would create the file readable by everyone.  And it must not be opened
/// here: closing it again would drop the locks that another thread holds on it.
bool create_file(const char *path) noexcept {
    if (mknod(path, S_IFREG | file_mode, 0) == 0 || errno == EEXIST)
        return true;
    if (errno == ENOENT) {
        create_folders(path);
        return mknod(path, S_IFREG | file_mode, 0) == 0 || errno == EEXIST;
    }
    return false;
}

bool execute(sqlite3 *db, const char *sql) noexcept {
    return sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

/// Returns the version of the tables in the file, 0 for a new one, none on failure.
std::optional<int> read_version(sqlite3 *db) noexcept {
    sqlite3_stmt *prepared = nullptr;
    sqlite3_prepare_v2(db, "PRAGMA user_version", -1, &prepared, nullptr);
    const statement query(prepared);
    if (query == nullptr || sqlite3_step(query.get()) != SQLITE_ROW)
        return std::nullopt;
    return sqlite3_column_int(query.get(), 0);
}

/// Makes a file of tables of this version ready for a row.
bool prepare(sqlite3 *db, int version) noexcept {
    // Write-ahead logging keeps readers and the writer out of each other's way.
    // Switching to it does not wait for others at work on the file.  It is for good, so
    // whoever comes next makes up for a switch that failed.
    sqlite3_busy_timeout(db, 0);
    execute(db, "PRAGMA journal_mode = WAL");
    sqlite3_busy_timeout(db, busy_timeout_ms);
    // A row reported as stored is to have reached the disk, unless it is to wait for the next.
    return execute(db, "PRAGMA synchronous = FULL") &&
           (version == schema_version || execute(db, schema));
}

/// Where no row comes that waits for the disk, one in some sixty does: the log, which each row
/// reads from its beginning, would grow as long as they come.  Closed, the last connection
/// removes it; what is copied here is for a file that another program has open all the time.
int clear_long_log(void * /*context*/, sqlite3 *db, const char *name, int pages) noexcept {
    constexpr int many = 64; // 256 KiB
    if (pages >= many && execute(db, "PRAGMA synchronous = FULL")) {
        sqlite3_db_config(db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
        sqlite3_wal_checkpoint_v2(db, name, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
    }
    return SQLITE_OK;
}

} // namespace

int report_failure(const char *path, const char *reason) noexcept {
    std::fprintf(stderr, "horad: configuration database %s: %s\n", path, reason);
    return -1;
}

int report_failure(const char *path, sqlite3 *db) noexcept {
    const char *cause = nullptr;
    switch (sqlite3_errcode(db) & 0xff) {
    case SQLITE_CANTOPEN:
    case SQLITE_IOERR:
        // SQLite does not keep the cause of a commit that failed.
        if (const int error = sqlite3_system_errno(db); error != 0)
            cause = strerrordesc_np(error);
    }
    if (cause == nullptr)
        return report_failure(path, sqlite3_errmsg(db));
    char reason[256];
    std::snprintf(reason, sizeof reason, "%s (%s)", sqlite3_errmsg(db), cause);
    return report_failure(path, reason);
}

bool wait_for_no_disk(sqlite3 *db) noexcept {
    // In place of SQLite's own, which would copy the log without waiting for the disk, too.
    sqlite3_wal_hook(db, clear_long_log, nullptr);
    // Closed, the last connection would write the log into the tables, and wait for that.
    return sqlite3_db_config(db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr) == SQLITE_OK &&
           execute(db, "PRAGMA synchronous = OFF");
}

connection open_store(const char *path) noexcept {
    if (!create_file(path)) {
        report_failure(path, strerrordesc_np(errno));
        return nullptr;
    }

    sqlite3 *opened = nullptr;
    const int result =
        sqlite3_open_v2(path, &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    connection db(opened);
    if (db == nullptr) {
        report_failure(path, sqlite3_errstr(result));
        return nullptr;
    }
    if (result != SQLITE_OK) {
        report_failure(path, db.get());
        return nullptr;
    }
    if (sqlite3_db_readonly(db.get(), "main") == 1) {
        report_failure(path, sqlite3_errstr(SQLITE_READONLY));
        return nullptr;
    }

    sqlite3_busy_timeout(db.get(), busy_timeout_ms);
    const std::optional<int> version = read_version(db.get());
    if (version && (*version < 0 || *version > schema_version)) {
        report_failure(path, *version < 0 ? "its tables are of an unknown version"
                                          : "its tables are of a later version");
        return nullptr;
    }
    if (!version || !prepare(db.get(), *version)) {
        report_failure(path, db.get());
        return nullptr;
    }
    return db;
}
