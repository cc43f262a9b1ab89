// SPDX-License-Identifier: GPL-2.0-or-later
//
// Makes a zone the system's: a zone file by its path, or a TZ text.
#include "horad/timezone.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

#include <zebra.h>

#include "vty.h"

#include "cli_helper/cli_helper.h"
#include "ntp_state.h"
#include "timezone/system_timezone.h"
#include "timezone/write_all.h"
#include "tz/process_zone.h"

namespace {

constexpr char zone_link[] = "/etc/localtime";

constexpr int32_t unacceptable = -2;
constexpr int32_t not_opened = -14;
constexpr int32_t null_argument = -27;

/// Puts an "export TZ=" line into the login profile, in place of those that are
/// there, or as its last where the word TZ is not.
#define PROFILE_COMMAND(text)                                          \
    "[ ! -z \"$(cat /etc/profile | grep -w TZ)\" ] && "                \
    "sed -i 's/^.*export TZ=.*/export TZ=" text "/g' /etc/profile || " \
    "echo \"export TZ=" text "\" >> /etc/profile"

/// A text stands in it twice, and it ends with a zero.
constexpr std::size_t profile_command_size = 256;
constexpr std::size_t longest_tz = (profile_command_size - sizeof PROFILE_COMMAND("")) / 2;

/// Whether a text can be handed to the shell.  Says why not.
bool is_acceptable(const char *text) {
    constexpr int for_a_shell_command = 1;
    if (const char *offending = check_input_is_valid(text, for_a_shell_command)) {
        std::printf("\r\nThe format of time zone is invalid! It can't contain %s\r\n", offending);
        return false;
    }
    // A command cut short would be another command.
    if (std::string_view(text).size() > longest_tz) {
        std::printf("\r\nThe format of time zone is invalid! "
                    "It can't be longer than %zu characters\r\n",
                    longest_tz);
        return false;
    }
    return true;
}

/// Writes /etc/TZ from its start; what was longer before keeps its tail.  False
/// when it cannot be opened.
bool write_tz_file(std::string_view text) {
    const int file = open("/etc/TZ", O_RDWR | O_CREAT | O_CLOEXEC, 0777);
    if (file < 0) {
        std::perror("sys_TZ");
        return false;
    }
    // The environment and the profile are still to be set: a full disk is told of.
    if (!write_all(file, text))
        std::perror("sys_TZ");
    if (close(file) != 0)
        std::perror("sys_TZ");
    return true;
}

void write_profile(const char *text) {
    std::array<char, profile_command_size> command{};
    std::snprintf(command.data(), command.size(), PROFILE_COMMAND("%s"), text, text);
    // The text was checked for this very use.  Nothing is done about a shell that fails:
    // the zone is set without the profile.
    // NOLINTNEXTLINE(cert-env33-c,concurrency-mt-unsafe)
    [[maybe_unused]] const int changed = std::system(command.data());
    // NOLINTNEXTLINE(cert-env33-c,concurrency-mt-unsafe)
    [[maybe_unused]] const int read = std::system("source /etc/profile");
}

} // namespace

int32_t sync_sys_timezone(const char *text) noexcept {
    if (text == nullptr) {
        std::puts("error: timezone not set\r");
        return null_argument;
    }
    if (!is_acceptable(text))
        return unacceptable;
    if (!write_tz_file(text))
        return not_opened;
    if (setenv("TZ", text, 1) != 0) // NOLINT(concurrency-mt-unsafe): see the header
        std::perror("sys_TZ");
    tzset();
    write_profile(text);
    return 0;
}

int32_t set_system_timezone_by_path(const char *path) noexcept {
    if (path == nullptr)
        return null_argument;
    const int removal_error = unlink(zone_link) == 0 || errno == ENOENT ? 0 : errno;
    if (const int failed = symlink(path, zone_link); failed != 0) {
        std::perror("symlink err");
        // "File exists" by itself does not tell why the old link still does.
        if (removal_error != 0) {
            errno = removal_error;
            std::perror("cannot remove /etc/localtime");
        }
        return failed;
    }
    // The file that an unset TZ stands for is another one now; a TZ that is set still wins.
    reload_default_zone();
    debug_printf("\r\n>>>>Set system timezone %s successfully!\r\n", path);
    return 0;
}

void remove_system_timezone() noexcept { unlink(zone_link); }

int32_t show_system_timezone(struct vty *vty) noexcept {
    return vty_out(vty, "Current system time zone : %s-%s %s\r\n", g_ntp_var.continent_name,
                   g_ntp_var.city_name, g_ntp_var.time_zone);
}
