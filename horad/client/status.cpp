// SPDX-License-Identifier: GPL-2.0-or-later
#include "client/status.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <type_traits>

#include <arpa/inet.h>

#include "ntp_state.h"

namespace {

using status = struct horad_client_status;
static_assert(std::is_trivially_copyable_v<status>);

/// Of a client that was never started.
constexpr status initial{.server = static_cast<std::int32_t>(ntp_server::primary)};

/// A record that one thread writes and any thread reads, none ever waiting for another.
///
/// Two slots take turns: a new version is written beside the one that is read.  A reader
/// who is so slow that its slot is written again gets a word of that later version.  The
/// word was released after the version in between was published, so the reader then sees
/// that the version has changed, and reads again.
class published_status {
  public:
    void write(const status &record) noexcept {
        words copy;
        std::memcpy(copy.data(), &record, sizeof record);
        const std::uint64_t next = version_.load(std::memory_order_relaxed) + 1;
        auto &slot = slots_[next % 2];
        for (std::size_t i = 0; i < copy.size(); ++i)
            slot[i].store(copy[i], std::memory_order_release);
        version_.store(next, std::memory_order_release);
    }

    void read(status &record) const noexcept {
        words copy;
        std::uint64_t seen;
        do {
            seen = version_.load(std::memory_order_acquire);
            if (seen == 0) {
                record = initial;
                return;
            }
            const auto &slot = slots_[seen % 2];
            for (std::size_t i = 0; i < copy.size(); ++i)
                copy[i] = slot[i].load(std::memory_order_acquire);
        } while (version_.load(std::memory_order_relaxed) != seen);
        std::memcpy(&record, copy.data(), sizeof record);
    }

  private:
    using words = std::array<std::uint64_t, sizeof(status) / sizeof(std::uint64_t)>;
    static_assert(sizeof(words) == sizeof(status));
    std::array<std::array<std::atomic<std::uint64_t>, std::tuple_size_v<words>>, 2> slots_{};
    std::atomic<std::uint64_t> version_{0};
};

constinit published_status published;
constinit std::atomic<horad_client_watcher> watcher{nullptr};

// The client thread's own.
constinit status noted = initial;
constinit bool is_noted = false;
constinit horad_client_state state_before_look_up = HORAD_CLIENT_OFF;
constinit bool is_awaited = false; ///< the request that is out was given time for its answer

std::int64_t microseconds(clockid_t clock) {
    constexpr std::int64_t million = 1000000;
    timespec now{};
    clock_gettime(clock, &now);
    return now.tv_sec * million + now.tv_nsec / 1000;
}

void set_state(horad_client_state state) {
    noted.state = state;
    is_noted = true;
}

[[gnu::format(printf, 2, 3)]] void fail(horad_client_failure failure, const char *format, ...) {
    noted.failure = failure;
    noted.failure_time = microseconds(CLOCK_REALTIME);
    ++noted.failures;
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(noted.failure_text, sizeof noted.failure_text, format, arguments);
    va_end(arguments);
    is_noted = true;
}

/// An address in words, for one message.
struct address_text {
    char text[INET_ADDRSTRLEN];
    explicit address_text(in_addr address) { inet_ntop(AF_INET, &address, text, sizeof text); }
};

/// The server in use with its address, for one message.
struct server_text {
    char text[sizeof noted.server_name + INET_ADDRSTRLEN + 3];
    server_text() {
        std::snprintf(text, sizeof text, "%s (%s)", noted.server_name,
                      address_text({noted.address}).text);
    }
};

const char *reason_of(int error, std::array<char, 64> &buffer) {
    return strerror_r(error, buffer.data(), buffer.size());
}

void use_server(ntp_server server, const char *name) {
    noted.server = static_cast<std::int32_t>(server);
    if (std::strcmp(noted.server_name, name) == 0)
        return;
    std::snprintf(noted.server_name, sizeof noted.server_name, "%s", name);
    noted.address = 0;
}

void publish_noted() {
    is_noted = false;
    published.write(noted);
    if (const horad_client_watcher changed = watcher.load(std::memory_order_acquire))
        changed();
}

} // namespace

namespace client_status {

void note_no_thread(int error) noexcept {
    std::array<char, 64> buffer;
    fail(HORAD_FAILURE_START, "pthread_create: %s", reason_of(error, buffer));
    publish_noted();
}

void note_dead(const char *call, int error) noexcept {
    std::array<char, 64> buffer;
    std::snprintf(noted.reason, sizeof noted.reason, "%s: %s", call, reason_of(error, buffer));
    fail(HORAD_FAILURE_START, "%s", noted.reason);
    set_state(HORAD_CLIENT_DEAD);
    publish_noted();
}

void note_restarted() noexcept { set_state(HORAD_CLIENT_RETRYING); }

void note_stopped() noexcept { set_state(HORAD_CLIENT_OFF); }

void note_look_up(ntp_server server, const char *name) noexcept {
    state_before_look_up = static_cast<horad_client_state>(noted.state);
    use_server(server, name);
    set_state(HORAD_CLIENT_LOOKING_UP);
    published.write(noted);
}

void note_address(in_addr address) noexcept {
    noted.address = address.s_addr;
    set_state(state_before_look_up);
}

void note_look_up_failed(const char *why) noexcept {
    ++noted.look_ups_failed;
    fail(HORAD_FAILURE_LOOK_UP, "%s: %s", noted.server_name, why);
    set_state(state_before_look_up);
}

void note_request_due() noexcept {
    if (noted.state == HORAD_CLIENT_WAITING && is_awaited)
        fail(HORAD_FAILURE_NO_ANSWER, "no answer from %s", server_text().text);
}

void note_request_sent() noexcept {
    ++noted.requests;
    noted.last_request = microseconds(CLOCK_REALTIME);
    set_state(HORAD_CLIENT_WAITING);
}

void note_send_failed(int error) noexcept {
    std::array<char, 64> buffer;
    ++noted.sends_failed;
    fail(HORAD_FAILURE_SEND, "sendto %s: %s", server_text().text, reason_of(error, buffer));
}

void note_no_request() noexcept { set_state(HORAD_CLIENT_RETRYING); }

void note_receive_failed(const char *call, int error) noexcept {
    std::array<char, 64> buffer;
    fail(HORAD_FAILURE_RECEIVE, "%s: %s", call, reason_of(error, buffer));
}

void note_wrong_length(in_addr sender, std::size_t length) noexcept {
    ++noted.wrong_length;
    fail(HORAD_FAILURE_WRONG_LENGTH, "datagram of %zu bytes from %s", length,
         address_text(sender).text);
}

void note_foreign_address() noexcept {
    ++noted.foreign_address;
    is_noted = true;
}

void note_reply(const reply_report &report) noexcept {
    std::array<char, 64> buffer;
    set_state(HORAD_CLIENT_RETRYING);
    switch (report.outcome) {
    case reply_outcome::no_transmit_time:
        ++noted.no_transmit_time;
        fail(HORAD_FAILURE_NO_TRANSMIT_TIME, "reply without a time from %s", server_text().text);
        return;
    case reply_outcome::clock_refused:
        ++noted.steps_refused;
        fail(HORAD_FAILURE_STEP_REFUSED, "settimeofday: %s", reason_of(report.error, buffer));
        return;
    case reply_outcome::negative_delay:
    case reply_outcome::negative_delay_of_two:
        ++noted.negative_delay;
        fail(HORAD_FAILURE_NEGATIVE_DELAY, "impossible delay of %.0f microseconds from %s",
             report.intervals.slop, server_text().text);
        break;
    case reply_outcome::clock_set:
        set_state(HORAD_CLIENT_RESTING);
        break;
    }
    ++noted.answers_used;
    noted.answer_time = microseconds(CLOCK_REALTIME);
    noted.answer_address = noted.address;
    noted.stepped = report.stepped;
    noted.offset = report.intervals.skew;
    noted.round_trip = report.intervals.slop;
}

void publish(const poll_schedule &schedule) noexcept {
    constexpr std::int64_t million = 1000000;
    if (!is_noted)
        return;
    if (noted.server != static_cast<std::int32_t>(schedule.ntp_cur_server))
        use_server(schedule.ntp_cur_server,
                   server_snapshot(server_field(schedule.ntp_cur_server)).text);
    const timeval &wait = schedule.wait;
    is_awaited = wait.tv_sec != 0 || wait.tv_usec != 0;
    noted.next_request = microseconds(CLOCK_MONOTONIC) + wait.tv_sec * million + wait.tv_usec;
    publish_noted();
}

} // namespace client_status

int horad_client_status(struct horad_client_status *status) noexcept {
    if (status == nullptr)
        return -1;
    published.read(*status);
    return 0;
}

void horad_client_watch(horad_client_watcher changed) noexcept {
    watcher.store(changed, std::memory_order_release);
}
