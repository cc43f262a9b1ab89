// SPDX-License-Identifier: GPL-2.0-or-later
//
// Command records, as the library's own macros would write them in C.
#pragma once

#include <zebra.h>

#include "command.h"
#include "vty.h"

using command_handler = int(const cmd_element *, vty *, int argc, cmd_token *argv[]);

/// name     the record's own name, for diagnostics
/// string   the command's definition
/// doc      one help line for each of its tokens
/// handler  returns one of the library's command results
constexpr cmd_element make_command(const char *name, const char *string, const char *doc,
                                   command_handler *handler, std::uint32_t attributes = 0) {
    cmd_element record{};
    record.string = string;
    record.doc = doc;
    record.attr = attributes;
    record.func = handler;
    record.name = name;
    return record;
}
