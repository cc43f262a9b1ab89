// SPDX-License-Identifier: GPL-2.0-or-later
//
// What the program says of itself for --version.
#pragma once

/// Whether one of the arguments is -v or --version, or enough of the start of it
/// for the library, which would answer with a version of its own.
bool asks_for_version(int argc, const char *const *argv);

/// Prints version, revision and how it was built on standard output.
void print_build_version();
