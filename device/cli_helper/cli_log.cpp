// SPDX-License-Identifier: GPL-2.0-or-later
#include "cli_helper/cli_helper.h"

#include <cstdint>
#include <cstring>

#include "config_db/change_log.h"

/// Where a record keeps what the log shows in columns of its own.
constexpr int kind_at = 0;
constexpr int value_at = 28;

int cli_log(struct config_db *db, const struct cli_log_record *record, const char *text) {
    config_db_change change{};
    std::memcpy(&change.kind, record->bytes + kind_at, sizeof change.kind);
    std::memcpy(&change.value, record->bytes + value_at, sizeof change.value);
    change.record = record->bytes;
    change.record_size = sizeof record->bytes;
    change.text = text;
    return config_db_log_change(db, &change);
}
