// SPDX-License-Identifier: GPL-2.0-or-later
#include "lines.h"

#include <cerrno>
#include <csignal>
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

/// Runs line after line.  All of them: a configuration is not to be carried out in part
/// because the answers cannot be printed.
class lines_in_turn {
  public:
    explicit lines_in_turn(const std::string &socket) : socket_(socket) {
        std::signal(SIGPIPE, SIG_IGN); // it would end us
    }

    /// Throws failure where the next line would fare no better.
    void run(const std::string &line) {
        try {
            status_ = worse(status_, run_and_print(socket_, line));
        } catch (const output_failure &trouble) {
            if (!is_output_lost_ && !trouble.reader_is_gone)
                complain(trouble.what());
            is_output_lost_ = true;
            status_ = worse(status_, trouble.status);
        }
    }

    [[nodiscard]] exit_status status() const noexcept { return status_; }

  private:
    const std::string &socket_;
    exit_status status_ = all_well;
    bool is_output_lost_ = false;
};

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
    lines_in_turn lines(given.socket);
    for (const std::string &line : given.lines)
        lines.run(line);
    return lines.status();
}

exit_status run_input(const arguments &given) {
    lines_in_turn lines(given.socket);
    std::string line;
    while (read_line(line))
        if (line.find_first_not_of(" \t") != std::string::npos)
            lines.run(line);
    return lines.status();
}
