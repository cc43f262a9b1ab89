// SPDX-License-Identifier: GPL-2.0-or-later
//
// Against daemons that answer in odd ways; tests/system has the real one.
#include "vty_session.h"

#include <csignal>
#include <functional>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

#include "common/temp_folder.h"

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

/// What a daemon does with a line: its answer, or nothing to close the session.
using behaviour = std::function<std::optional<std::string>(const std::string &line)>;

const std::string success = "\0\0\0\0"s;

/// Serves sessions at a socket until it is destroyed.
class fake_daemon {
  public:
    explicit fake_daemon(behaviour behave) : behave_(std::move(behave)) {
        listener_ = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(listener_, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        EXPECT_EQ(listen(listener_, 8), 0);
        thread_ = std::thread([this] {
            for (int session = accept(listener_, nullptr, nullptr); session >= 0;
                 session = accept(listener_, nullptr, nullptr)) {
                serve(session);
                close(session);
            }
        });
    }
    ~fake_daemon() {
        shutdown(listener_, SHUT_RDWR);
        thread_.join();
        close(listener_);
    }
    fake_daemon(const fake_daemon &) = delete;
    fake_daemon &operator=(const fake_daemon &) = delete;

    temp_folder folder;
    std::string path = folder.path() / "horad.vty";
    std::vector<std::string> heard;

  private:
    void serve(int session) {
        std::string line;
        for (char c = 0; read(session, &c, 1) == 1;) {
            if (c != '\0') {
                line += c;
                continue;
            }
            heard.push_back(line);
            const auto answer = behave_(line);
            if (!answer)
                return;
            for (std::size_t sent = 0; sent < answer->size();) {
                const ssize_t size =
                    send(session, answer->data() + sent,
                         std::min<std::size_t>(answer->size() - sent, 777), MSG_NOSIGNAL);
                if (size < 0)
                    return;
                sent += static_cast<std::size_t>(size);
            }
            line.clear();
        }
    }

    behaviour behave_;
    int listener_ = -1;
    std::thread thread_;
};

/// Answers to the three lines that lead into the node, and to `line`.
behaviour answer_to(const std::string &line, std::optional<std::string> answer) {
    return [=](const std::string &heard) { return heard == line ? answer : success; };
}

template <typename Failure> std::string failure_of(const std::string &path, deadline until = {}) {
    try {
        static_cast<void>(run_line(path, "x", until));
    } catch (const Failure &trouble) {
        EXPECT_EQ(trouble.status, no_daemon);
        return trouble.what();
    }
    return "none";
}

TEST(VtySession, LeadsIntoTheDaemonsNode) {
    fake_daemon daemon(answer_to("show ntp", "on\r\n"s + success));
    const vty_reply reply = run_line(daemon.path, "show ntp");
    EXPECT_EQ(reply.text, "on\n");
    EXPECT_TRUE(reply.succeeded());
    EXPECT_EQ(daemon.heard,
              (std::vector<std::string>{"enable", "configure terminal", "ntp", "show ntp"}));
}

TEST(VtySession, TakesLargeAnswers) {
    const std::string large(3'000'000, 'a');
    fake_daemon daemon(answer_to("x", large + "\0\0\0\3"s));
    const vty_reply reply = run_line(daemon.path, "x");
    EXPECT_EQ(reply.text, large);
    EXPECT_EQ(reply.code, 3);
}

TEST(VtySession, TellsTheDaemonsProcess) {
    fake_daemon daemon(answer_to("x", success));
    EXPECT_EQ(vty_session(daemon.path).daemon(), getpid());
}

TEST(VtySession, ADaemonThatGoesAwayInTheMiddle) {
    fake_daemon daemon(answer_to("x", std::nullopt));
    EXPECT_EQ(failure_of<daemon_missing>(daemon.path),
              daemon.path + ": the daemon went away in the middle of an answer: see journalctl -u "
                            "horad");
}

TEST(VtySession, AnotherProgramsSocket) {
    fake_daemon daemon(answer_to("ntp", "% Unknown command\n\0\0\0\2"s));
    EXPECT_EQ(failure_of<failure>(daemon.path),
              daemon.path + ": a daemon that does not know \"ntp\": is this horad's socket?");
}

TEST(VtySession, NobodyThere) {
    const temp_folder folder;
    const std::string path = folder.path() / "horad.vty";
    EXPECT_EQ(failure_of<daemon_missing>(path),
              path + ": no daemon there: is horad running (systemctl status horad), with another "
                     "--socket?");
}

TEST(VtySession, ASocketThatADeadDaemonLeft) {
    const temp_folder folder;
    const std::string path = folder.path() / "horad.vty";
    ASSERT_EQ(mknod(path.c_str(), S_IFSOCK | 0600, 0), 0);
    EXPECT_EQ(failure_of<daemon_missing>(path),
              path + ": nobody listens there: is horad running (systemctl status horad), with "
                     "another --socket?");
}

TEST(VtySession, ASocketOfAnotherKind) {
    const temp_folder folder;
    const std::string path = folder.path() / "horad.vty";
    const int other = socket(AF_UNIX, SOCK_DGRAM, 0);
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(other, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    EXPECT_EQ(failure_of<failure>(path),
              path + ": Protocol wrong type for socket: is this horad's socket?");
    close(other);
}

TEST(VtySession, ANameTooLong) {
    constexpr std::size_t room = sizeof(sockaddr_un::sun_path);
    for (const std::size_t size : {room, room + 1}) { // with its end it needs one more
        const std::string path(size, 'a');
        EXPECT_EQ(failure_of<failure>(path),
                  path + ": too long for a socket's name: name it by a shorter path");
    }
}

TEST(VtySession, ThatFailsKeepsNoSocket) {
    const temp_folder folder;
    const std::string path = folder.path() / "horad.vty";
    const auto next_descriptor = [] {
        const int next = dup(STDOUT_FILENO);
        close(next);
        return next;
    };
    const int before = next_descriptor();
    EXPECT_NE(failure_of<daemon_missing>(path), "none");
    EXPECT_EQ(next_descriptor(), before);
}

TEST(VtySession, ASilentDaemonIsWaitedForUntilTheDeadline) {
    fake_daemon daemon(answer_to("x", ""));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(failure_of<timed_out>(daemon.path, begin + 200ms),
              daemon.path + ": the daemon does not answer in time");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 200ms);
}

/// As a daemon that is stopped: its queue of sessions is full, and nobody takes one.
TEST(VtySession, AFullQueueIsWaitedForUntilTheDeadline) {
    const temp_folder folder;
    const std::string path = folder.path() / "horad.vty";
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 0), 0);
    const int first = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(connect(first, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    EXPECT_EQ(failure_of<timed_out>(path, std::chrono::steady_clock::now() + 200ms),
              path + ": the daemon does not answer in time");
    close(first);
    close(listener);
}

TEST(VtySession, AnInterruptEndsWaitingWhereItIsGuarded) {
    fake_daemon daemon(answer_to("x", ""));
    const interrupt_guard guard;
    const pthread_t waiting = pthread_self();
    std::thread operator_at_the_keyboard([=] {
        std::this_thread::sleep_for(200ms);
        pthread_kill(waiting, SIGINT);
    });
    EXPECT_THROW(static_cast<void>(run_line(daemon.path, "x")), interrupted);
    operator_at_the_keyboard.join();
    EXPECT_FALSE(interrupt_guard::take());
}

TEST(VtySession, ALineThatCannotBeSent) {
    fake_daemon daemon(answer_to("x", success));
    EXPECT_THROW(static_cast<void>(run_line(daemon.path, std::string(5000, 'a'))), failure);
}

} // namespace
