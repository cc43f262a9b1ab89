// SPDX-License-Identifier: GPL-2.0-or-later
#include "lines.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "commands.h"
#include "output.h"
#include "vty_session.h"

namespace {

/// Reads the next line of the standard input, without its end.  False when there is none.
/// Throws failure.
bool read_line(std::string &line) {
    char *buffer = nullptr;
    std::size_t capacity = 0;
    errno = 0;
    const ssize_t size = getline(&buffer, &capacity, stdin);
    const std::unique_ptr<char, decltype(&std::free)> owner(buffer, std::free);
    if (size < 0) {
        if (std::ferror(stdin) != 0)
            throw failure(std::string("cannot read standard input: ") + strerrordesc_np(errno) +
                          ": is it closed, or a folder?");
        return false;
    }
    line.assign(buffer, static_cast<std::size_t>(size));
    if (line.ends_with('\n'))
        line.pop_back();
    if (line.ends_with('\r'))
        line.pop_back();
    return true;
}

} // namespace

exit_status run_and_print(const std::string &socket, const std::string &line) {
    if (const char *reason = why_unsendable(line); reason != nullptr) {
        complain("not sent: " + std::string(reason));
        return not_well;
    }
    const vty_reply reply = run_line(socket, line);
    print(reply.text);
    if (reply.succeeded())
        return all_well;
    // The commands that set the zone tell their reasons to the daemon's output only.
    if (reply.text.empty())
        complain("refused: " + line + ": journalctl -u horad has the reason");
    return not_well;
}

exit_status run_lines(const arguments &given) {
    exit_status status = all_well;
    for (const std::string &line : given.lines)
        status = worse(status, run_and_print(given.socket, line));
    return status;
}

exit_status run_input(const arguments &given) {
    exit_status status = all_well;
    std::string line;
    while (read_line(line))
        if (line.find_first_not_of(" \t") != std::string::npos)
            status = worse(status, run_and_print(given.socket, line));
    return status;
}
