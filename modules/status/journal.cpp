// SPDX-License-Identifier: GPL-2.0-or-later
#include "status/journal.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <iterator>

#include <arpa/inet.h>
#include <syslog.h>

namespace {

using client_status = struct horad_client_status;

constexpr std::int64_t quiet_seconds = 60;

/// What is counted when lines are left out, and how much it matters.
constexpr struct {
    const char *one;
    const char *several;
    int priority;
} kinds[] = {
    {"failure", "failures", LOG_WARNING},
    {"failed start", "failed starts", LOG_WARNING},
    {"failed look-up", "failed look-ups", LOG_WARNING},
    {"failed send", "failed sends", LOG_WARNING},
    {"failed reception", "failed receptions", LOG_WARNING},
    {"silence", "silences", LOG_WARNING},
    {"datagram of a wrong length", "datagrams of a wrong length", LOG_NOTICE},
    {"reply without a time", "replies without a time", LOG_WARNING},
    {"refused step", "refused steps", LOG_WARNING},
    {"impossible delay", "impossible delays", LOG_WARNING},
    {"step of the clock", "steps of the clock", LOG_NOTICE},
    {"change of server", "changes of server", LOG_NOTICE},
    {"datagram from another address", "datagrams from other addresses", LOG_NOTICE},
    {"recovery", "recoveries", LOG_WARNING},
};
static_assert(std::size(kinds) == JOURNAL_KINDS);

/// One look at the client.
class look {
  public:
    look(journal &journal, const client_status &status, std::int64_t now, journal_writer write)
        : journal_(journal), status_(status), now_(now), write_(write) {}

    void tell() {
        if (status_.state == HORAD_CLIENT_DEAD) {
            if (journal_.seen.state != HORAD_CLIENT_DEAD)
                put(HORAD_FAILURE_START, "no time is to be had until horad is restarted: %s",
                    status_.reason);
            return;
        }
        tell_failure();
        tell_step();
        tell_turn();
        if (const std::uint64_t strangers = status_.foreign_address - journal_.seen.foreign_address)
            line(JOURNAL_STRANGER, strangers,
                 "datagram dropped: it is from another address than %s", status_.server_name);
    }

    /// Tells the number of lines that were left out, once their minute is over.  Returns the
    /// seconds until the next such line, 0 when there is none.
    std::int64_t tell_left_out() {
        std::int64_t next = 0;
        for (int i = 0; i < JOURNAL_KINDS; ++i) {
            auto &kind = journal_.kinds[i];
            if (kind.left_out == 0)
                continue;
            if (is_quiet(i)) {
                const std::int64_t left = kind.last_line + quiet_seconds - now_;
                next = next == 0 ? left : std::min(next, left);
            } else {
                put(i, "%" PRIu64 " more %s", kind.left_out,
                    kind.left_out == 1 ? kinds[i].one : kinds[i].several);
                kind.left_out = 0;
            }
        }
        return next;
    }

  private:
    bool is_quiet(int kind) const {
        return journal_.kinds[kind].is_used &&
               now_ - journal_.kinds[kind].last_line < quiet_seconds;
    }

    [[gnu::format(printf, 3, 4)]] void put(int kind, const char *format, ...) {
        std::va_list arguments;
        va_start(arguments, format);
        put_list(kind, format, arguments);
        va_end(arguments);
    }

    void put_list(int kind, const char *format, std::va_list arguments) {
        std::array<char, 512> text{};
        std::vsnprintf(text.data(), text.size(), format, arguments);
        journal_.kinds[kind].is_used = true;
        journal_.kinds[kind].last_line = now_;
        write_(status_.state == HORAD_CLIENT_DEAD ? LOG_ERR : kinds[kind].priority, text.data());
    }

    /// The last of `count` events of a kind.
    [[gnu::format(printf, 4, 5)]] void line(int kind, std::uint64_t count, const char *format,
                                            ...) {
        if (is_quiet(kind)) {
            journal_.kinds[kind].left_out += count;
            return;
        }
        std::va_list arguments;
        va_start(arguments, format);
        put_list(kind, format, arguments);
        va_end(arguments);
        journal_.kinds[kind].left_out += count - 1;
    }

    void tell_failure() {
        if (status_.failures == journal_.seen.failures)
            return;
        if (status_.failure == HORAD_FAILURE_WRONG_LENGTH) {
            line(HORAD_FAILURE_WRONG_LENGTH, status_.failures - journal_.seen.failures,
                 "%s puts the next request off", status_.failure_text);
            return;
        }
        if (status_.failure == HORAD_FAILURE_START) {
            line(HORAD_FAILURE_START, 1, "NTP was not switched on: %s", status_.failure_text);
            return;
        }
        // After a good answer time is known: what fails then is no trouble yet.
        if (status_.state == HORAD_CLIENT_RESTING || status_.state == HORAD_CLIENT_OFF)
            return;
        if (!journal_.is_in_trouble) {
            journal_.is_in_trouble = true;
            journal_.trouble_since = now_;
            journal_.told = 0;
        }
        const std::uint32_t bit = 1U << status_.failure;
        if ((journal_.told & bit) == 0)
            line(status_.failure, 1, "no time is to be had: %s", status_.failure_text);
        journal_.told |= bit;
    }

    void tell_step() {
        const std::uint64_t steps = status_.answers_used - journal_.seen.answers_used;
        if (steps != 0) {
            std::array<char, INET_ADDRSTRLEN> address{};
            inet_ntop(AF_INET, &status_.answer_address, address.data(), address.size());
            line(JOURNAL_STEP, steps,
                 "clock stepped by %+d s to the time of %s: offset %+.6f s, "
                 "round trip %.6f s",
                 status_.stepped, address.data(), status_.offset / 1e6, status_.round_trip / 1e6);
        }
        if (!journal_.is_in_trouble)
            return;
        const auto lasted = static_cast<long long>(now_ - journal_.trouble_since);
        if (status_.state == HORAD_CLIENT_RESTING)
            line(JOURNAL_RECOVERY, 1, "time is to be had again, after %lld s", lasted);
        else if (status_.state == HORAD_CLIENT_OFF)
            line(JOURNAL_RECOVERY, 1, "NTP is switched off, with no time to be had for %lld s",
                 lasted);
        else
            return;
        journal_.is_in_trouble = false;
    }

    void tell_turn() {
        // Without a request none was in use before; switching off brings the primary back.
        if (status_.server != journal_.seen.server &&
            journal_.seen.requests + journal_.seen.failures != 0 &&
            status_.state != HORAD_CLIENT_OFF)
            line(JOURNAL_TURN, 1, "turning to the %s server, %s",
                 status_.server == 1 ? "primary" : "secondary", status_.server_name);
    }

    journal &journal_;
    const client_status &status_;
    std::int64_t now_;
    journal_writer write_;
};

} // namespace

int64_t journal_look(struct journal *journal, const struct horad_client_status *status,
                     int64_t monotonic, journal_writer write) {
    look now(*journal, *status, monotonic, write);
    now.tell();
    journal->seen = *status;
    return now.tell_left_out();
}
