/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * The device's CLI support library, as the time daemon uses it: finding values
 * in parsed command words, judging texts, and the operators' change log.
 */
#ifndef HORAD_DEVICE_CLI_HELPER_H
#define HORAD_DEVICE_CLI_HELPER_H

#ifdef __cplusplus
extern "C" {
#endif

struct cmd_token; /* libfrr's parsed command word */
struct config_db;

/*
 * Finds the value that follows a keyword among a command's parsed words.
 *
 * argc, argv  the caller's own copies of the handler's word count and words;
 *             on success moved on so that the value is the first word left
 * keyword     the keyword, compared with the words of the command's definition
 *             (so that an abbreviated keyword is found, and a value that
 *             happens to read like the keyword is not)
 * flags       0
 *
 * Returns the value as the operator typed it, alive as long as the words are;
 * null, with both copies unchanged, when the keyword or its value is missing.
 */
const char *cmd_parase_parameters(int *argc, struct cmd_token ***argv, const char *keyword,
                                  int flags);

/*
 * Judges whether a text may be used.
 *
 * text  the text to judge
 * mode  1: it will be written into a shell command, a sed expression and
 *          /etc/profile, and must do none of them harm
 *
 * Returns null when the text is acceptable, otherwise a constant text that
 * names what it must not contain (also for an unknown mode or a null text).
 */
const char *check_input_is_valid(const char *text, int mode);

/* What the daemon tells cli_log() about a change: what was changed in bytes 0-1
 * and how in bytes 28-31, both in host byte order and as the device numbers
 * them; the rest as the caller left it. */
struct cli_log_record {
    unsigned char bytes[48];
};

/*
 * Appends one line to the change log: the time, the record and a text.
 *
 * db            a handle that database_init() was given
 * record, text  not null
 *
 * Returns 0 once it is in the log, else -1 with one line on standard error.  The caller is
 * about to make the change: nobody waits for the disk here.
 */
int cli_log(struct config_db *db, const struct cli_log_record *record, const char *text);

#ifdef __cplusplus
}
#endif

#endif
