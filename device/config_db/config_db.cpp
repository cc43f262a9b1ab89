// SPDX-License-Identifier: GPL-2.0-or-later
#include "config_db/config_db.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <unistd.h>

#include "config_db/change_log.h"
#include "config_db/store.h"

namespace {

constexpr char default_path[] = "/var/lib/horad/config.db";

/// The path is made absolute: the daemon may change its working directory, and
/// SQLite gives names such as ":memory:" a meaning of their own.
bool choose_path(char (&path)[sizeof(config_db::path)]) noexcept {
    // Read at start-up, before there is a second thread.
    const char *named = std::getenv("HORAD_CONFIG_DB"); // NOLINT(concurrency-mt-unsafe)
    if (named == nullptr || *named == '\0')
        named = default_path;

    std::size_t used = 0;
    if (*named != '/') {
        if (getcwd(path, sizeof path - 1) == nullptr)
            return false;
        used = std::strlen(path);
        path[used++] = '/';
    }
    const std::size_t length = std::strlen(named);
    if (length >= sizeof path - used)
        return false;
    std::memcpy(path + used, named, length + 1);
    return true;
}

bool is_initialised(const config_db *db) noexcept {
    if (db != nullptr && db->path[0] != '\0')
        return true;
    report_failure("(none)", "not initialised");
    return false;
}

} // namespace

int database_init(struct config_db *db) {
    if (db == nullptr)
        return report_failure("(none)", "no handle");
    if (!choose_path(db->path)) {
        db->path[0] = '\0';
        return report_failure("(none)", "the path in HORAD_CONFIG_DB is too long");
    }
    return open_store(db->path) ? 0 : -1;
}

int database_disconnect(struct config_db *db) {
    if (db != nullptr)
        std::memset(db, 0, sizeof *db);
    return 0;
}

int db_olt_ntp_set_ntp_diff_time(struct config_db *db, int diff, int area, int id) {
    if (!is_initialised(db))
        return -1;
    return append_row(db->path, reaches_disk::at_once,
                      "INSERT INTO clock_step (time, diff, area, id) VALUES (?, ?, ?, ?)",
                      std::int64_t{std::time(nullptr)}, std::int64_t{diff}, std::int64_t{area},
                      std::int64_t{id});
}

int config_db_log_change(struct config_db *db, const struct config_db_change *change) {
    if (!is_initialised(db))
        return -1;
    // The caller is about to make the change, and a clock is late by what it waits here.
    return append_row(
        db->path, reaches_disk::with_next_row,
        "INSERT INTO change_log (time, kind, value, record, text) VALUES (?, ?, ?, ?, ?)",
        std::int64_t{std::time(nullptr)}, std::int64_t{change->kind}, std::int64_t{change->value},
        blob{change->record, change->record_size}, change->text);
}
