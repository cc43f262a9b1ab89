// SPDX-License-Identifier: GPL-2.0-or-later
#include "ntp_cli/config_check.h"

#include <array>
#include <cctype>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>

#include <sys/stat.h>
#include <unistd.h>

#include <zebra.h>

#include "command.h"
#include "libfrr.h"
#include "vty.h"

#include "cli_helper/cli_helper.h"
#include "ntp_cli/config_line.h"
#include "ntp_cli/ntp_cli.h"
#include "ntp_cli/refusals.h"
#include "ntp_state.h"

namespace {

struct file_close {
    void operator()(std::FILE *file) const noexcept { std::fclose(file); }
};
using open_file = std::unique_ptr<std::FILE, file_close>;

/// What the daemon would have been told so far.
struct told_so_far {
    char primary[server_name_size];
    bool is_on;
};

bool is_set_zone(const cmd_element *command) {
    return std::strstr(command->string, "location WORD") != nullptr;
}

/// A refusal without its line ends, for a line of its own.
const char *in_one_line(const char *refusal, std::array<char, 256> &line) {
    std::snprintf(line.data(), line.size(), "%s", refusal + std::strspn(refusal, "\r\n"));
    line[std::strcspn(line.data(), "\r\n")] = '\0';
    for (std::size_t end = std::strlen(line.data()); end > 0 && line[end - 1] == ' '; --end)
        line[end - 1] = '\0';
    return line.data();
}

const char *refusal_of_zone(const told_so_far &told, cmd_token **words) {
    if (!told.is_on)
        return ntp_is_off;
    const char *continent = words[2]->text;
    if (find_location(continent, words[4]->arg) == nullptr) {
        static std::array<char, 128> text;
        std::snprintf(text.data(), text.size(), unknown_location, continent);
        return text.data();
    }
    return std::strcmp(words[0]->text, "dst") == 0 ? dst_is_automatic : nullptr;
}

/// Why one of the daemon's own commands will be refused; null when it will not.
const char *refusal_of(const config_line &line, told_so_far &told) {
    int count = line.word_count;
    std::array<cmd_token *, MOST_WORDS> copy;
    std::copy_n(line.words, count, copy.begin());
    cmd_token **words = copy.data();
    if (line.command == &ntp_server_cmd) {
        const char *primary = cmd_parase_parameters(&count, &words, "server", 0);
        const char *refusal = refusal_of_servers(primary, count > 1 ? words[1]->arg : nullptr);
        if (refusal == nullptr)
            std::snprintf(told.primary, sizeof told.primary, "%s", primary);
        return refusal;
    }
    if (line.command == &ntp_server2_cmd) {
        const bool remove = std::strcmp(words[0]->text, "no") == 0;
        const char *host = cmd_parase_parameters(&count, &words, "server2", 0);
        return remove ? nullptr : refusal_of_second_server(told.primary, host);
    }
    if (line.command == &ntp_cfg_cmd) {
        if (std::strcmp(words[1]->text, "enable") != 0) {
            told.is_on = false;
            return nullptr;
        }
        const char *refusal = refusal_to_enable(told.primary);
        told.is_on = told.is_on || refusal == nullptr;
        return refusal;
    }
    return is_set_zone(line.command) ? refusal_of_zone(told, words) : nullptr;
}

/// What is wrong with a line; null when nothing is.
const char *fault_of(const config_line &line, told_so_far &told) {
    switch (line.meaning) {
    case LINE_IS_EMPTY:
        return nullptr;
    case LINE_IS_UNKNOWN:
        return "unknown command";
    case LINE_IS_INCOMPLETE:
        return "incomplete command";
    case LINE_IS_AMBIGUOUS:
        return "ambiguous command";
    case LINE_IS_COMMAND:
        break;
    }
    return refusal_of(line, told);
}

/// Writes a line about a file on standard error, in one piece.  The journal, which
/// reads it from a socket, is told that it is a warning.
[[gnu::format(printf, 2, 3)]] void tell(const char *path, const char *format, ...) {
    static char line[VTY_BUFSIZ + 1024]; // a line of the file, its name and a reason
    struct stat target;
    const bool to_journal = fstat(STDERR_FILENO, &target) == 0 && S_ISSOCK(target.st_mode);
    const int start =
        std::snprintf(line, sizeof line, "%shorad: %.512s", to_journal ? "<4>" : "", path);
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line + start, sizeof line - static_cast<std::size_t>(start), format, arguments);
    va_end(arguments);
    std::fprintf(stderr, "%s\n", line);
}

/// A line's words, without what would move a terminal's cursor.
const char *printable(char *text) {
    text[std::strcspn(text, "\r\n")] = '\0';
    for (char *c = text; *c != '\0'; ++c)
        if (std::iscntrl(static_cast<unsigned char>(*c)))
            *c = '?';
    return text + std::strspn(text, " ");
}

/// A line, or as much of a longer one as libfrr reads at a time and takes for a line.
struct piece {
    char text[VTY_BUFSIZ];
    bool ends_line;
    bool has_zero; ///< a zero byte, which to libfrr is the end

    bool read(std::FILE *file) {
        // Whatever was not read is no zero: the last one stands where the piece ends.
        std::memset(text, 'x', sizeof text);
        if (std::fgets(text, sizeof text, file) == nullptr)
            return false;
        const auto *end = static_cast<const char *>(memrchr(text, '\0', sizeof text));
        ends_line = end > text && end[-1] == '\n';
        has_zero = text + std::strlen(text) != end;
        return true;
    }
};

bool check_lines(std::FILE *file, const char *path) {
    static piece part;
    told_so_far told{"0.0.0.0", false};
    bool good = true;
    int node = config_start_node();
    for (unsigned number = 1; part.read(file); number += part.ends_line) {
        config_line line;
        config_line_match(part.text, &node, &line);
        const char *fault = fault_of(line, told);
        if (fault == nullptr && part.has_zero)
            fault = "what follows a zero byte is not read";
        if (fault != nullptr) {
            std::array<char, 256> why;
            tell(path, ":%u: %s: %s", number, in_one_line(fault, why), printable(part.text));
            good = false;
        }
        config_line_free(&line);
    }
    if (std::ferror(file)) {
        tell(path, ": %s", safe_strerror(errno));
        return false;
    }
    return good;
}

/// Where libfrr is built for its own shell, that shell's file keeps all daemons from
/// reading theirs.
bool is_left_to_the_shell(const char *default_file) {
#ifdef VTYSH
    std::array<char, 512> shells_file;
    struct stat ignored;
    std::snprintf(shells_file.data(), shells_file.size(), "%s" INTEGRATE_DEFAULT_CONFIG,
                  frr_sysconfdir);
    if (stat(shells_file.data(), &ignored) == 0) {
        tell(default_file, " is not read: %s is there; name it with -f", shells_file.data());
        return true;
    }
#else
    (void)default_file;
#endif
    return false;
}

/// A pipe or a terminal: what is read here would be missing at the start.
bool can_be_read_once_only(const char *path) {
    struct stat found;
    return stat(path, &found) == 0 && (S_ISFIFO(found.st_mode) || S_ISCHR(found.st_mode));
}

} // namespace

bool check_configuration(const char *named_file, const char *default_file,
                         check_for purpose) noexcept {
    if (named_file == nullptr && is_left_to_the_shell(default_file))
        return false;
    const char *path = named_file != nullptr ? named_file : default_file;
    if (purpose == check_for::start && can_be_read_once_only(path))
        return true;
    if (const open_file file{std::fopen(path, "re")})
        return check_lines(file.get(), path);

    const int error = errno;
    std::array<char, 512> saved;
    std::snprintf(saved.data(), saved.size(), "%s.sav", path);
    const open_file file{std::fopen(saved.data(), "re")};
    if (file != nullptr) {
        tell(path, ": %s; using %s", safe_strerror(error), saved.data());
        check_lines(file.get(), saved.data());
    } else {
        tell(path, ": %s%s", safe_strerror(error),
             purpose == check_for::report ? "" : "; starting without a configuration");
    }
    return false;
}
