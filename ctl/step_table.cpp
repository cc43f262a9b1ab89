// SPDX-License-Identifier: GPL-2.0-or-later
#include "step_table.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include "failure.h"

namespace {

/// As long as the daemon itself waits for somebody else's lock.
constexpr int busy_timeout_ms = 1000;

struct close_connection {
    void operator()(sqlite3 *db) const noexcept { sqlite3_close(db); }
};
struct finalize_statement {
    void operator()(sqlite3_stmt *query) const noexcept { sqlite3_finalize(query); }
};
using connection = std::unique_ptr<sqlite3, close_connection>;
using statement = std::unique_ptr<sqlite3_stmt, finalize_statement>;

/// What the operator can do about a failure.
const char *advice(int result) noexcept {
    switch (result & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return "another program holds it: try again";
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT:
        return "it is damaged: move it away, the daemon makes a new one";
    case SQLITE_CANTOPEN:
    case SQLITE_READONLY:
        return "its folder has to be writable for the reader's lock: run this as root";
    case SQLITE_ERROR:
        return "is this horad's database?";
    default:
        return "look at the file and its disk";
    }
}

[[noreturn]] void fail(const std::string &file, const std::string &reason, const char *what_to_do) {
    throw failure(file + ": " + reason + ": " + what_to_do);
}

bool is_on_read_only_file_system(const std::string &file) {
    const std::string folder = std::filesystem::absolute(file).parent_path();
    return access(folder.c_str(), W_OK) != 0 && errno == EROFS;
}

[[noreturn]] void fail(const std::string &file, sqlite3 *db) {
    const int result = sqlite3_errcode(db);
    std::string reason = sqlite3_errmsg(db);
    const bool has_no_lock =
        (result & 0xff) == SQLITE_CANTOPEN || (result & 0xff) == SQLITE_READONLY;
    if (has_no_lock && is_on_read_only_file_system(file))
        fail(file, reason,
             "its folder is on a read-only file system: copy it elsewhere, and name the copy with "
             "--database");
    if ((result & 0xff) == SQLITE_CANTOPEN || (result & 0xff) == SQLITE_IOERR)
        if (const int error = sqlite3_system_errno(db); error != 0)
            reason += std::string(" (") + strerrordesc_np(error) + ")";
    fail(file, reason, advice(result));
}

/// SQLite says "unable to open" of a file that is not there, and takes a folder or an
/// empty file for a database.
void require_file(const std::string &file) {
    struct stat found {};
    if (stat(file.c_str(), &found) < 0) {
        const int error = errno;
        fail(file, strerrordesc_np(error),
             error == ENOENT   ? "the daemon makes it at its start; name another with --database"
             : error == EACCES ? "run this as root"
                               : "name another with --database");
    }
    if (!S_ISREG(found.st_mode))
        fail(file, "no file", "name the database with --database");
}

connection open_read_only(const std::string &file) {
    require_file(file);
    // Absolute: SQLite gives names such as ":memory:" a meaning of their own.
    const std::string path = std::filesystem::absolute(file);
    sqlite3 *opened = nullptr;
    const int result = sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READONLY, nullptr);
    connection db(opened);
    if (db == nullptr)
        fail(file, sqlite3_errstr(result), "out of memory");
    if (result != SQLITE_OK)
        fail(file, db.get());
    sqlite3_busy_timeout(db.get(), busy_timeout_ms);
    return db;
}

void bind_limit(sqlite3_stmt *query, int place, std::optional<std::int64_t> limit) noexcept {
    if (limit)
        sqlite3_bind_int64(query, place, *limit);
}

} // namespace

std::vector<step_row> read_steps(const std::string &file, const step_limits &limits) {
    const connection db = open_read_only(file);
    sqlite3_stmt *prepared = nullptr;
    sqlite3_prepare_v2(db.get(),
                       "SELECT time, diff, seq FROM clock_step WHERE ?1 IS NULL OR time >= ?1 "
                       "ORDER BY seq DESC LIMIT ifnull(?2, -1)",
                       -1, &prepared, nullptr);
    const statement query(prepared);
    if (query == nullptr)
        fail(file, db.get());
    bind_limit(query.get(), 1, limits.since);
    bind_limit(query.get(), 2, limits.last);

    std::vector<step_row> rows;
    int result = sqlite3_step(query.get());
    for (; result == SQLITE_ROW; result = sqlite3_step(query.get()))
        rows.push_back(
            {{sqlite3_column_int64(query.get(), 0), sqlite3_column_int64(query.get(), 1)},
             sqlite3_column_int64(query.get(), 2)});
    if (result != SQLITE_DONE)
        fail(file, db.get());
    std::ranges::reverse(rows);
    return rows;
}
