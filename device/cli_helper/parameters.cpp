// SPDX-License-Identifier: GPL-2.0-or-later
#include "cli_helper/cli_helper.h"

#include <cstring>

#include <command_graph.h>

const char *cmd_parase_parameters(int *argc, struct cmd_token ***argv, const char *keyword,
                                  int /*flags*/) {
    if (argc == nullptr || argv == nullptr || *argv == nullptr || keyword == nullptr)
        return nullptr;
    // The keyword cannot be the last word: its value follows.
    for (int at = 0; at + 1 < *argc; ++at) {
        const cmd_token *word = (*argv)[at];
        if (word->type != WORD_TKN || std::strcmp(word->text, keyword) != 0)
            continue;
        *argv += at + 1;
        *argc -= at + 1;
        return (**argv)->arg;
    }
    return nullptr;
}
