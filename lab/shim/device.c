/* SPDX-License-Identifier: GPL-2.0-or-later */
/* What the daemon tells the device, and prints: written down, then passed on. */
#include "shim.h"

#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "cli_helper/cli_helper.h"
#include "config_db/config_db.h"

int cli_log(struct config_db *db, const struct cli_log_record *record, const char *text) {
    char bytes[128], message[512];

    event("cli_log", ", \"record\": \"%s\", \"text\": \"%s\"",
          hex(bytes, sizeof(bytes), record->bytes, sizeof(record->bytes)),
          escaped(message, sizeof(message), text));
    return REAL(cli_log)(db, record, text);
}

int db_olt_ntp_set_ntp_diff_time(struct config_db *db, int diff, int area, int id) {
    event("diff_time", ", \"diff\": %d, \"area\": %d, \"id\": %d", diff, area, id);
    int result = REAL(db_olt_ntp_set_ntp_diff_time)(db, diff, area, id);
    event("diff_time_done", ", \"result\": %d", result);
    return result;
}

/* Tells how much of standard output (a file) is written: the text that a flush
 * brought out can be found between two of these events. */
int fflush(FILE *stream) {
    int result = REAL(fflush)(stream);

    if (stream == stdout)
        event("flush", ", \"position\": %lld", (long long)lseek(STDOUT_FILENO, 0, SEEK_CUR));
    return result;
}
