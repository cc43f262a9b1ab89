// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <sys/types.h>

#include "failure.h"
#include "vty_reply.h"

using deadline = std::optional<std::chrono::steady_clock::time_point>;

/// There is no daemon at the socket (yet), or it went away in the middle.
struct daemon_missing : failure {
    explicit daemon_missing(const std::string &message) : failure(message, no_daemon) {}
};

/// The deadline is over.
struct timed_out : failure {
    explicit timed_out(const std::string &message) : failure(message, no_daemon) {}
};

/// Ctrl-C, where it does not end the program.
struct interrupted : failure {
    interrupted() : failure("interrupted; the daemon may still carry the line out") {}
};

/// While one lives, SIGINT makes a session throw interrupted instead of ending the
/// program.  One at a time.
class interrupt_guard {
  public:
    interrupt_guard() noexcept;
    ~interrupt_guard();
    interrupt_guard(const interrupt_guard &) = delete;
    interrupt_guard &operator=(const interrupt_guard &) = delete;

    /// Whether SIGINT came since the last call.
    [[nodiscard]] static bool take() noexcept;
};

/// A session at the daemon's local socket, in the daemon's own node.
class vty_session {
  public:
    /// Throws failure; daemon_missing where it is worth trying again later.  Without
    /// a deadline it waits as long as the daemon does, which for a look-up may be long.
    explicit vty_session(const std::string &path, deadline until = std::nullopt);
    ~vty_session();
    vty_session(const vty_session &) = delete;
    vty_session &operator=(const vty_session &) = delete;

    /// Runs one line.  It may leave the node, as "exit" does: a session is for lines
    /// that do not.
    vty_reply run(const std::string &line);

    /// The daemon's process, or 0.
    [[nodiscard]] pid_t daemon() const noexcept;

  private:
    void connect_to_daemon();
    void enter_node();
    void send_line(const std::string &line) const;
    void wait_for(short event) const;
    [[noreturn]] void lose() const;

    std::string path_;
    deadline until_;
    int socket_ = -1;
};

/// Runs one line in a session of its own, so that each begins in the daemon's node.
[[nodiscard]] vty_reply run_line(const std::string &path, const std::string &line,
                                 deadline until = std::nullopt);
