/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * In C because nodes are numbers here, one of them beyond the library's
 * enumeration.
 */
#include <zebra.h>

#include "command.h"
#include "command_match.h"
#include "linklist.h"

#include "ntp_cli/config_line.h"
#include "ntp_cli/node.h"

static enum line_meaning meaning_of(enum matcher_rv result) {
    switch (result) {
    case MATCHER_OK:
        return LINE_IS_COMMAND;
    case MATCHER_INCOMPLETE:
        return LINE_IS_INCOMPLETE;
    case MATCHER_AMBIGUOUS:
        return LINE_IS_AMBIGUOUS;
    case MATCHER_NO_MATCH:
        break;
    }
    return LINE_IS_UNKNOWN;
}

static bool is_command(const struct config_line *line, const char *definition) {
    return strcmp(line->command->string, definition) == 0;
}

/* The library knows of nothing above the configuration node. */
static int node_above(int node) {
    return node > CONFIG_NODE ? (int)node_parent((enum node_type)node) : ENABLE_NODE;
}

/* Where a command leads that is in the node. */
static int node_after(const struct config_line *line, int node) {
    if (is_command(line, "ntp [terminal]"))
        return NTP_NODE_NUMBER;
    if (is_command(line, "line vty"))
        return VTY_NODE;
    if (is_command(line, "exit") || is_command(line, "quit"))
        return node_above(node);
    if (is_command(line, "end"))
        return ENABLE_NODE;
    if (strncmp(line->command->string, "configure ", strlen("configure ")) == 0)
        return CONFIG_NODE;
    return node;
}

/* Looks for the command in one node. */
static void match_in(vector words, int node, struct config_line *line) {
    const struct cmd_node *commands = vector_lookup(cmdvec, (unsigned int)node);
    line->meaning =
        meaning_of(command_match(commands->cmdgraph, words, &line->owned_words, &line->command));
}

int config_start_node(void) { return CONFIG_NODE; }

void config_line_match(const char *text, int *node, struct config_line *line) {
    memset(line, 0, sizeof(*line));
    vector words = cmd_make_strvec(text);
    if (words == NULL)
        return;
    int found_in = *node;
    match_in(words, found_in, line);
    while (line->meaning == LINE_IS_UNKNOWN && found_in > CONFIG_NODE) {
        found_in = node_above(found_in);
        match_in(words, found_in, line);
    }
    cmd_free_strvec(words);
    if (line->meaning != LINE_IS_COMMAND)
        return;
    *node = node_after(line, found_in);
    struct listnode *element;
    struct cmd_token *word;
    for (ALL_LIST_ELEMENTS_RO(line->owned_words, element, word))
        if (line->word_count < MOST_WORDS)
            line->words[line->word_count++] = word;
}

void config_line_free(struct config_line *line) {
    if (line->meaning == LINE_IS_COMMAND)
        list_delete(&line->owned_words);
}
