// SPDX-License-Identifier: GPL-2.0-or-later
//
// These definitions come before those of the libraries.
#include "fuzz/machine.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/timex.h>
#include <unistd.h>

#include "cli_helper/cli_helper.h"
#include "config_db/config_db.h"

machine the_machine;

namespace {

/// libFuzzer's own use of a shell, to merge folders of inputs, comes before the
/// first input.
bool is_fuzzing = false;

int run_for_the_fuzzer(const char *command) {
    const auto real = reinterpret_cast<int (*)(const char *)>(dlsym(RTLD_NEXT, "system"));
    return real(command);
}

} // namespace

void silence() {
    is_fuzzing = true;
    if (std::freopen("/dev/null", "w", stdout) == nullptr)
        std::abort();
    stderr = stdout; // of the code under test; fuzzer and sanitizers have their own
}

extern "C" {

int settimeofday(const timeval *value, const struct timezone * /*zone*/) noexcept {
    the_machine.steps.push_back(*value);
    return 0;
}

int adjtimex(timex *query) noexcept {
    *query = {};
    return 0;
}

int system(const char *command) {
    if (!is_fuzzing)
        return run_for_the_fuzzer(command);
    the_machine.commands.emplace_back(command);
    return 0;
}

int open(const char *path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    const int mode = flags & O_CREAT ? va_arg(arguments, int) : 0;
    va_end(arguments);
    if (std::strcmp(path, "/etc/TZ") == 0) {
        ++the_machine.tz_files;
        path = "/dev/null";
    }
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

int symlink(const char *target, const char * /*link*/) noexcept {
    the_machine.links.emplace_back(target);
    return 0;
}

int unlink(const char *path) noexcept {
    if (std::strcmp(path, "/etc/localtime") == 0)
        return 0;
    return static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, path, 0));
}

int cli_log(config_db * /*db*/, const cli_log_record * /*record*/, const char * /*text*/) {
    ++the_machine.changes_logged;
    return 0;
}

int db_olt_ntp_set_ntp_diff_time(config_db * /*db*/, int /*diff*/, int /*area*/, int /*id*/) {
    ++the_machine.steps_stored;
    return 0;
}
}
