// SPDX-License-Identifier: GPL-2.0-or-later
//
// What the program does.  Each returns the exit status or throws failure.
#pragma once

#include "arguments.h"
#include "failure.h"

/// Runs the lines given as arguments.
[[nodiscard]] exit_status run_lines(const arguments &given);

/// Runs the lines of the standard input, all of them.
[[nodiscard]] exit_status run_input(const arguments &given);

/// Runs lines typed at a prompt, until "exit" or the end of the input.
[[nodiscard]] exit_status run_prompt(const arguments &given);

[[nodiscard]] exit_status show_status(const arguments &given);
[[nodiscard]] exit_status show_steps(const arguments &given);
[[nodiscard]] exit_status wait_for_clock(const arguments &given);
