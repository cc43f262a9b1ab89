// SPDX-License-Identifier: GPL-2.0-or-later
#include "differential/c_library.h"

#include <cstdio>
#include <cstdlib>

#include <dlfcn.h>

namespace {

template <typename Function> void find(void *library, const char *name, Function &function) {
    // A symbol's address comes as an object pointer; POSIX promises that this works.
    function = reinterpret_cast<Function>(dlsym(library, name));
    if (!function) {
        std::fprintf(stderr, "the C library has no %s\n", name);
        std::exit(2);
    }
}

c_library open_library() {
    void *const library = dlopen("libc.so.6", RTLD_LAZY | RTLD_NOLOAD);
    if (!library) {
        std::fprintf(stderr, "no C library: %s\n", dlerror());
        std::exit(2);
    }
    c_library functions = {};
    find(library, "tzset", functions.tzset);
    find(library, "localtime", functions.localtime);
    find(library, "localtime_r", functions.localtime_r);
    find(library, "gmtime_r", functions.gmtime_r);
    find(library, "mktime", functions.mktime);
    return functions;
}

} // namespace

const c_library &the_c_library() {
    static const c_library functions = open_library();
    return functions;
}
