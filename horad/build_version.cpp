// SPDX-License-Identifier: GPL-2.0-or-later
//
// What the program says of itself for --version.
#include <cstdio>

#include <zebra.h>

#include "command.h"

#include "horad_build.h"

/// libfrr has a function of this name, which tells the library's version, and calls
/// it when its own reading of the options comes to -v or --version.  It finds this
/// one first: the program's symbols come before those of libraries.  So the options
/// are read in one place only, by whatever rules that libfrr has for them.
void print_version(const char * /*program*/) {
    std::puts("horad version " HORAD_VERSION "\n"
              "revision " HORAD_REVISION "\n"
              "built for " HORAD_TARGET " by " HORAD_COMPILER ", " HORAD_BUILD_TYPE "\n"
              "with libfrr " HORAD_FRR_VERSION);
}
