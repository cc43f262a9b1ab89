// SPDX-License-Identifier: GPL-2.0-or-later
//
// The C library's own time functions, behind the engine's that bear the same
// names in this program.
#pragma once

#include <ctime>

struct c_library {
    void (*tzset)();
    struct tm *(*localtime)(const time_t *);
    struct tm *(*localtime_r)(const time_t *, struct tm *);
    struct tm *(*gmtime_r)(const time_t *, struct tm *);
    time_t (*mktime)(struct tm *);
};

/// Ends the program when the library can't be had.
const c_library &the_c_library();
