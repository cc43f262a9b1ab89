// SPDX-License-Identifier: GPL-2.0-or-later
//
// The SQLite file below the configuration database.
//
// Each operation opens a connection of its own and closes it again.  A step a
// week is too little to hold one: nothing need survive a fork, no lock is shared
// between threads, no page cache stays resident, and a file that was removed,
// replaced or repaired in the meantime is simply used.
#pragma once

#include <cstdint>
#include <memory>
#include <sqlite3.h>

struct blob {
    const void *bytes;
    int size;
};

struct close_connection {
    void operator()(sqlite3 *db) const noexcept { sqlite3_close(db); }
};
struct finalize_statement {
    void operator()(sqlite3_stmt *row) const noexcept { sqlite3_finalize(row); }
};
using connection = std::unique_ptr<sqlite3, close_connection>;
using statement = std::unique_ptr<sqlite3_stmt, finalize_statement>;

/// Writes the one line on standard error that goes with a failure.  Returns -1.
int report_failure(const char *path, const char *reason) noexcept;

/// The same for the last failure of `db`.
int report_failure(const char *path, sqlite3 *db) noexcept;

/// Opens the database at `path`, creating folder, file and tables if missing.
/// Returns null, reported, when it cannot be used.
[[nodiscard]] connection open_store(const char *path) noexcept;

/// When a row is on disk.
enum class reaches_disk { at_once, with_next_row };

/// Leaves it to the next row, or to the kernel, to wait for the disk.  Until then the rows
/// are in the write-ahead log only: cut off by a power failure, it ends with a whole row.
/// A row waits all the same when the log has become long.
[[nodiscard]] bool wait_for_no_disk(sqlite3 *db) noexcept;

[[nodiscard]] inline bool bind_value(sqlite3_stmt *row, int place, std::int64_t value) noexcept {
    return sqlite3_bind_int64(row, place, value) == SQLITE_OK;
}
[[nodiscard]] inline bool bind_value(sqlite3_stmt *row, int place, const char *text) noexcept {
    return sqlite3_bind_text(row, place, text, -1, SQLITE_STATIC) == SQLITE_OK;
}
[[nodiscard]] inline bool bind_value(sqlite3_stmt *row, int place, blob value) noexcept {
    return sqlite3_bind_blob(row, place, value.bytes, value.size, SQLITE_STATIC) == SQLITE_OK;
}

/// Stores one row: `insert` is the statement, `values` its parameters in order.
/// Returns 0 once it is committed, else -1, reported, and nothing is stored.
template <typename... Values>
[[nodiscard]] int append_row(const char *path, reaches_disk when, const char *insert,
                             Values... values) noexcept {
    const connection db = open_store(path);
    if (db == nullptr)
        return -1;
    if (when == reaches_disk::with_next_row && !wait_for_no_disk(db.get()))
        return report_failure(path, db.get());

    sqlite3_stmt *prepared = nullptr;
    sqlite3_prepare_v2(db.get(), insert, -1, &prepared, nullptr);
    const statement row(prepared);
    int place = 0;
    if (row == nullptr || !(bind_value(row.get(), ++place, values) && ...) ||
        sqlite3_step(row.get()) != SQLITE_DONE)
        return report_failure(path, db.get());
    return 0;
}
