// SPDX-License-Identifier: GPL-2.0-or-later
#include "vty_session.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

// Signal handlers know nothing else.
volatile std::sig_atomic_t interrupt_came = 0;
volatile std::sig_atomic_t interrupt_guarded = 0;

void note_interrupt(int) { interrupt_came = 1; }

void set_interrupt_handler(void (*handler)(int)) noexcept {
    struct sigaction action {};
    action.sa_handler = handler; // without SA_RESTART: it is to end waiting
    sigaction(SIGINT, &action, nullptr);
}

/// What is left of the time, as poll() takes it: -1 without a deadline.
int milliseconds_left(deadline until) {
    if (!until)
        return -1;
    const auto remaining =
        std::chrono::ceil<std::chrono::milliseconds>(*until - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(remaining.count(), 0, INT_MAX));
}

} // namespace

interrupt_guard::interrupt_guard() noexcept {
    interrupt_guarded = 1;
    interrupt_came = 0;
    set_interrupt_handler(note_interrupt);
}

interrupt_guard::~interrupt_guard() {
    set_interrupt_handler(SIG_DFL);
    interrupt_guarded = 0;
}

bool interrupt_guard::take() noexcept {
    const bool came = interrupt_came != 0;
    interrupt_came = 0;
    return came;
}

vty_session::vty_session(const std::string &path, deadline until) : path_(path), until_(until) {
    socket_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (socket_ < 0)
        throw failure(std::string("no socket: ") + strerrordesc_np(errno));
    try {
        connect_to_daemon();
        enter_node();
    } catch (...) {
        close(socket_);
        throw;
    }
}

vty_session::~vty_session() { close(socket_); }

void vty_session::connect_to_daemon() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path_.size() >= sizeof address.sun_path)
        throw failure(path_ + ": too long for a socket's name: name it by a shorter path",
                      no_daemon);
    std::memcpy(address.sun_path, path_.c_str(), path_.size() + 1);

    // A wedged daemon's queue may be full: connecting waits then, too.
    if (until_) {
        const int left = std::max(milliseconds_left(until_), 1);
        const timeval limit{left / 1000, left % 1000 * 1000L};
        setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    }
    while (connect(socket_, reinterpret_cast<const sockaddr *>(&address), sizeof address) < 0) {
        switch (errno) {
        case EINTR:
            if (interrupt_guarded != 0 && interrupt_guard::take())
                throw interrupted();
            break;
        case EAGAIN:
            throw timed_out(path_ + ": the daemon does not answer in time");
        case ENOENT:
            throw daemon_missing(path_ + ": no daemon there: is horad running "
                                         "(systemctl status horad), with another --socket?");
        case ECONNREFUSED:
            throw daemon_missing(path_ + ": nobody listens there: is horad running "
                                         "(systemctl status horad), with another --socket?");
        case EACCES:
        case EPERM:
            throw failure(path_ + ": permission denied: run this as root", no_daemon);
        default:
            throw failure(path_ + ": " + strerrordesc_np(errno) + ": is this horad's socket?",
                          no_daemon);
        }
    }
}

void vty_session::enter_node() {
    // No password is asked for: whoever may open the socket is trusted.
    run("enable");
    run("configure terminal");
    if (!run("ntp").succeeded())
        throw failure(path_ + ": a daemon that does not know \"ntp\": is this horad's socket?",
                      no_daemon);
}

void vty_session::wait_for(short event) const {
    pollfd wanted{socket_, event, 0};
    for (;;) {
        const int ready = poll(&wanted, 1, milliseconds_left(until_));
        if (ready > 0)
            return;
        if (ready == 0)
            throw timed_out(path_ + ": the daemon does not answer in time");
        if (errno != EINTR)
            throw failure(std::string("poll: ") + strerrordesc_np(errno), no_daemon);
        if (interrupt_guarded != 0 && interrupt_guard::take())
            throw interrupted();
    }
}

void vty_session::lose() const {
    throw daemon_missing(path_ + ": the daemon went away in the middle of an answer: "
                                 "see journalctl -u horad");
}

void vty_session::send_line(const std::string &line) const {
    const char *next = line.c_str();
    std::size_t left = line.size() + 1; // with the NUL byte
    while (left > 0) {
        wait_for(POLLOUT);
        const ssize_t sent = send(socket_, next, left, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0) {
            if (errno == EINTR || errno == EAGAIN)
                continue;
            lose();
        }
        next += sent;
        left -= static_cast<std::size_t>(sent);
    }
}

vty_reply vty_session::run(const std::string &line) {
    if (const char *reason = why_unsendable(line); reason != nullptr)
        throw failure(reason);
    send_line(line);
    std::string received;
    for (;;) {
        wait_for(POLLIN);
        char chunk[16384];
        const ssize_t size = recv(socket_, chunk, sizeof chunk, MSG_DONTWAIT);
        if (size < 0 && (errno == EINTR || errno == EAGAIN))
            continue;
        if (size <= 0)
            lose();
        received.append(chunk, static_cast<std::size_t>(size));
        if (auto reply = parse_reply(received))
            return *std::move(reply);
    }
}

pid_t vty_session::daemon() const noexcept {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (getsockopt(socket_, SOL_SOCKET, SO_PEERCRED, &peer, &size) < 0)
        return 0;
    return peer.pid;
}

vty_reply run_line(const std::string &path, const std::string &line, deadline until) {
    return vty_session(path, until).run(line);
}
