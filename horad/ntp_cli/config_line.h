/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * What a line of a configuration file means to libfrr, without carrying it out.
 */
#ifndef HORAD_NTP_CLI_CONFIG_LINE_H
#define HORAD_NTP_CLI_CONFIG_LINE_H

#ifdef __cplusplus
extern "C" {
#endif

struct cmd_element;
struct cmd_token;
struct list;

enum line_meaning {
    LINE_IS_EMPTY, /* or a comment */
    LINE_IS_COMMAND,
    LINE_IS_UNKNOWN,
    LINE_IS_INCOMPLETE,
    LINE_IS_AMBIGUOUS,
};

/* More than the daemon's own commands have; what follows in others is left out. */
#define MOST_WORDS 16

struct config_line {
    enum line_meaning meaning;
    const struct cmd_element *command; /* LINE_IS_COMMAND only, like what follows */
    int word_count;
    struct cmd_token *words[MOST_WORDS];
    struct list *owned_words;
};

/* The node in which a file begins. */
int config_start_node(void);

/*
 * Finds a line's command where libfrr would: in a node, or in one of those above
 * it up to the configuration node.  To be given back with config_line_free().
 *
 * node  set to the one in which the next line is to be looked for
 */
void config_line_match(const char *text, int *node, struct config_line *line);

void config_line_free(struct config_line *line);

#ifdef __cplusplus
}
#endif

#endif
